// Lets one program of a name run at a time for a user: a second start asks the first one to show itself. One
// thread.
//
// The first one holds a lock and listens on a socket, both in a folder that only this user can enter.
#pragma once

#include <string>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

class SingleInstance final {
 public:
  // The name is that of the lock and the socket, a few letters. The folder must belong to this user and be
  // closed to others; else there is no lock, and every start is the first.
  explicit SingleInstance(const std::string& name, const std::string& folder = usualFolder());

  // XDG_RUNTIME_DIR; without one a folder beside the settings, which is made.
  static std::string usualFolder();

  // Whether another one runs.
  bool isSecond() const { return isSecond_; }
  // Asks the first one to show itself. Waits up to two seconds for one that has just been started. False if
  // it does not answer.
  [[nodiscard]] bool raiseFirst() const;

  // Of the first one: readable when another was started; -1 without one.
  int descriptor() const { return socket_.get(); }
  // Takes one start that made the descriptor readable. False if it was not this user's.
  [[nodiscard]] bool takeStart() const;

 private:
  void listen();

  std::string path_;  // of lock and socket, without their endings; empty: no safe folder
  bool isSecond_ = false;
  FileDescriptor lock_;
  FileDescriptor socket_;
};

}  // namespace moxtel
