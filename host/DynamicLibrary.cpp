#include "lumbrel/DynamicLibrary.h"

#include "platform/Module.h"
#include "platform/Platform.h"

namespace Lumbrel {

DynamicLibrary::DynamicLibrary() : handle(nullptr) {}

DynamicLibrary::DynamicLibrary(const wstring& name) : fileName(name), handle(nullptr) {}

DynamicLibrary::DynamicLibrary(const DynamicLibrary& other)
    : fileName(other.fileName), handle(nullptr) {
  // This class's own load: a derived part does not exist yet.
  if (other.handle != nullptr) DynamicLibrary::load();
}

DynamicLibrary& DynamicLibrary::operator=(const DynamicLibrary& other) {
  if (this == &other) return *this;
  if (handle != nullptr) unload();
  fileName = other.fileName;
  if (other.handle != nullptr) load();
  return *this;
}

DynamicLibrary::~DynamicLibrary() { platform::closeModule(handle); }

bool DynamicLibrary::load() {
  if (handle != nullptr) return true;
  handle = platform::openModule(platform::current().nativeName(make_string(fileName)));
  return handle != nullptr;
}

bool DynamicLibrary::unload() {
  platform::closeModule(handle);
  handle = nullptr;
  return true;
}

bool DynamicLibrary::isLoaded() const { return handle != nullptr; }

DynamicLibrary::Handle DynamicLibrary::getHandle() const { return handle; }

wstring DynamicLibrary::getFileName() const { return fileName; }

DynamicLibrary::Symbol DynamicLibrary::getSymbol(const wstring& name) const {
  if (handle == nullptr) return nullptr;
  return platform::findSymbol(handle, make_string(name).c_str());
}

}  // namespace Lumbrel
