// Libraries loaded at run time on POSIX: the dynamic loader.
#include <dlfcn.h>

#include "platform/Module.h"

namespace Lumbrel {
namespace platform {

ModuleObject* openModule(const std::string& name) {
  // An empty name would give the main program back.
  if (name.empty()) return nullptr;
  return static_cast<ModuleObject*>(::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL));
}

void closeModule(ModuleObject* module) {
  if (module != nullptr) ::dlclose(module);
}

ModuleSymbol findSymbol(ModuleObject* module, const char* name) {
  if (module == nullptr || name == nullptr) return nullptr;
  return reinterpret_cast<ModuleSymbol>(::dlsym(module, name));
}

}  // namespace platform
}  // namespace Lumbrel
