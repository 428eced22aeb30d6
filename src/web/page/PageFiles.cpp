#include "web/page/PageFiles.h"

#include <zlib.h>

#include <QCryptographicHash>
#include <QDirIterator>
#include <QResource>
#include <array>
#include <utility>

static void loadResources() { Q_INIT_RESOURCE(page); }

namespace moxtel {

namespace {

constexpr const char* kRoot = ":/page/";
constexpr std::string_view kCompressed = ".gz";
constexpr std::size_t kEtagLength = 16;
constexpr int kGzipWindow = 15 + 16;
constexpr std::array<std::pair<std::string_view, std::string_view>, 11> kTypes{{
    {".html", "text/html; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".jpg", "image/jpeg"},
    {".ico", "image/x-icon"},
    {".webmanifest", "application/manifest+json"},
    {".txt", "text/plain; charset=utf-8"},
    {".woff2", "font/woff2"},
    {".mp4", "video/mp4"},
}};

std::string etagOf(std::span<const char> bytes) {
  const auto hash = QCryptographicHash::hash(
      QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())), QCryptographicHash::Sha256);
  return hash.toHex().left(kEtagLength).toStdString();
}

// Empty for bytes that are not gzip: those of the program always are.
std::string unpacked(std::span<const char> bytes) {
  z_stream stream{};
  if (inflateInit2(&stream, kGzipWindow) != Z_OK) return {};
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  std::string result;
  int status = Z_OK;
  while (status == Z_OK) {
    std::array<char, 16384> buffer;
    stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
    stream.avail_out = buffer.size();
    status = inflate(&stream, Z_NO_FLUSH);
    result.append(buffer.data(), buffer.size() - stream.avail_out);
  }
  inflateEnd(&stream);
  return status == Z_STREAM_END ? result : std::string();
}

}  // namespace

std::string pageFileType(std::string_view name) {
  for (const auto& [ending, type] : kTypes) {
    if (name.ends_with(ending)) return std::string(type);
  }
  return "application/octet-stream";
}

PageFiles::PageFiles() {
  loadResources();
  QDirIterator paths(kRoot, QDir::Files, QDirIterator::Subdirectories);
  while (paths.hasNext()) {
    const QResource resource(paths.next());
    std::string name =
        resource.fileName().mid(static_cast<qsizetype>(std::string_view(kRoot).size())).toStdString();
    const std::span bytes(reinterpret_cast<const char*>(resource.data()),
                          static_cast<std::size_t>(resource.size()));
    const bool isCompressed = name.ends_with(kCompressed);
    if (isCompressed) name.resize(name.size() - kCompressed.size());
    files_[name] = {bytes, isCompressed, etagOf(bytes)};
  }
}

std::string PageFiles::text(std::string_view name) const {
  const auto found = files_.find(name);
  if (found == files_.end()) return {};
  const File& file = found->second;
  return file.isCompressed ? unpacked(file.bytes) : std::string(file.bytes.begin(), file.bytes.end());
}

HttpReply PageFiles::reply(std::string_view name, bool acceptsGzip) const {
  const auto found = files_.find(name);
  if (found == files_.end()) return errorReply(404, "unknown");
  const File& file = found->second;
  HttpReply reply;
  reply.type = pageFileType(name);
  reply.cache = name.starts_with("assets/") ? HttpReply::Cache::Immutable : HttpReply::Cache::No;
  reply.etag = file.etag;
  if (file.isCompressed && acceptsGzip) {
    reply.body = std::string(file.bytes.begin(), file.bytes.end());
    reply.etag += "-gz";
    reply.headers.emplace_back("Content-Encoding", "gzip");
  } else {
    reply.body = text(name);
  }
  return reply;
}

}  // namespace moxtel
