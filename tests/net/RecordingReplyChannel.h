// A reply channel that keeps the envelopes which the real one would have written.
#pragma once

#include <string_view>
#include <vector>

#include "net/ReplyChannel.h"

namespace moxtel {

class RecordingReplyChannel : public ReplyChannel {
 public:
  bool sendToClientResultObject(const Value& object) override {
    return sendToClientSerializedObject(resultEnvelope(object));
  }
  bool sendToClientErrorString(std::string_view text) override {
    return sendToClientSerializedObject(errorEnvelope(text));
  }
  bool sendToClientSerializedObject(const Value& object) override {
    envelopes.push_back(object);
    return true;
  }

  std::vector<Value> envelopes;
};

}  // namespace moxtel
