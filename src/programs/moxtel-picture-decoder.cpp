// moxtel-picture-decoder: decodes the picture on standard input, a file, and prints it as a JPEG or as
// pixels. It is a process of its own with limits (Confinement.h), so that a file that crashes a library or
// needs too much memory or time does not end the server. DecoderProtocol.h describes its arguments and
// output.
#include <vips/vips.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "pictures/codec/DecoderProtocol.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/codec/Preview.h"
#include "pictures/codec/decoder/Sources.h"
#include "pictures/properties/PictureFacts.h"
#include "platform/files/FileReader.h"
#include "platform/process/Confinement.h"

namespace moxtel::decoder {
namespace {

constexpr std::uint64_t kMemory = std::uint64_t{3} << 30;         // bytes of address space besides the file
constexpr std::uint64_t kTemporaryFile = std::uint64_t{2} << 30;  // bytes
constexpr std::uint64_t kProcessorSeconds = 100;  // of all threads; the caller limits the elapsed time

void setUpLibraries(const char* scratch) {
  // Discards library warnings.
  if (!std::freopen("/dev/null", "w", stderr)) std::fclose(stderr);
  if (*scratch) {
    setenv("TMPDIR", scratch, 1);
    setenv("MAGICK_TMPDIR", scratch, 1);
  }
  // One thread: each takes its own memory, and the rows are needed in order anyway.
  setenv("VIPS_CONCURRENCY", "1", 1);
  setenv("MALLOC_ARENA_MAX", "2", 1);
}

// side: the preview's, in pixels.
std::unique_ptr<PictureSource> opened(FileBytes file, std::uint32_t side) {
  const PictureKind kind = kindOfPicture(file.first(std::min(file.size(), kPictureStartSize)));
  if (kind == PictureKind::None) return nullptr;
  if (kind == PictureKind::Jpeg) {
    bool hasOtherInks = false;
    auto source = openJpeg(file, side, hasOtherInks);
    if (source || !hasOtherInks) return source;
  }
  if (kind == PictureKind::Heif) return openHeif(file);
  properties::ByteSource source(file);
  // LibRaw takes a 16-bit scan for a RAW file if the maker of the scanner also makes cameras.
  const bool mayBeRaw = kind == PictureKind::Tiff && !properties::isOrdinaryTiff(source);
  if (kind == PictureKind::Raw || mayBeRaw) {
    auto raw = openRaw(file, kind, side);
    if (raw || kind == PictureKind::Raw) return raw;
  }
  if (vips_init("moxtel-picture-decoder") != 0) return nullptr;
  return openWithVips(file, kind);
}

bool writePixels(const PixelBuffer& image) {
  const auto header = headerOf(image);
  return writeToStandardOutput(header) && writeToStandardOutput(image.iccProfile) &&
         writeToStandardOutput(image.pixels);
}

bool writeJpeg(const Bytes& jpeg) {
  const auto header = headerOf(PixelBuffer{0, 0, PixelLayout{0}, {}, {}});
  return writeToStandardOutput(header) && writeToStandardOutput(jpeg);
}

// What the libraries open when they are used: their plug-ins and ImageMagick's settings.
FileRights rightsWith(const char* scratch) {
  FileRights rights{sharedLibraryFolders(), scratch};
  for (const char* path : {"/etc/ld.so.cache", "/etc/ImageMagick-6", "/usr/share/ImageMagick-6"})
    rights.readable.emplace_back(path);
  return rights;
}

bool run(const char* form, const char* scratch) {
  const OpenFile file = standardInputFile();
  setUpLibraries(scratch);
  confineThisProcess({kMemory + file.size, kProcessorSeconds, *scratch != '\0' ? kTemporaryFile : 0},
                     rightsWith(scratch));
  const FileBytes bytes = mappedUntilExit(file);
  const auto preview = previewIn(form);
  const auto source = opened(bytes, preview ? preview->side : kWholeSize);
  if (!source) return false;
  if (std::strcmp(form, kPixelsForm) == 0) {
    const auto image = pixelsOf(*source);
    return image && writePixels(*image);
  }
  const auto jpeg = preview ? previewJpegOf(*source, preview->side, preview->degrees) : jpegOf(*source);
  return jpeg && writeJpeg(*jpeg);
}

}  // namespace
}  // namespace moxtel::decoder

int main(int count, char** words) {
  bool done = false;
  try {
    done = count == 3 && moxtel::decoder::run(words[1], words[2]);
  } catch (const std::exception&) {
  }
  // Skips library destructors: they may crash after the output is written.
  std::_Exit(done ? EXIT_SUCCESS : EXIT_FAILURE);
}
