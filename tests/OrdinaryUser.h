// While it exists, a test that runs as root has the permissions of an ordinary user in root's groups. A test
// that runs as another user keeps its own. For tests of files that may not be read; the folders above must
// let others in.
#pragma once

#include <unistd.h>

#include <stdexcept>

namespace moxtel {

class OrdinaryUser final {
 public:
  OrdinaryUser() {
    if (::geteuid() == 0 && ::seteuid(kNobody) != 0) throw std::runtime_error("cannot become another user");
  }
  ~OrdinaryUser() {
    if (::getuid() == 0 && ::seteuid(0) != 0) ::_exit(1);
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  static constexpr uid_t kNobody = 65534;
};

}  // namespace moxtel
