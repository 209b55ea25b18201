/// \class Lumbrel::DynamicLibrary
/// DynamicLibrary: one library file loaded into the process at run time, and
/// its exported functions by name. It reports by bool and null results, never
/// by exception.
///
/// Each object holds at most one load of its own: load() on a loaded object
/// adds nothing, and a loaded object lets go of its module when destroyed. A
/// copy of a loaded object loads the file again for itself, so unloading one
/// leaves the other loaded. The file name is given to the loader in the
/// library's own form (`Z:\opt\app\lib\libx.so` names /opt/app/lib/libx.so; a
/// bare name such as libm.so.6 is searched for as the system's loader does).
///
/// Thread safety: none; use an object from one thread at a time. Objects that
/// name the same file are independent.
#ifndef LUMBREL_DYNAMIC_LIBRARY_H
#define LUMBREL_DYNAMIC_LIBRARY_H

#include "lumbrel/Export.h"
#include "lumbrel/Text.h"

namespace Lumbrel {

namespace platform {
struct ModuleObject;
}

class LUMBREL_API DynamicLibrary {
 public:
  /// The loaded module; null while not loaded.
  using Handle = platform::ModuleObject*;
  /// An exported function; convert it to its real type before calling.
  using Symbol = int (*)();

  /// No file name, not loaded.
  DynamicLibrary();
  /// Remembers `fileName` without loading it.
  explicit DynamicLibrary(const wstring& fileName);
  /// Same file name; loads it too if `other` is loaded (a failure leaves the
  /// copy not loaded).
  DynamicLibrary(const DynamicLibrary& other);
  /// Unloads, takes `other`'s file name and loads it if `other` is loaded,
  /// through the virtual load() and unload().
  DynamicLibrary& operator=(const DynamicLibrary& other);
  virtual ~DynamicLibrary();

  /// True when loaded afterwards; loads nothing more when loaded already.
  virtual bool load();
  /// Lets go of the module if loaded; always true.
  virtual bool unload();
  /// Whether this object holds a load; the loader is not asked.
  virtual bool isLoaded() const;

  /// The loaded module, null while not loaded.
  Handle getHandle() const;
  /// The file name as given.
  wstring getFileName() const;
  /// The exported function `name` (up to its first null unit); null when not
  /// loaded or when the library has no such symbol.
  Symbol getSymbol(const wstring& name) const;

 private:
  wstring fileName_;
  Handle handle_;
};

}  // namespace Lumbrel

#endif  // LUMBREL_DYNAMIC_LIBRARY_H
