// What is wrong with the library's databases, said on the console once for each state. Core thread.
//
// A list from a database that is away or damaged looks like the list of an empty library; these messages are
// how the user can know.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "platform/files/Files.h"

namespace moxtel {

class Messages;

struct DatabaseProblem {
  enum class Kind : std::uint8_t {
    None,
    Missing,
    NotPermitted,
    NoFile,         // a folder, or the like, in its place
    Damaged,        // detail: SQLite's words
    WithoutTables,  // none of those that are read
    Incomplete,     // detail: the tables and columns that are missing
    NotServed,      // detail: the application, "Photos 1"
  };
  Kind kind = Kind::None;
  std::string detail;

  bool isAway() const { return kind == Kind::Missing || kind == Kind::NotPermitted || kind == Kind::NoFile; }
  friend bool operator==(const DatabaseProblem&, const DatabaseProblem&) = default;
};

// The state of a file that could not be opened.
DatabaseProblem problemOfAbsentFile(const std::string& path);

class DatabaseProblems final {
 public:
  static constexpr std::size_t kFiles = 4;

  // Borrows it.
  explicit DatabaseProblems(Messages& messages) : messages_(messages) {}

  // Another library: says everything again.
  void forget() { files_ = {}; }
  // After a use of a file, by its number; 0 is the main one, Library.apdb. Damage is found only where it is
  // read: no problem in an unchanged file does not end one.
  void note(std::size_t number, const std::string& path, DatabaseProblem now, const FileStamp& stamp);

  const DatabaseProblem& of(std::size_t number) const { return files_[number].problem; }

 private:
  struct File {
    DatabaseProblem problem;
    FileStamp stamp;
    bool wasUsed = false;  // without a problem
    bool isSaid = false;   // the problem was shown
  };
  bool isSaidElsewhere(std::size_t number, const DatabaseProblem& now) const;

  Messages& messages_;
  std::array<File, kFiles> files_;
};

}  // namespace moxtel
