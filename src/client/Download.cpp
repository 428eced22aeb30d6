#include "client/Download.h"

#include <algorithm>
#include <fstream>

#include "client/Json.h"
#include "plist/DataPlace.h"

namespace moxtel {

namespace {

constexpr int kTries = 3;
constexpr std::size_t kPiece = 3 * std::size_t{65536};  // a multiple of three, for base64
// A longer reply without data in it is not decoded for its error.
constexpr std::uint64_t kLongestOther = 4 << 20;
constexpr std::uint64_t kMegabyte = 1'000'000;

}  // namespace

void ProgressLine::show(std::uint64_t done, std::uint64_t total, std::uint64_t unit, const char* unitName) {
  if (!out_ || total < unit) return;
  const std::uint64_t percent = 100 * done / total;
  if (percent == percent_) return;
  percent_ = percent;
  const std::string line = std::to_string(done / unit) + " of " + std::to_string(total / unit) + unitName +
                           " (" + std::to_string(percent) + " %)";
  width_ = std::max(width_, line.size());
  *out_ << '\r' << line << std::flush;
}

void ProgressLine::erase() {
  if (width_ > 0) *out_ << '\r' << std::string(width_, ' ') << '\r' << std::flush;
  width_ = 0;
  percent_ = 0;
}

std::string Download::toFile(const Dictionary& command, const std::string& path) {
  if (isDeviceOrPipe(path)) {
    std::ofstream out(path, std::ios::binary);
    return toStream(command, out);
  }
  if (std::string problem = file_.openFor(path); !problem.empty()) return problem;
  if (std::string problem = fetch(command); !problem.empty()) return problem;
  // Within the file: a second one would need the space twice.
  std::string problem =
      eachPiece([this](ByteSpan piece, std::uint64_t at) { return file_.write(piece, at); });
  if (problem.empty()) problem = file_.truncate(dataSize_);
  return problem.empty() ? file_.publish() : problem;
}

std::string Download::toStream(const Dictionary& command, std::ostream& out) {
  if (std::string problem = file_.openUnnamed(); !problem.empty()) return problem;
  std::string problem = fetch(command);
  return problem.empty() ? writeTo(out, false) : problem;
}

std::string Download::toJson(const Dictionary& command, std::ostream& out) {
  if (std::string problem = file_.openUnnamed(); !problem.empty()) return problem;
  if (std::string problem = fetch(command); !problem.empty()) return problem;
  out << '"';
  std::string problem = writeTo(out, true);
  out << "\"\n";
  return problem;
}

std::string Download::fetch(const Dictionary& command) {
  const auto taken = [this](ByteSpan piece, std::uint32_t length) { return take(piece, length); };
  for (int tries = 1;; ++tries) {
    const auto failure = session_.receive(command, taken);
    progress_.erase();
    if (!failure) return findData();
    if (failure->kind == RequestFailure::Kind::NotTaken) return writeProblem_;
    if (failure->kind != RequestFailure::Kind::Broken || tries == kTries) return failure->text;
  }
}

bool Download::take(ByteSpan piece, std::uint32_t length) {
  if (piece.empty()) size_ = 0;
  writeProblem_ = file_.write(piece, size_);
  size_ += piece.size();
  progress_.show(size_, length, kMegabyte, " MB");
  return writeProblem_.empty();
}

std::string Download::findData() {
  // What an earlier, longer answer left.
  std::string problem = file_.truncate(size_);
  if (!problem.empty()) return problem;
  file_.look(static_cast<std::size_t>(size_), [&](ByteSpan reply) { problem = findDataIn(reply); });
  return problem;
}

std::string Download::findDataIn(ByteSpan reply) {
  if (const auto place = dataPlaceIn(reply, "result")) {
    dataOffset_ = place->offset;
    dataSize_ = place->size;
    return {};
  }
  constexpr const char* kNoData = "the server's answer is not data";
  if (size_ > kLongestOther) return kNoData;
  const auto result = resultOf(reply);
  if (const auto* failure = std::get_if<RequestFailure>(&result)) return failure->text;
  const Value& value = std::get<Value>(result);
  if (!value.isData()) return kNoData;
  dataSize_ = value.data().size();
  return file_.write(value.data(), 0);
}

// Each piece with its offset in the data.
std::string Download::eachPiece(const std::function<std::string(ByteSpan piece, std::uint64_t at)>& write) {
  Bytes buffer(kPiece);
  for (std::uint64_t at = 0; at < dataSize_;) {
    const auto piece = std::span(buffer).first(std::min<std::size_t>(kPiece, dataSize_ - at));
    if (std::string problem = file_.read(piece, dataOffset_ + at); !problem.empty()) return problem;
    if (std::string problem = write(piece, at); !problem.empty()) return problem;
    at += piece.size();
  }
  return {};
}

std::string Download::writeTo(std::ostream& out, bool asBase64) {
  return eachPiece([&out, asBase64](ByteSpan piece, std::uint64_t) {
    if (asBase64) {
      out << base64(piece);
    } else {
      out.write(reinterpret_cast<const char*>(piece.data()), static_cast<std::streamsize>(piece.size()));
    }
    return out.good() ? std::string() : "could not write the data";
  });
}

}  // namespace moxtel
