// The way of a reply to the connected client. QVSocketServer is the real one; tests collect.
#pragma once

#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>

#include "platform/files/FileReader.h"
#include "value/Value.h"

namespace moxtel {

// A reply without an object: nobody on the way can answer for it. Caught and logged where tasks of the core
// thread end; the client gets no reply.
class NilObjectError : public std::logic_error {
 public:
  NilObjectError() : std::logic_error("a nil object cannot be put into a reply") {}
};

inline constexpr std::string_view kResultKey = "result";

// What goes over the wire: {"result": object}, which throws NilObjectError for nil, and {"error": text}.
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
  // The envelope {"result": object}. A nil object throws NilObjectError: nothing is sent. True iff all was
  // written.
  virtual bool sendToClientResultObject(Value object) = 0;
  // The envelope {"result": data}. A file that becomes shorter or cannot be read while it is sent ends the
  // connection: the client never takes a part of it for the whole.
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
