// A reply channel that keeps the envelopes which the real one would have written.
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "net/ReplyChannel.h"

namespace moxtel {

class RecordingReplyChannel : public ReplyChannel {
 public:
  bool sendToClientResultObject(Value object) override {
    return sendToClientSerializedObject(resultEnvelope(std::move(object)));
  }
  bool sendToClientErrorString(std::string_view text) override {
    return sendToClientSerializedObject(errorEnvelope(text));
  }
  bool sendToClientSerializedObject(Value object) override {
    envelopes.push_back(std::move(object));
    return true;
  }

  std::vector<Value> envelopes;
};

}  // namespace moxtel
