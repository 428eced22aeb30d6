// A responder that keeps the reply. Any thread.
#pragma once

#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "platform/files/FileReader.h"
#include "web/http/HttpResponder.h"

namespace moxtel {

class RecordingResponder final : public HttpResponder {
 public:
  void send(HttpReply reply) override {
    const std::lock_guard lock(mutex_);
    if (!reply_) reply_ = std::move(reply);
    changed_.notify_all();
  }
  bool isGone() const override { return gone_; }
  void leave() { gone_ = true; }

  bool isAnswered() const {
    const std::lock_guard lock(mutex_);
    return reply_.has_value();
  }
  HttpReply& reply() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return reply_.has_value(); });
    return *reply_;
  }
  // All bytes of the reply's body; nothing if that fails.
  std::optional<std::string> body() {
    auto& kinds = reply().body;
    if (const auto* text = std::get_if<std::string>(&kinds)) return *text;
    if (auto* file = std::get_if<FileBody>(&kinds)) return ofFile(*file);
    return ofBody(*std::get<std::shared_ptr<HttpBody>>(kinds));
  }

 private:
  static std::optional<std::string> ofFile(const FileBody& body) {
    std::string text(body.size, '\0');
    OpenFile file;
    file.state = FileState::Open;
    file.descriptor = FileDescriptor(::dup(body.file.get()));
    file.size = body.offset + body.size;
    auto* bytes = reinterpret_cast<std::uint8_t*>(text.data());
    if (readAt(file, body.offset, {bytes, text.size()}) != text.size()) return std::nullopt;
    return text;
  }
  static std::optional<std::string> ofBody(HttpBody& body) {
    std::string all;
    std::string buffer(10'000, ' ');
    while (const auto count = body.read(all.size(), buffer)) {
      if (*count == 0) return all;
      all += buffer.substr(0, *count);
    }
    return std::nullopt;
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<HttpReply> reply_;
  std::atomic<bool> gone_{false};
};

}  // namespace moxtel
