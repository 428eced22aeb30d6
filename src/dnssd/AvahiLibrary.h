// One of Avahi's two libraries, loaded at run time and out of the other's sight. They cannot be linked into
// one program: both export avahi_entry_group_free, with different parameters, and each would call whichever
// comes first (libavahi-core 0.8 calls the client's, whose assertion ends the process).
//
// For AvahiClientEngine.cpp and AvahiEmbeddedEngine.cpp only. The library stays loaded to the process's end.
#pragma once

#include <string>

namespace moxtel {

class AvahiLibrary final {
 public:
  explicit AvahiLibrary(const char* fileName);

  // Sets the pointer to the function of that name.
  template <class Function>
  void find(const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(symbol(name));
  }

  // Why it cannot be used; empty when everything was found.
  const std::string& problem() const { return problem_; }

 private:
  void* symbol(const char* name);

  void* library_;
  std::string problem_;
};

}  // namespace moxtel
