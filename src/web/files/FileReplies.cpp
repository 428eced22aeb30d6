#include "web/files/FileReplies.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "library/answers/OpenLibrary.h"
#include "platform/files/Files.h"

namespace moxtel {
namespace {

// Turned files up to this size are read at once; larger ones while they are sent.
constexpr std::uint64_t kLargestText = std::uint64_t{1} << 20;  // bytes

std::string hex(std::uint64_t number) {
  std::array<char, 16> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16);
  return {digits.data(), end.ptr};
}

class TurnedBody final : public HttpBody {
 public:
  TurnedBody(OpenFile file, JpegHead::Turned turned) : file_(std::move(file)), turned_(std::move(turned)) {}

  std::uint64_t bytes() const { return turned_.start.size() + file_.size - turned_.rest; }
  std::optional<std::uint64_t> size() const override { return bytes(); }
  std::optional<std::size_t> read(std::uint64_t offset, std::span<char> buffer) override {
    std::size_t filled = 0;
    const std::string& start = turned_.start;
    if (offset < start.size()) filled = start.copy(buffer.data(), buffer.size(), offset);
    const std::uint64_t left = bytes() - std::min(bytes(), offset + filled);
    const std::span<char> room = buffer.subspan(filled).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size() - filled, left)));
    if (room.empty()) return filled;
    const std::uint64_t place = offset + filled - start.size() + turned_.rest;
    auto* bytes = reinterpret_cast<std::uint8_t*>(room.data());
    if (readAt(file_, place, {bytes, room.size()}) != room.size()) return std::nullopt;
    return filled + room.size();
  }

 private:
  const OpenFile file_;
  const JpegHead::Turned turned_;
};

struct MediaType {
  std::string_view extension;
  const char* type;
};
constexpr MediaType kMediaTypes[] = {
    {".3g2", "video/3gpp2"},     {".3gp", "video/3gpp"},
    {".avi", "video/x-msvideo"}, {".avif", "image/avif"},
    {".bmp", "image/bmp"},       {".dng", "image/x-adobe-dng"},
    {".gif", "image/gif"},       {".heic", "image/heic"},
    {".heif", "image/heif"},     {".jp2", "image/jp2"},
    {".jpeg", "image/jpeg"},     {".jpg", "image/jpeg"},
    {".m4v", "video/x-m4v"},     {".mkv", "video/x-matroska"},
    {".mov", "video/quicktime"}, {".mp4", "video/mp4"},
    {".mpeg", "video/mpeg"},     {".mpg", "video/mpeg"},
    {".png", "image/png"},       {".psd", "image/vnd.adobe.photoshop"},
    {".tif", "image/tiff"},      {".tiff", "image/tiff"},
    {".webp", "image/webp"},     {".wmv", "video/x-ms-wmv"},
};

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || std::strchr("-._~", c);
}

}  // namespace

HttpReply::Cache cacheOf(const HttpRequest& request, const WebLibrary& library) {
  const auto version = request.query("v");
  return version && *version == library.version() ? HttpReply::Cache::Immutable : HttpReply::Cache::Private;
}

bool mayLackFiles(const OpenLibrary& open) { return open.failed() || open.lacksResources(); }

HttpReply missingReply(OpenLibrary& open) {
  const bool isShort = open.lacksResources();
  if (open.failed() || open.state() != OpenLibrary::State::Ready) return errorReply(503, "away");
  return isShort ? errorReply(503, "busy") : errorReply(404, "unknown");
}

std::string stampText(const OpenFile& file) {
  const FileStamp stamp = stampOf(file.descriptor.get());
  return hex(stamp.size) + "-" + hex(static_cast<std::uint64_t>(stamp.modified)) + "-" + hex(stamp.inode);
}

HttpReply fileReply(OpenFile file, std::string type, HttpReply::Cache cache) {
  HttpReply reply;
  reply.type = std::move(type);
  reply.etag = stampText(file);
  reply.cache = cache;
  reply.body = FileBody{std::move(file.descriptor), 0, file.size};
  return reply;
}

HttpReply turnedReply(OpenFile file, JpegHead::Turned turned, int orientation, HttpReply::Cache cache) {
  HttpReply reply;
  reply.type = "image/jpeg";
  reply.etag = stampText(file) + "-" + std::to_string(orientation);
  reply.cache = cache;
  auto body = std::make_shared<TurnedBody>(std::move(file), std::move(turned));
  if (body->bytes() > kLargestText) {
    reply.body = std::move(body);
    return reply;
  }
  std::string text(static_cast<std::size_t>(body->bytes()), '\0');
  if (body->read(0, text) != text.size()) return errorReply(404, "unknown");
  reply.body = std::move(text);
  return reply;
}

std::string extensionOf(std::string_view fileName) {
  const std::string_view name = fileName.substr(fileName.rfind('/') + 1);
  const std::size_t point = name.rfind('.');
  std::string extension(point == std::string_view::npos || point == 0 ? std::string_view()
                                                                      : name.substr(point));
  for (char& c : extension) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return extension;
}

const char* mediaTypeOf(std::string_view fileName) {
  const std::string extension = extensionOf(fileName);
  for (const MediaType& one : kMediaTypes) {
    if (one.extension == extension) return one.type;
  }
  return "application/octet-stream";
}

std::string inlineWithName(std::string_view fileName) {
  std::string value = "inline; filename*=UTF-8''";
  constexpr const char* kDigits = "0123456789ABCDEF";
  for (const char c : fileName) {
    const auto byte = static_cast<unsigned char>(c);
    if (isPlain(c)) {
      value += c;
    } else {
      value += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return value;
}

}  // namespace moxtel
