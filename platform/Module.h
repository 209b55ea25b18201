// Libraries loaded at run time: each successful openModule counts one
// reference of its own on the module, and closeModule drops one.
#ifndef LUMBREL_PLATFORM_MODULE_H
#define LUMBREL_PLATFORM_MODULE_H

#include <string>

namespace Lumbrel {
namespace platform {

struct ModuleObject;  // opaque; null means no module

using ModuleSymbol = int (*)();

// Loads the library at the native path `name` (a bare name is searched for
// as the system's loader does), resolving all its symbols now and keeping
// them out of the global namespace. Null on failure, and for an empty name
// without asking the loader.
ModuleObject* openModule(const std::string& name);
// Drops one reference. Null is ignored.
void closeModule(ModuleObject* module);
// The address of the exported symbol `name`; null when there is none.
ModuleSymbol findSymbol(ModuleObject* module, const char* name);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_MODULE_H
