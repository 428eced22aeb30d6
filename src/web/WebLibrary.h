// One library that the page shows, open for reading on threads of its own. Any thread.
//
// Two threads read, each with an OpenLibrary: one for tasks that take a few milliseconds, one for lists of
// the whole library, which may take a second. So a list does not delay the pictures of another client.
// Neither thread is the server's core thread, and nothing here waits for it.
//
// A library that changed, is unplugged or comes back stays the same object: version() and state() change.
// Held by a shared pointer: whoever answers a request keeps it open.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "web/http/HttpReply.h"
#include "web/http/HttpRequest.h"

namespace moxtel {

class ListedPhotos;
class OpenLibrary;

class WebLibrary {
 public:
  enum class State : std::uint8_t {
    Ready,
    Away,        // no library at its path: a disk that is unplugged
    Unreadable,  // there, but its databases cannot be read or are of no kind that is served
  };
  // Runs on a thread that reads, with no read transaction open. It calls OpenLibrary::endReading() before it
  // answers; when that throws, the task runs once more. Another exception that leaves it is logged.
  using Task = std::function<void(OpenLibrary&)>;

  WebLibrary() = default;
  virtual ~WebLibrary() = default;
  WebLibrary(const WebLibrary&) = delete;
  WebLibrary& operator=(const WebLibrary&) = delete;

  // Eight letters and digits, the LIB of the addresses.
  virtual const std::string& id() const = 0;
  // The library's folder.
  virtual const std::string& path() const = 0;
  // Changes whenever a file does from which answers are made, and is the same again for the same files.
  // Letters and digits. Of the last check, which tasks make every two seconds.
  virtual std::string version() const = 0;
  // version(), if the files were looked at within the last two seconds and the library is ready. Otherwise a
  // task has to look first.
  virtual std::optional<std::string> recentVersion() const = 0;
  virtual State state() const = 0;

  // Runs the task after those that were posted before. False: too many wait (the reply is 503 "busy") or the
  // library is being closed. A task that was accepted may be dropped when the library is closed; a responder
  // that it holds then answers by itself.
  [[nodiscard]] virtual bool post(Task task) = 0;
  // The same on the thread for what takes long.
  [[nodiscard]] virtual bool postLong(Task task) = 0;

  // The photos of a list after the filters in the request's query, or the reply that says why there are none:
  // 400, 404 or 503. list: the LIST of an address, "album:12". To be called in a task of postLong(), which
  // gives the open library.
  using ListOrReply = std::variant<std::shared_ptr<const ListedPhotos>, HttpReply>;
  virtual ListOrReply listFor(OpenLibrary& library, std::string_view list, const HttpRequest& request) = 0;
};

}  // namespace moxtel
