// A reply channel that records the envelopes of the replies.
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
  // Reads an open file whole, as the client does.
  bool sendToClientResultData(ReplyData data) override {
    if (const auto* file = std::get_if<OpenFile>(&data)) {
      ++openFiles;
      return sendToClientResultObject(readAll(*file, UINT64_MAX).bytes);
    }
    return sendToClientResultObject(std::get<Bytes>(std::move(data)));
  }
  bool sendToClientErrorString(std::string_view text) override {
    return sendToClientSerializedObject(errorEnvelope(text));
  }
  bool sendToClientSerializedObject(Value object) override {
    envelopes.push_back(std::move(object));
    return true;
  }

  std::vector<Value> envelopes;
  int openFiles = 0;  // replies whose data was an open file
};

}  // namespace moxtel
