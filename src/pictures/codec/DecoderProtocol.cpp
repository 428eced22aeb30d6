#include "pictures/codec/DecoderProtocol.h"

#include <charconv>

namespace moxtel::decoder {
namespace {

constexpr std::string_view kPreviewForm = "preview:";

void putWord(std::uint8_t* place, std::uint32_t word) {
  for (int i = 0; i < 4; ++i) place[i] = static_cast<std::uint8_t>(word >> (8 * i));
}

std::uint32_t wordAt(std::span<const std::uint8_t> bytes, std::size_t index) {
  std::uint32_t word = 0;
  for (std::size_t i = 4; i-- > 0;) word = word << 8 | bytes[4 * index + i];
  return word;
}

bool isLayout(std::uint32_t size) { return size == 1 || size == 3 || size == 4; }

}  // namespace

std::string previewForm(const Preview& preview) {
  return std::string(kPreviewForm) + std::to_string(preview.side) + ":" + std::to_string(preview.degrees);
}

std::optional<Preview> previewIn(std::string_view form) {
  if (!form.starts_with(kPreviewForm)) return std::nullopt;
  Preview preview;
  const char* const end = form.data() + form.size();
  const auto side = std::from_chars(form.data() + kPreviewForm.size(), end, preview.side);
  if (side.ec != std::errc() || side.ptr == end || *side.ptr != ':' || preview.side == 0) return std::nullopt;
  const auto degrees = std::from_chars(side.ptr + 1, end, preview.degrees);
  if (degrees.ec != std::errc() || degrees.ptr != end || preview.degrees % 90 != 0) return std::nullopt;
  return preview;
}

std::array<std::uint8_t, kHeaderSize> headerOf(const PixelBuffer& image) {
  std::array<std::uint8_t, kHeaderSize> header{};
  putWord(&header[0], kMagic);
  putWord(&header[4], image.width);
  putWord(&header[8], image.height);
  putWord(&header[12], static_cast<std::uint32_t>(bytesPerPixel(image.layout)));
  putWord(&header[16], static_cast<std::uint32_t>(image.iccProfile.size()));
  return header;
}

bool isAnswer(std::span<const std::uint8_t> answer) {
  return answer.size() >= kHeaderSize && wordAt(answer, 0) == kMagic;
}

std::optional<PixelBuffer> pictureIn(std::span<const std::uint8_t> answer) {
  if (!isAnswer(answer) || !isLayout(wordAt(answer, 3))) return std::nullopt;
  PixelBuffer image{
      wordAt(answer, 1), wordAt(answer, 2), static_cast<PixelLayout>(wordAt(answer, 3)), {}, {}};
  const std::size_t profile = wordAt(answer, 4);
  if (!isDecodableSize(image.width, image.height) ||
      answer.size() != kHeaderSize + profile + image.rowBytes() * image.height)
    return std::nullopt;
  const auto rest = answer.subspan(kHeaderSize);
  image.iccProfile.assign(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(profile));
  image.pixels.assign(rest.begin() + static_cast<std::ptrdiff_t>(profile), rest.end());
  return image;
}

}  // namespace moxtel::decoder
