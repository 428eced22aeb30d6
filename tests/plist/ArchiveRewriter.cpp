// For tests by other makers' archivers: reads archives from standard input and writes them again.
// A frame is a length (4 bytes, big-endian) and as many bytes. Each is answered by one: the archive that this
// system writes for what it read, or "error: " and the reason.
#include <cstdio>
#include <span>
#include <string>
#include <variant>

#include "plist/KeyedArchive.h"

namespace {

bool readAll(unsigned char* place, std::size_t size) { return std::fread(place, 1, size, stdin) == size; }

void reply(std::span<const std::uint8_t> bytes) {
  const auto size = static_cast<std::uint32_t>(bytes.size());
  for (int shift = 24; shift >= 0; shift -= 8) std::putchar(static_cast<int>(size >> shift & 255));
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
  std::fflush(stdout);
}

}  // namespace

int main() {
  unsigned char head[4];
  while (readAll(head, 4)) {
    const std::uint32_t size =
        std::uint32_t{head[0]} << 24 | std::uint32_t{head[1]} << 16 | std::uint32_t{head[2]} << 8 | head[3];
    moxtel::Bytes bytes(size);
    if (!readAll(bytes.data(), size)) return 1;
    const auto read = moxtel::unarchivedObject(bytes);
    if (const auto* error = std::get_if<moxtel::DecodingError>(&read)) {
      const std::string text = "error: " + error->reason;
      reply({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    } else {
      reply(moxtel::archivedData(std::get<moxtel::Value>(read)));
    }
  }
}
