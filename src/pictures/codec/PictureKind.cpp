#include "pictures/codec/PictureKind.h"

#include <algorithm>
#include <string_view>

namespace moxtel {
namespace {

using std::string_view_literals::operator""sv;

struct Signature {
  std::size_t offset;
  std::string_view bytes;
  PictureKind kind;
};

constexpr Signature kSignatures[] = {
    {0, "\xFF\xD8\xFF"sv, PictureKind::Jpeg},
    {0, "\x89PNG\r\n\x1A\n"sv, PictureKind::Png},
    {0, "GIF87a"sv, PictureKind::Gif},
    {0, "GIF89a"sv, PictureKind::Gif},
    {0, "8BPS\0\1"sv, PictureKind::Psd},
    {0, "\0\0\0\x0CjP  \r\n\x87\n"sv, PictureKind::Jpeg2000},
    {0, "\xFF\x4F\xFF\x51"sv, PictureKind::Jpeg2000},
    {8, "WEBPVP8"sv, PictureKind::WebP},
    {0, "II*\0"sv, PictureKind::Tiff},
    {0, "MM\0*"sv, PictureKind::Tiff},
    {0, "II+\0"sv, PictureKind::Tiff},
    {0, "MM\0+"sv, PictureKind::Tiff},
    {0, "IIRO"sv, PictureKind::Raw},
    {0, "IIRS"sv, PictureKind::Raw},
    {0, "MMOR"sv, PictureKind::Raw},
    {0, "IIU\0"sv, PictureKind::Raw},
    {0, "FUJIFILMCCD-RAW"sv, PictureKind::Raw},
    {6, "HEAPCCDR"sv, PictureKind::Raw},
    {0, "\0MRM"sv, PictureKind::Raw},
    {0, "FOVb"sv, PictureKind::Raw},
    {4, "ftypcrx "sv, PictureKind::Raw},
    {4, "ftypheic"sv, PictureKind::Heif},
    {4, "ftypheix"sv, PictureKind::Heif},
    {4, "ftypheim"sv, PictureKind::Heif},
    {4, "ftypheis"sv, PictureKind::Heif},
    {4, "ftyphevc"sv, PictureKind::Heif},
    {4, "ftyphevx"sv, PictureKind::Heif},
    {4, "ftypmif1"sv, PictureKind::Heif},
    {4, "ftypmsf1"sv, PictureKind::Heif},
    {4, "ftypavif"sv, PictureKind::Heif},
};

// "BM" alone may begin a text. In a bitmap the four reserved bytes are zero, and so are three of the four
// bytes of the header's size.
bool isBitmap(std::string_view start) {
  return start.size() >= 18 && start.starts_with("BM") && start.substr(6, 4) == "\0\0\0\0"sv &&
         start.substr(15, 3) == "\0\0\0"sv;
}

}  // namespace

PictureKind kindOfPicture(std::span<const std::uint8_t> start) {
  const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
  const auto fits = [&](const Signature& signature) {
    return text.size() >= signature.offset && text.substr(signature.offset).starts_with(signature.bytes);
  };
  const auto found = std::find_if(std::begin(kSignatures), std::end(kSignatures), fits);
  if (found != std::end(kSignatures)) return found->kind;
  return isBitmap(text) ? PictureKind::Bmp : PictureKind::None;
}

}  // namespace moxtel
