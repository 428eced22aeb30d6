#include "pictures/codec/JpegLibrary.h"

#include <jerror.h>

#include <algorithm>
#include <new>

#include "pictures/codec/Jpeg.h"

namespace moxtel::jpeg {
namespace {

Errors& errorsOf(jpeg_common_struct* info) { return *reinterpret_cast<Errors*>(info->err); }

[[noreturn]] void jumpOut(jpeg_common_struct* info) { longjmp(errorsOf(info).escape, 1); }

// A missing end marker is harmless. Entropy-coded data that end early are an error. The decoder repairs other
// damage and goes on.
void endIfCutOff(jpeg_common_struct* info, int level) {
  if (level < 0 && info->err->msg_code == JWRN_HIT_MARKER) jumpOut(info);
}

// A scan costs time for each block of the picture even if it has no bits.
void countScans(jpeg_common_struct* info) {
  auto* decoder = reinterpret_cast<jpeg_decompress_struct*>(info);
  if (decoder->input_scan_number > kMaximumScans) jumpOut(info);
}

}  // namespace

Errors::Errors() {
  jpeg_std_error(&manager);
  manager.error_exit = jumpOut;
  manager.emit_message = endIfCutOff;
  manager.output_message = [](jpeg_common_struct*) {};
}

JpegDecoder::JpegDecoder(Errors& errors) { info.err = &errors.manager; }

JpegDecoder::~JpegDecoder() { jpeg_destroy_decompress(&info); }

void JpegDecoder::readHeader(std::span<const std::uint8_t> file) {
  jpeg_create_decompress(&info);
  info.mem->max_memory_to_use = kMaximumCoefficientMemory;
  jpeg_save_markers(&info, JPEG_APP0 + 2, 0xFFFF);  // color profiles
  jpeg_mem_src(&info, file.data(), file.size());
  jpeg_read_header(&info, TRUE);
}

bool JpegDecoder::isTooLarge() const { return !isDecodableSize(info.image_width, info.image_height); }

bool JpegDecoder::hasOtherInks() const {
  return info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
}

void JpegDecoder::limitScans() {
  progress_.progress_monitor = countScans;
  info.progress = &progress_;
}

JpegEncoder::JpegEncoder(Errors& errors) { info.err = &errors.manager; }

JpegEncoder::~JpegEncoder() { jpeg_destroy_compress(&info); }

void JpegEncoder::writeTo(Bytes& output, std::size_t sizeGuess) {
  destination_.output = &output;
  destination_.manager.init_destination = [](jpeg_compress_struct*) {};
  destination_.manager.empty_output_buffer = [](jpeg_compress_struct* encoder) -> boolean {
    grow(encoder);
    return TRUE;
  };
  destination_.manager.term_destination = finish;
  info.dest = &destination_.manager;
  output.resize(std::max<std::size_t>(sizeGuess, 4096));
  destination_.manager.next_output_byte = output.data();
  destination_.manager.free_in_buffer = output.size();
}

void JpegEncoder::grow(jpeg_compress_struct* info) {
  auto& destination = *reinterpret_cast<Destination*>(info->dest);
  Bytes& output = *destination.output;
  const std::size_t full = output.size();
  bool enough = true;  // a jump out of the handler would leak the exception
  try {
    output.resize(full * 2);
  } catch (const std::bad_alloc&) {
    enough = false;
  }
  if (!enough) jumpOut(reinterpret_cast<jpeg_common_struct*>(info));
  destination.manager.next_output_byte = output.data() + full;
  destination.manager.free_in_buffer = output.size() - full;
}

void JpegEncoder::finish(jpeg_compress_struct* info) {
  auto& destination = *reinterpret_cast<Destination*>(info->dest);
  destination.output->resize(destination.output->size() - destination.manager.free_in_buffer);
}

void JpegEncoder::writeIccProfile(std::span<const std::uint8_t> profile) {
  // A profile is split into at most 255 markers.
  constexpr std::size_t kLargest = 255 * 65519;
  if (!profile.empty() && profile.size() <= kLargest)
    jpeg_write_icc_profile(&info, profile.data(), static_cast<unsigned>(profile.size()));
}

}  // namespace moxtel::jpeg
