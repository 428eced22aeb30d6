// The decoder and the encoder of libjpeg as objects that clean up, for the files of this folder.
//
// A file whose picture data end before the picture does counts as an error, at once: what it claims to be may
// be large. libjpeg reports an error by calling back a function that must not return. It jumps to the point
// that the user of these objects marked with MOXTEL_JPEG_FAILED; between the mark and the jump only C and
// objects without destructors may live.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
// After <cstdio>, which it needs and does not include.
#include <jpeglib.h>

#include "value/Value.h"

namespace moxtel::jpeg {

struct Errors {
  jpeg_error_mgr manager = {};  // first: libjpeg knows the whole by its address
  jmp_buf escape;

  Errors();
  Errors(const Errors&) = delete;
  Errors& operator=(const Errors&) = delete;
};

// True when an error jumped here.
#define MOXTEL_JPEG_FAILED(errors) (setjmp((errors).escape) != 0)

class JpegDecoder final {
 public:
  explicit JpegDecoder(Errors& errors);
  ~JpegDecoder();
  JpegDecoder(const JpegDecoder&) = delete;
  JpegDecoder& operator=(const JpegDecoder&) = delete;

  // The calls below jump on errors.
  void readHeader(std::span<const std::uint8_t> file);
  bool isTooLarge() const;
  bool hasOtherInks() const;
  // Counts scans while the file is read.
  void limitScans();

  jpeg_decompress_struct info = {};

 private:
  jpeg_progress_mgr progress_ = {};
};

class JpegEncoder final {
 public:
  explicit JpegEncoder(Errors& errors);
  ~JpegEncoder();
  JpegEncoder(const JpegEncoder&) = delete;
  JpegEncoder& operator=(const JpegEncoder&) = delete;

  // Where the file goes. Room that is not used costs no memory, so the guess may be generous. Throws
  // std::bad_alloc.
  void writeTo(Bytes& output, std::size_t sizeGuess);
  void writeIccProfile(std::span<const std::uint8_t> profile);

  jpeg_compress_struct info = {};

 private:
  struct Destination {
    jpeg_destination_mgr manager = {};  // first, as above
    Bytes* output = nullptr;
  };
  static void grow(jpeg_compress_struct* info);
  static void finish(jpeg_compress_struct* info);
  Destination destination_;
};

}  // namespace moxtel::jpeg
