// A thread that reads one library: runs tasks with an OpenLibrary of its own, one after the other.
//
// Before a task it looks at the library's files if some time has passed, so that tasks see a library that
// changed. Messages about the library go to the debug log: the console has them from the server itself.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "library/answers/OpenLibrary.h"

namespace moxtel {

class LibraryReader final {
 public:
  using Task = std::function<void(OpenLibrary&)>;
  static constexpr int kMostWaiting = 500;  // tasks

  // looked is called on the thread after each look at the files, first at the start.
  LibraryReader(const std::string& path, const OpenLibraryOptions& options, Task looked,
                std::chrono::milliseconds betweenLooks = std::chrono::seconds(2));
  // Ends the running task's queries and drops the tasks that wait. Waits for the thread, unless it is the
  // caller.
  ~LibraryReader();
  LibraryReader(const LibraryReader&) = delete;
  LibraryReader& operator=(const LibraryReader&) = delete;

  // False when too many tasks wait. Any thread.
  [[nodiscard]] bool post(Task task);
  // Looks at the files now. From within a task.
  void look();

 private:
  class State;
  // Shared with the thread, which may live longer.
  std::shared_ptr<State> state_;
  std::thread thread_;
};

}  // namespace moxtel
