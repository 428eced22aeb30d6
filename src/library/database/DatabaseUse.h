// Holds one of the library's databases open for a scope. Core thread.
#pragma once

#include <cstdint>

#include "library/database/LibraryDatabases.h"

namespace moxtel {

class DatabaseUse final {
 public:
  // The library database counts its users, and the count is observable: after an opening that failed, a user
  // that does not close leaves it raised, and later openings answer YES. Methods that continue after a failed
  // opening close it nevertheless.
  enum class AfterFailure : std::uint8_t { DoNotClose, Close };

  // Borrows the databases.
  DatabaseUse(LibraryDatabases& databases, DatabaseFile file,
              AfterFailure afterFailure = AfterFailure::DoNotClose);
  ~DatabaseUse() { close(); }
  DatabaseUse(const DatabaseUse&) = delete;
  DatabaseUse& operator=(const DatabaseUse&) = delete;

  [[nodiscard]] bool isOpen() const { return opened_; }
  // Closes it now; a second call does nothing.
  void close();

 private:
  LibraryDatabases& databases_;
  const DatabaseFile file_;
  const bool opened_;
  bool toClose_;
};

}  // namespace moxtel
