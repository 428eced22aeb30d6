// A shared library that is loaded at run time, its symbols visible to nothing else in the process. It stays
// loaded until the process ends. Any thread.
#pragma once

#include <string>

namespace moxtel {

class SharedLibrary final {
 public:
  explicit SharedLibrary(const char* fileName);

  // A symbol's address, converted to the function pointer that it is assigned to; null if it is missing.
  class Symbol final {
   public:
    explicit Symbol(void* address) : address_(address) {}
    template <class Function>
    operator Function*() const {  // NOLINT(google-explicit-constructor): the purpose of this class
      return reinterpret_cast<Function*>(address_);
    }

   private:
    void* address_;
  };
  Symbol operator[](const char* name);

  // Why the library cannot be used: the first failure of all; empty if there is none.
  const std::string& problem() const { return problem_; }

 private:
  void* library_;
  std::string problem_;
};

}  // namespace moxtel
