// moxtel-picture-decoder: reads one picture file and prints it as a JPEG or as pixels, for a server that does
// not want to do this itself. DecoderProtocol.h tells its arguments and its answer.
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <vips/vips.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "pictures/DecoderProtocol.h"
#include "pictures/Jpeg.h"
#include "pictures/decoder/Sources.h"
#include "platform/FileReader.h"

namespace moxtel::decoder {
namespace {

constexpr rlim_t kMemory = rlim_t{3} << 30;         // bytes of address space, the file not counted
constexpr rlim_t kTemporaryFile = rlim_t{2} << 30;  // bytes
constexpr rlim_t kProcessorSeconds = 100;           // of all threads; the caller bounds the time that passes

void limit(__rlimit_resource resource, rlim_t value) {
  const rlimit both{value, value};
  setrlimit(resource, &both);
}

// Address sanitizers need terabytes of addresses.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kCanLimitMemory = false;
#else
constexpr bool kCanLimitMemory = true;
#endif

void confine(rlim_t fileSize, bool mayWrite) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  signal(SIGXFSZ, SIG_IGN);
  if (kCanLimitMemory) limit(RLIMIT_AS, kMemory + fileSize);
  limit(RLIMIT_CPU, kProcessorSeconds);
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, mayWrite ? kTemporaryFile : 0);
}

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

// A file mapped into memory; a shrinking file ends this process and nothing else.
FileBytes mapped(const OpenFile& file) {
  if (file.state != FileState::Open || file.size == 0) return {};
  void* bytes = mmap(nullptr, file.size, PROT_READ, MAP_PRIVATE, file.descriptor.get(), 0);
  if (bytes == MAP_FAILED) return {};
  return {static_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(file.size)};
}

std::unique_ptr<PictureSource> opened(FileBytes file) {
  const PictureKind kind = kindOfPicture(file.first(std::min(file.size(), kPictureStartSize)));
  if (kind == PictureKind::None) return nullptr;
  if (kind == PictureKind::Heif) return openHeif(file);
  if (kind == PictureKind::Raw || kind == PictureKind::Tiff) {
    auto raw = openRaw(file, kind);
    if (raw || kind == PictureKind::Raw) return raw;
  }
  if (vips_init("moxtel-picture-decoder") != 0) return nullptr;
  return openWithVips(file, kind);
}

bool write(const std::uint8_t* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(STDOUT_FILENO, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

bool writePixels(const PixelBuffer& image) {
  const auto header = headerOf(image);
  return write(header.data(), header.size()) && write(image.iccProfile.data(), image.iccProfile.size()) &&
         write(image.pixels.data(), image.pixels.size());
}

bool writeJpeg(const Bytes& jpeg) {
  const auto header = headerOf(PixelBuffer{0, 0, PixelLayout{0}, {}, {}});
  return write(header.data(), header.size()) && write(jpeg.data(), jpeg.size());
}

bool run(const char* form, const char* path, const char* scratch) {
  const OpenFile file = openRegularFile(path);
  confine(file.size, *scratch != '\0');
  setUpLibraries(scratch);
  const FileBytes bytes = mapped(file);
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
