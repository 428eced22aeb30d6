// Sends replies to the connected client. Implemented by QVSocketServer, and by tests that record the replies.
#pragma once

#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>

#include "platform/files/FileReader.h"
#include "value/Value.h"

namespace moxtel {

// Thrown for a reply without an object. Caught and logged where tasks of the core thread end; the client gets
// no reply.
class NilObjectError : public std::logic_error {
 public:
  NilObjectError() : std::logic_error("a nil object cannot be put into a reply") {}
};

inline constexpr std::string_view kResultKey = "result";

// The envelopes of replies: {"result": object}, which throws NilObjectError for nil, and {"error": text}.
inline Value resultEnvelope(Value object) {
  if (object.isNil()) throw NilObjectError();
  Dictionary envelope;
  envelope.append(kResultKey, std::move(object));
  return envelope;
}
inline Value errorEnvelope(std::string_view text) { return Dictionary{{"error", text}}; }

// The data of a reply: bytes, or an open regular file, whose content up to its size at opening is read while
// it is sent.
using ReplyData = std::variant<Bytes, OpenFile>;

// Objects are taken by value: an object that the caller moves in and does not share is freed as soon as its
// archive no longer needs it, before the reply is written.
class ReplyChannel {
 public:
  virtual ~ReplyChannel() = default;
  // Each returns true if and only if the whole reply was written.

  // The envelope {"result": object}. A nil object throws NilObjectError, and nothing is sent.
  virtual bool sendToClientResultObject(Value object) = 0;
  // The envelope {"result": data}. A file that becomes shorter or unreadable while it is sent ends the
  // connection, so that the client never sees a truncated reply that looks complete.
  virtual bool sendToClientResultData(ReplyData data) = 0;
  // The envelope {"error": text}.
  virtual bool sendToClientErrorString(std::string_view text) = 0;
  // A ready-made envelope, or any other value.
  virtual bool sendToClientSerializedObject(Value object) = 0;

 protected:
  ReplyChannel() = default;
  ReplyChannel(const ReplyChannel&) = default;
  ReplyChannel& operator=(const ReplyChannel&) = default;
};

}  // namespace moxtel
