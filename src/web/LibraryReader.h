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
  // Tasks; as many as the server has connections (HttpConnections::Limits), which have one request each.
  static constexpr int kMostWaiting = 1024;

  // looked is called on the thread after each look at the files, first at the start.
  LibraryReader(const std::string& path, const OpenLibraryOptions& options, Task looked,
                std::chrono::milliseconds betweenLooks = std::chrono::seconds(2));
  // Waits for the thread after end(). Not from a task.
  ~LibraryReader();
  LibraryReader(const LibraryReader&) = delete;
  LibraryReader& operator=(const LibraryReader&) = delete;

  // Ends the running task's queries; the tasks that wait are dropped. Waits for nothing. Any thread.
  void end();
  // False when too many tasks wait, and after end(). Any thread.
  [[nodiscard]] bool post(Task task);
  // Looks at the files now. From within a task.
  void look();

 private:
  class State;
  const std::unique_ptr<State> state_;
  std::thread thread_;
};

}  // namespace moxtel
