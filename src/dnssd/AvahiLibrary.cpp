#include "dnssd/AvahiLibrary.h"

#include <dlfcn.h>

namespace moxtel {

AvahiLibrary::AvahiLibrary(const char* fileName) : library_(dlopen(fileName, RTLD_NOW | RTLD_LOCAL)) {
  if (!library_) problem_ = dlerror();
}

void* AvahiLibrary::symbol(const char* name) {
  void* const found = library_ ? dlsym(library_, name) : nullptr;
  if (!found && problem_.empty()) problem_ = std::string("it has no ") + name;
  return found;
}

}  // namespace moxtel
