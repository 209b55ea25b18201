/// \class Lumbrel::System
/// System: static queries on the machine and the running process, and second
/// names for the static file operations of File.
///
/// No query raises or reports why it failed: one that cannot be answered gives
/// an empty wstring. Nothing is cached; every call asks the system anew. The
/// two socket queries start the socket layer for themselves and stop it again
/// before they return.
///
/// Thread safety: the class has no state; every operation may be called from
/// any thread.
#ifndef LUMBREL_SYSTEM_H
#define LUMBREL_SYSTEM_H

#include "lumbrel/Export.h"
#include "lumbrel/Text.h"

namespace Lumbrel {

class LUMBREL_API System {
 public:
  /// An object has no use; these do nothing.
  ///@{
  System();
  System(const System& other);
  ~System();
  System& operator=(const System& other);
  ///@}

  /// Always 0.
  static unsigned int getType();
  /// The computer's name; empty when it is longer than 15 units or unknown.
  static wstring getName();
  /// This host's official name as the name service gives it; empty when the
  /// host name does not fit into 15 bytes with its terminator, cannot be
  /// resolved or has no official name.
  static wstring getIpHostName();
  /// The first IPv4 address the name service lists for this host, in dotted
  /// decimal; empty on the same failures as getIpHostName or with no address.
  static wstring getIpAddress();
  /// Always empty.
  static wstring getVersion();
  /// The executable's full file name in the library's form, at most 259 units
  /// (`Z:\opt\app\bin\agent` for /opt/app/bin/agent); empty when unknown.
  static wstring getProcessFileName();

  /// The same operations as File::create, remove, exists, rename and copy.
  ///@{
  static bool createFile(const wstring& name);
  static bool deleteFile(const wstring& name);
  static bool existsFile(const wstring& name);
  static bool renameFile(const wstring& from, const wstring& to);
  static bool copyFile(const wstring& from, const wstring& to);
  ///@}
};

}  // namespace Lumbrel

#endif  // LUMBREL_SYSTEM_H
