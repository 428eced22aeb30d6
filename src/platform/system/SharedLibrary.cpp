#include "platform/system/SharedLibrary.h"

#include <dlfcn.h>

namespace moxtel {

SharedLibrary::SharedLibrary(const char* fileName) : library_(::dlopen(fileName, RTLD_NOW | RTLD_LOCAL)) {
  if (!library_) problem_ = ::dlerror();
}

SharedLibrary::Symbol SharedLibrary::operator[](const char* name) {
  void* const found = library_ ? ::dlsym(library_, name) : nullptr;
  if (!found && problem_.empty()) problem_ = std::string("it has no ") + name;
  return Symbol(found);
}

}  // namespace moxtel
