#include "lumbrel/DynamicLibrary.h"

#include "platform/Module.h"
#include "platform/Platform.h"

namespace Lumbrel {

DynamicLibrary::DynamicLibrary() : handle_(nullptr) {}

DynamicLibrary::DynamicLibrary(const wstring& name) : fileName_(name), handle_(nullptr) {}

DynamicLibrary::DynamicLibrary(const DynamicLibrary& other)
    : fileName_(other.fileName_), handle_(nullptr) {
  // This class's own load: a derived part does not exist yet.
  if (other.handle_ != nullptr) DynamicLibrary::load();
}

DynamicLibrary& DynamicLibrary::operator=(const DynamicLibrary& other) {
  if (this == &other) return *this;
  if (handle_ != nullptr) unload();
  fileName_ = other.fileName_;
  if (other.handle_ != nullptr) load();
  return *this;
}

DynamicLibrary::~DynamicLibrary() { platform::closeModule(handle_); }

bool DynamicLibrary::load() {
  if (handle_ != nullptr) return true;
  handle_ = platform::openModule(platform::current().nativeName(make_string(fileName_)));
  return handle_ != nullptr;
}

bool DynamicLibrary::unload() {
  platform::closeModule(handle_);
  handle_ = nullptr;
  return true;
}

bool DynamicLibrary::isLoaded() const { return handle_ != nullptr; }

DynamicLibrary::Handle DynamicLibrary::getHandle() const { return handle_; }

wstring DynamicLibrary::getFileName() const { return fileName_; }

DynamicLibrary::Symbol DynamicLibrary::getSymbol(const wstring& name) const {
  if (handle_ == nullptr) return nullptr;
  return platform::findSymbol(handle_, make_string(name).c_str());
}

}  // namespace Lumbrel
