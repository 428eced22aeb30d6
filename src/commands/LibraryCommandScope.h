// The library's databases as the scope of each command. Core thread; borrows them.
#pragma once

#include "commands/CommandHandler.h"
#include "library/database/LibraryDatabases.h"

namespace moxtel {

class LibraryCommandScope : public CommandScope {
 public:
  explicit LibraryCommandScope(LibraryDatabases& databases) : databases_(databases) {}
  void beginCommand() override { databases_.beginCommand(); }
  void releaseLocks() override { databases_.releaseLocks(); }
  bool mustReadAgain() const override { return databases_.mustReadAgain(); }
  void beginCommandAgain() override { databases_.beginCommandAgain(); }

 private:
  LibraryDatabases& databases_;
};

}  // namespace moxtel
