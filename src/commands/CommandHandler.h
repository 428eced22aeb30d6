// From a chunk of bytes to one handled command: takes what the socket server read ("GotData"), decodes it,
// and runs the handler of its command on the core thread.
//
// Handlers come in groups (ListingCommands, ImageCommands, …); each group adds its own with add(). A handler
// finishes its work, every reply included, before it returns. What leaves it as an exception is logged by the
// event loop and ends there; no reply is sent for it, and the reading thread goes on.
#pragma once

#include <array>
#include <functional>
#include <span>
#include <string_view>
#include <variant>

#include "commands/CommandRequest.h"
#include "net/ReplyChannel.h"
#include "platform/loop/NotificationCenter.h"
#include "plist/KeyedArchive.h"
#include "value/Value.h"

namespace moxtel {

class EventLoop;

// The product's version, as "Get Version" answers it.
struct ProductVersion {
  std::int32_t major = 0;
  std::int32_t minor = 0;
};

// What the handler of commands asks of the library around each command. Core thread.
class CommandScope {
 public:
  virtual ~CommandScope() = default;
  // A command begins.
  virtual void beginCommand() = 0;
  // The library is not to be held any longer: before each reply is written, and at the command's end however
  // it ends. May be called with nothing held.
  virtual void releaseLocks() = 0;

 protected:
  CommandScope() = default;
  CommandScope(const CommandScope&) = default;
  CommandScope& operator=(const CommandScope&) = default;
};

// The commands of the protocol, in the order in which a request is compared with them.
inline constexpr std::array<std::string_view, 20> kCommandNames{
    "Get Version",
    "Get Albums",
    "Get Events",
    "Get Faces",
    "Photos of Album",
    "Folders of Album",
    "Photos of Event",
    "Photos of Face",
    "Thumb of Photo",
    "Data of Photo",
    "Square Thumb of Photo",
    "Image of Photo",
    "Fullscreen 1024 Image of Photo",
    "Metadata of Photo",
    "Infos of Photo",
    "Reveal Photo",
    "Reveal Album",
    "Reveal Event",
    "Set GPS of Photo",
    "Clear GPS of Photo",
};

class CommandHandler final {
 public:
  // Replies through the channel, which has released the library's locks before anything is written.
  using Handler = std::function<void(const CommandRequest&, ReplyChannel&)>;
  // How bytes are decoded; unarchivedObject but in tests.
  using Decoder = std::function<std::variant<Value, DecodingError>(std::span<const std::uint8_t>)>;

  // Borrows everything. "Get Version" is there from the start.
  CommandHandler(EventLoop& loop, ReplyChannel& channel, CommandScope& scope, ProductVersion version);
  CommandHandler(EventLoop& loop, ReplyChannel& channel, CommandScope& scope, ProductVersion version,
                 Decoder decode);
  CommandHandler(const CommandHandler&) = delete;
  CommandHandler& operator=(const CommandHandler&) = delete;

  // Gives one of kCommandNames its handler. A command without one is answered as one that was not handled. A
  // name that is not in the table throws std::invalid_argument. Before the first request.
  void add(std::string_view command, Handler handler);

  // The observer of "GotData". Any thread; off the core thread it waits until the command is done. Never
  // throws there.
  void gotDataFromServer(const Notification& notification);
  // Runs one command, sends its reply or none. Core thread; throws what leaves the handler. Nil is a request
  // that could not be decoded.
  void handleCommandDict(const Value& command);

 private:
  Value decodedCommand(const Bytes& chunk) const;
  const Handler* handlerOf(std::string_view command) const;

  EventLoop& loop_;
  ReplyChannel& channel_;
  CommandScope& scope_;
  Decoder decode_;
  std::array<Handler, kCommandNames.size()> handlers_;
};

}  // namespace moxtel
