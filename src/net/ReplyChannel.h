// The way of a reply to the connected client. QVSocketServer is the real one; tests collect.
#pragma once

#include <string_view>

#include "value/Value.h"

namespace moxtel {

class ReplyChannel {
 public:
  virtual ~ReplyChannel() = default;
  // The envelope {"result": object}. A nil object throws NilObjectError: nothing is sent. True iff all was
  // written.
  virtual bool sendToClientResultObject(const Value& object) = 0;
  // The envelope {"error": text}.
  virtual bool sendToClientErrorString(std::string_view text) = 0;
  virtual bool sendToClientSerializedObject(const Value& object) = 0;

 protected:
  ReplyChannel() = default;
  ReplyChannel(const ReplyChannel&) = default;
  ReplyChannel& operator=(const ReplyChannel&) = default;
};

}  // namespace moxtel
