// Libraries loaded at run time on Windows: the module loader.
#include "platform/Module.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {

ModuleObject* openModule(const std::string& name) {
  // An empty name is refused before the loader sees it, as everywhere.
  if (name.empty()) return nullptr;
  return reinterpret_cast<ModuleObject*>(LoadLibraryW(wideName(name).c_str()));
}

void closeModule(ModuleObject* module) {
  if (module != nullptr) FreeLibrary(reinterpret_cast<HMODULE>(module));
}

ModuleSymbol findSymbol(ModuleObject* module, const char* name) {
  if (module == nullptr || name == nullptr) return nullptr;
  const FARPROC address = GetProcAddress(reinterpret_cast<HMODULE>(module), name);
  // Through the generic function type, which converts to any other.
  return reinterpret_cast<ModuleSymbol>(reinterpret_cast<void (*)()>(address));
}

}  // namespace platform
}  // namespace Lumbrel
