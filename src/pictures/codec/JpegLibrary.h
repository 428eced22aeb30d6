// The decoder and the encoder of libjpeg as RAII objects, for the files of this folder.
//
// Picture data that end early are an error immediately: the claimed picture may be large. libjpeg reports an
// error by calling back a function that must not return. Here it jumps to the point marked with
// MOXTEL_JPEG_FAILED. Objects created after that point must not have destructors.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
// After <cstdio>, which it needs but does not include.
#include <jpeglib.h>

#include "value/Value.h"

namespace moxtel::jpeg {

struct Errors {
  jpeg_error_mgr manager = {};  // first member: libjpeg hands back its address
  jmp_buf escape;

  Errors();
  Errors(const Errors&) = delete;
  Errors& operator=(const Errors&) = delete;
};

// True if an error jumped here.
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
  // Fails when the file has too many scans.
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

  // Sets the output. The guess may be generous: pages that are not used cost no memory. Throws
  // std::bad_alloc.
  void writeTo(Bytes& output, std::size_t sizeGuess);
  void writeIccProfile(std::span<const std::uint8_t> profile);

  jpeg_compress_struct info = {};

 private:
  struct Destination {
    jpeg_destination_mgr manager = {};  // first member, as above
    Bytes* output = nullptr;
  };
  static void grow(jpeg_compress_struct* info);
  static void finish(jpeg_compress_struct* info);
  Destination destination_;
};

}  // namespace moxtel::jpeg
