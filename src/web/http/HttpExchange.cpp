#include "web/http/HttpExchange.h"

#include <microhttpd.h>
#include <zlib.h>

#include <algorithm>
#include <span>
#include <utility>

#include "platform/files/FileReader.h"
#include "web/http/ByteRange.h"
#include "web/http/ReplyPlan.h"

namespace moxtel {

namespace {

constexpr std::size_t kSmallestCompressed = 1024;  // bytes
constexpr int kGzipWindow = 15 + 16;               // zlib's largest window, with the header of gzip
// A file up to this size is sent together with the header: one packet less and, for the client, one wake-up
// less than with sendfile.
constexpr std::uint64_t kLargestCopiedFile = 65536;  // bytes

// Empty if there is no memory for it.
std::string gzipped(const std::string& text) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, kGzipWindow, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
  std::string result(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  const int status = deflate(&stream, Z_FINISH);
  result.resize(status == Z_STREAM_END ? stream.total_out : 0);
  deflateEnd(&stream);
  return result;
}

// The compressed form has an ETag of its own.
void compress(const HttpRequest& request, HttpReply& reply) {
  const auto* text = std::get_if<std::string>(&reply.body);
  const bool isSuited = text && reply.type == "application/json" && text->size() >= kSmallestCompressed &&
                        text->size() <= UINT32_MAX / 2;
  if (!isSuited || !request.acceptsGzip) return;
  if (!reply.etag.empty()) reply.etag += "-gz";
  const bool isKnown = ifNoneMatchNames(request.ifNoneMatch, "\"" + reply.etag + "\"");
  if (isKnown) return;  // answered without a body
  std::string packed = gzipped(*text);
  if (packed.empty()) return;
  reply.body = std::move(packed);
  reply.headers.emplace_back("Content-Encoding", "gzip");
}

std::optional<std::uint64_t> sizeOf(const HttpReply& reply) {
  if (const auto* text = std::get_if<std::string>(&reply.body)) return text->size();
  if (const auto* file = std::get_if<FileBody>(&reply.body)) return file->size;
  const auto& body = std::get<std::shared_ptr<HttpBody>>(reply.body);
  return body ? body->size() : 0;
}

MHD_Response* emptyResponse() { return MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT); }

MHD_Response* textResponse(std::string text, std::uint64_t first, std::uint64_t size) {
  auto owned = std::make_unique<std::string>(std::move(text));
  void* const start = owned->data() + first;
  const auto release = [](void* kept) { delete static_cast<std::string*>(kept); };
  MHD_Response* const response =
      MHD_create_response_from_buffer_with_free_callback_cls(size, start, release, owned.get());
  if (response) static_cast<void>(owned.release());
  return response;
}

// Null if the file cannot be read to the end, for example because it became shorter.
MHD_Response* copiedFileResponse(FileBody file, std::uint64_t first, std::uint64_t size) {
  std::string text(static_cast<std::size_t>(size), '\0');
  const OpenFile open{FileState::Open, std::move(file.file), file.offset + file.size, {}};
  const std::span place(reinterpret_cast<std::uint8_t*>(text.data()), text.size());
  if (readAt(open, file.offset + first, place) != size) return nullptr;
  return textResponse(std::move(text), 0, size);
}

MHD_Response* fileResponse(FileBody file, std::uint64_t first, std::uint64_t size) {
  if (size <= kLargestCopiedFile) return copiedFileResponse(std::move(file), first, size);
  MHD_Response* const response =
      MHD_create_response_from_fd_at_offset64(size, file.file.get(), file.offset + first);
  if (response) static_cast<void>(file.file.release());
  return response;
}

// A body that is read while it is sent.
struct BodySource {
  std::shared_ptr<HttpBody> body;
  std::uint64_t first;
  std::optional<std::uint64_t> size;

  static ssize_t read(void* source, std::uint64_t position, char* buffer, std::size_t space) {
    const auto& self = *static_cast<BodySource*>(source);
    const std::uint64_t left = self.size ? *self.size - position : space;
    const auto count = self.body->read(self.first + position, {buffer, std::min<std::uint64_t>(space, left)});
    if (!count) return MHD_CONTENT_READER_END_WITH_ERROR;
    if (*count > 0) return static_cast<ssize_t>(*count);
    return self.size ? MHD_CONTENT_READER_END_WITH_ERROR : MHD_CONTENT_READER_END_OF_STREAM;
  }
  static void release(void* source) { delete static_cast<BodySource*>(source); }
};

MHD_Response* bodyResponse(std::shared_ptr<HttpBody> body, std::uint64_t first,
                           std::optional<std::uint64_t> size) {
  const std::size_t block = body->blockSize();
  auto source = std::make_unique<BodySource>(BodySource{std::move(body), first, size});
  MHD_Response* const response = MHD_create_response_from_callback(
      size.value_or(MHD_SIZE_UNKNOWN), block, &BodySource::read, source.get(), &BodySource::release);
  if (response) static_cast<void>(source.release());
  return response;
}

MHD_Response* responseFor(HttpReply& reply, const ReplyPlan& plan) {
  if (!plan.hasBody || plan.size == 0) return emptyResponse();
  if (auto* text = std::get_if<std::string>(&reply.body))
    return textResponse(std::move(*text), plan.first, *plan.size);
  if (auto* file = std::get_if<FileBody>(&reply.body))
    return fileResponse(std::move(*file), plan.first, *plan.size);
  return bodyResponse(std::get<std::shared_ptr<HttpBody>>(reply.body), plan.first, plan.size);
}

}  // namespace

PreparedReply::~PreparedReply() {
  if (response) MHD_destroy_response(response);
}

PreparedReply prepareReply(const HttpRequest& request, HttpReply reply) {
  compress(request, reply);
  const ReplyPlan plan = planReply(request, reply, sizeOf(reply));
  PreparedReply prepared(plan.status, responseFor(reply, plan));
  if (!prepared.response) return prepared;
  for (const auto& [name, value] : plan.fields) {
    // Fails for a value with a line end, which a name in a library may have.
    MHD_add_response_header(prepared.response, name.c_str(), value.c_str());
  }
  for (const ConstantField& field : securityFields())
    MHD_add_response_header(prepared.response, field.name, field.value);
  return prepared;
}

void HttpExchange::send(HttpReply reply) {
  if (isGone_ || isAnswered_.exchange(true)) return;
  if (!setCookie.empty()) reply.headers.emplace_back("Set-Cookie", setCookie);
  deliver(std::make_unique<PreparedReply>(prepareReply(request, std::move(reply))));
}

void HttpExchange::deliver(std::unique_ptr<PreparedReply> reply) {
  const std::lock_guard lock(mutex_);
  if (!connection_ || reply_) return;
  reply_ = std::move(reply);
  if (isSuspended_) MHD_resume_connection(connection_);
  isSuspended_ = false;
}

void HttpExchange::end() {
  isGone_ = true;
  deliver(std::make_unique<PreparedReply>());
}

void HttpExchange::expire() {
  send(errorReply(503, "busy"));
  isGone_ = true;
}

std::unique_ptr<PreparedReply> HttpExchange::takeReplyOrSuspend() {
  const std::lock_guard lock(mutex_);
  if (reply_) return std::move(reply_);
  isSuspended_ = true;
  MHD_suspend_connection(connection_);
  return nullptr;
}

void HttpExchange::leave() {
  isGone_ = true;
  const std::lock_guard lock(mutex_);
  connection_ = nullptr;
}

}  // namespace moxtel
