#include "commands/CommandHandler.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "net/Requests.h"
#include "platform/loop/EventLoop.h"
#include "platform/system/SystemLog.h"
#include "value/Format.h"

namespace moxtel {

namespace {

// Thrown for a chunk that cannot be decoded.
class DecodingException : public std::runtime_error {
 public:
  explicit DecodingException(const DecodingError& error)
      : std::runtime_error("could not unarchive the request: " + error.reason) {}
};

std::variant<Value, DecodingError> decodeRequest(std::span<const std::uint8_t> bytes) {
  return unarchivedObject(bytes, kRequestLimits);
}

// Thrown instead of sending a reply that was made from a library that changed meanwhile.
struct MustReadAgain {};

// Releases the library's locks before each reply is written, so that other programs do not wait for a slow
// client.
class ReleasingChannel : public ReplyChannel {
 public:
  ReleasingChannel(ReplyChannel& channel, CommandScope& scope) : channel_(channel), scope_(scope) {}

  bool sendToClientResultObject(Value object) override {
    release();
    return channel_.sendToClientResultObject(std::move(object));
  }
  bool sendToClientResultData(ReplyData data) override {
    release();
    return channel_.sendToClientResultData(std::move(data));
  }
  bool sendToClientErrorString(std::string_view text) override {
    release();
    return channel_.sendToClientErrorString(text);
  }
  bool sendToClientSerializedObject(Value object) override {
    release();
    return channel_.sendToClientSerializedObject(std::move(object));
  }

 private:
  void release() {
    scope_.releaseLocks();
    if (scope_.mustReadAgain()) throw MustReadAgain();
  }

  ReplyChannel& channel_;
  CommandScope& scope_;
};

class ScopedCommand {
 public:
  explicit ScopedCommand(CommandScope& scope) : scope_(scope) { scope_.beginCommand(); }
  ~ScopedCommand() { scope_.releaseLocks(); }
  ScopedCommand(const ScopedCommand&) = delete;
  ScopedCommand& operator=(const ScopedCommand&) = delete;

 private:
  CommandScope& scope_;
};

std::size_t tablePlaceOf(std::string_view command) {
  const auto place = std::find(kCommandNames.begin(), kCommandNames.end(), command);
  return static_cast<std::size_t>(place - kCommandNames.begin());
}

}  // namespace

CommandHandler::CommandHandler(EventLoop& loop, ReplyChannel& channel, CommandScope& scope,
                               ProductVersion version)
    : CommandHandler(loop, channel, scope, version, decodeRequest) {}

CommandHandler::CommandHandler(EventLoop& loop, ReplyChannel& channel, CommandScope& scope,
                               ProductVersion version, Decoder decode)
    : loop_(loop), channel_(channel), scope_(scope), decode_(std::move(decode)) {
  add("Get Version", [version](const CommandRequest&, ReplyChannel& reply) {
    reply.sendToClientResultObject(format("%d.%d", version.major, version.minor));
  });
}

void CommandHandler::add(std::string_view command, Handler handler) {
  const std::size_t place = tablePlaceOf(command);
  if (place == kCommandNames.size()) throw std::invalid_argument("no such command: " + std::string(command));
  handlers_[place] = std::move(handler);
}

void CommandHandler::gotDataFromServer(const Notification& notification) {
  const Value chunk = notification.userInfo["data"];
  loop_.performAndWait([this, &chunk] { handleCommandDict(decodedCommand(chunk.data())); });
}

// Decodes every request twice. Kept on purpose: a failure of the first decoding leaves as an exception and is
// logged as one; only a failure of the second is logged here.
Value CommandHandler::decodedCommand(const Bytes& chunk) const {
  const auto first = decode_(chunk);
  if (const auto* error = std::get_if<DecodingError>(&first)) throw DecodingException(*error);
  auto second = decode_(chunk);
  if (const auto* error = std::get_if<DecodingError>(&second)) {
    NSLog("unarchiveObject got exception: %@", error->reason);
    return {};
  }
  return std::get<Value>(std::move(second));
}

void CommandHandler::handleCommandDict(const Value& command) {
  if (!command.isNil() && !command.isDictionary()) throw BadRequestError("the request is not a dictionary");
  const Value& name = command["command"];
  if (name.isNil()) {
    NSLog("Bad commandDict: %@", command);
    return;
  }
  if (!name.isString()) throw BadRequestError("the command of the request is not text");

  const ScopedCommand scoped(scope_);
  ReleasingChannel reply(channel_, scope_);
  const Handler* handler = handlerOf(name.string());
  if (!handler) {
    reply.sendToClientErrorString(format("Command '%@' was not handled", name));
    return;
  }
  try {
    run(*handler, command, reply);
  } catch (const ArchiveTooLargeError&) {
    scope_.rejectedReply(name.string());
    reply.sendToClientErrorString("Reply too large");
  }
}

// The second time no reply is held back: beginCommandAgain() ends mustReadAgain().
void CommandHandler::run(const Handler& handler, const Value& command, ReplyChannel& reply) {
  try {
    handler(CommandRequest(command.dictionary()), reply);
  } catch (const MustReadAgain&) {
    scope_.beginCommandAgain();
    handler(CommandRequest(command.dictionary()), reply);
  }
}

const CommandHandler::Handler* CommandHandler::handlerOf(std::string_view command) const {
  const std::size_t place = tablePlaceOf(command);
  return place < handlers_.size() && handlers_[place] ? &handlers_[place] : nullptr;
}

}  // namespace moxtel
