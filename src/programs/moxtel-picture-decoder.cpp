// moxtel-picture-decoder: reads one picture file and prints it as a JPEG or as pixels, for a server that does
// not want to do this itself. DecoderProtocol.h tells its arguments and its answer.
#include <vips/vips.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "pictures/codec/DecoderProtocol.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/codec/decoder/Sources.h"
#include "pictures/properties/PictureFacts.h"
#include "platform/files/FileReader.h"
#include "platform/process/Confinement.h"

namespace moxtel::decoder {
namespace {

constexpr std::uint64_t kMemory = std::uint64_t{3} << 30;  // bytes of address space, the file not counted
constexpr std::uint64_t kTemporaryFile = std::uint64_t{2} << 30;  // bytes
constexpr std::uint64_t kProcessorSeconds = 100;  // of all threads; the caller bounds the time that passes

void setUpLibraries(const char* scratch) {
  // What libraries say of a file is nothing to anybody.
  if (!std::freopen("/dev/null", "w", stderr)) std::fclose(stderr);
  if (*scratch) {
    setenv("TMPDIR", scratch, 1);
    setenv("MAGICK_TMPDIR", scratch, 1);
  }
  // Each thread takes memory for itself, and a picture's rows are needed one after another.
  setenv("VIPS_CONCURRENCY", "1", 1);
  setenv("MALLOC_ARENA_MAX", "2", 1);
}

std::unique_ptr<PictureSource> opened(FileBytes file) {
  const PictureKind kind = kindOfPicture(file.first(std::min(file.size(), kPictureStartSize)));
  if (kind == PictureKind::None) return nullptr;
  if (kind == PictureKind::Heif) return openHeif(file);
  properties::ByteSource source(file);
  // LibRaw takes a scan of 16 bits for a sensor's picture when the scanner's maker builds cameras, too.
  const bool mayBeRaw = kind == PictureKind::Tiff && !properties::isOrdinaryTiff(source);
  if (kind == PictureKind::Raw || mayBeRaw) {
    auto raw = openRaw(file, kind);
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

bool run(const char* form, const char* path, const char* scratch) {
  const OpenFile file = openRegularFile(path);
  confineThisProcess({kMemory + file.size, kProcessorSeconds, *scratch != '\0' ? kTemporaryFile : 0});
  setUpLibraries(scratch);
  const FileBytes bytes = mappedForEver(file);
  const auto source = opened(bytes);
  if (!source) return false;
  if (std::strcmp(form, kPixelsForm) == 0) {
    const auto image = pixelsOf(*source);
    return image && writePixels(*image);
  }
  const auto jpeg = jpegOf(*source);
  return jpeg && writeJpeg(*jpeg);
}

}  // namespace
}  // namespace moxtel::decoder

int main(int count, char** words) {
  bool done = false;
  try {
    done = count == 4 && moxtel::decoder::run(words[1], words[2], words[3]);
  } catch (const std::exception&) {
  }
  // The answer is out; no library's end shall spoil it.
  std::_Exit(done ? EXIT_SUCCESS : EXIT_FAILURE);
}
