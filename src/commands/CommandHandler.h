// Decodes the chunks of bytes that the socket server reads ("GotData") into commands and runs their handlers
// on the core thread.
//
// Handlers come in groups (ListingCommands, ImageCommands, …); each group adds its own with add(). A handler
// finishes its work, every reply included, before it returns. An exception that leaves it is logged by the
// event loop; no reply is sent, and the reading thread continues. A handler runs a second time when the
// library was changed while the first one read it.
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

// The product's version, which "Get Version" returns.
struct ProductVersion {
  std::int32_t major = 0;
  std::int32_t minor = 0;
};

// What the command handler calls on the library around each command. Core thread. An interface, so that tests
// and the fuzzer of requests see when it is called, without databases.
class CommandScope {
 public:
  virtual ~CommandScope() = default;
  // A command begins.
  virtual void beginCommand() = 0;
  // Releases the library's locks: called before each reply is written and whenever a command ends. May be
  // called when none is held.
  virtual void releaseLocks() = 0;
  // Whether the command must run again, because the library was changed while it was read. Asked after
  // releaseLocks().
  virtual bool mustReadAgain() const { return false; }
  // Before it runs again.
  virtual void beginCommandAgain() {}
  // The reply to this command would have been too large; the client got an error.
  virtual void rejectedReply(std::string_view /*command*/) {}

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
  // Sends its replies through the channel, which first releases the library's locks.
  using Handler = std::function<void(const CommandRequest&, ReplyChannel&)>;
  // How bytes are decoded: `unarchivedObject`, except in tests.
  using Decoder = std::function<std::variant<Value, DecodingError>(std::span<const std::uint8_t>)>;

  // Borrows everything. "Get Version" has its handler from the start.
  CommandHandler(EventLoop& loop, ReplyChannel& channel, CommandScope& scope, ProductVersion version);
  CommandHandler(EventLoop& loop, ReplyChannel& channel, CommandScope& scope, ProductVersion version,
                 Decoder decode);
  CommandHandler(const CommandHandler&) = delete;
  CommandHandler& operator=(const CommandHandler&) = delete;

  // Sets the handler of one of kCommandNames; call before the first request. A command without a handler gets
  // the reply "was not handled". A name that is not in the table throws std::invalid_argument.
  void add(std::string_view command, Handler handler);

  // Observes "GotData". Any thread; outside the core thread it waits until the command is done and never
  // throws.
  void gotDataFromServer(const Notification& notification);
  // Runs one command, which sends its replies. Core thread; passes on the handler's exceptions. Nil means a
  // request that could not be decoded.
  void handleCommandDict(const Value& command);

 private:
  Value decodedCommand(const Bytes& chunk) const;
  void run(const Handler& handler, const Value& command, ReplyChannel& reply);
  const Handler* handlerOf(std::string_view command) const;

  EventLoop& loop_;
  ReplyChannel& channel_;
  CommandScope& scope_;
  Decoder decode_;
  std::array<Handler, kCommandNames.size()> handlers_;
};

}  // namespace moxtel
