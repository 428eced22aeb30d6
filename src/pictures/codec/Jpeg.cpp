#include "pictures/codec/Jpeg.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "pictures/codec/JpegLibrary.h"

namespace moxtel {
namespace {

using jpeg::Errors;
using jpeg::JpegDecoder;
using jpeg::JpegEncoder;

constexpr JDIMENSION kRowsAtOnce = 16;

// ---- from JPEG to JPEG ----

// Whether the encoder can write the sample planes unchanged: it puts all of them into one scan, whose coding
// unit has at most ten blocks.
bool canPassPlanesOn(const jpeg_decompress_struct& in) {
  if (in.jpeg_color_space == JCS_GRAYSCALE) return true;
  if (in.jpeg_color_space != JCS_YCbCr) return false;
  int blocks = 0;
  for (int c = 0; c < in.num_components; ++c)
    blocks += in.comp_info[c].h_samp_factor * in.comp_info[c].v_samp_factor;
  return blocks <= C_MAX_BLOCKS_IN_MCU;
}

void copyProfile(jpeg_decompress_struct& in, jpeg_compress_struct& out) {
  JOCTET* profile = nullptr;
  unsigned size = 0;
  if (!jpeg_read_icc_profile(&in, &profile, &size)) return;
  // Copied into memory that the encoder owns: an error below must not leak it.
  auto* own =
      static_cast<JOCTET*>(out.mem->alloc_large(reinterpret_cast<j_common_ptr>(&out), JPOOL_PERMANENT, size));
  std::memcpy(own, profile, size);
  std::free(profile);
  jpeg_write_icc_profile(&out, own, size);
}

void copyResolution(const jpeg_decompress_struct& in, jpeg_compress_struct& out) {
  if (!in.saw_JFIF_marker) return;
  out.density_unit = in.density_unit;
  out.X_density = in.X_density;
  out.Y_density = in.Y_density;
}

void startEncoder(JpegEncoder& encoder, const jpeg_decompress_struct& in, J_COLOR_SPACE space,
                  int components) {
  jpeg_compress_struct& out = encoder.info;
  out.image_width = in.image_width;
  out.image_height = in.image_height;
  out.input_components = components;
  out.in_color_space = space;
  jpeg_set_defaults(&out);
  jpeg_set_quality(&out, kJpegQuality, TRUE);
  copyResolution(in, out);
}

// Sample planes of one row of coding units; no row is converted, scaled or copied.
void passPlanesOn(jpeg_decompress_struct& in, jpeg_compress_struct& out) {
  JSAMPARRAY planes[MAX_COMPONENTS] = {};
  for (int c = 0; c < in.num_components; ++c) {
    const jpeg_component_info& plane = in.comp_info[c];
    const auto across = static_cast<JDIMENSION>(plane.h_samp_factor);
    const JDIMENSION blocks = (plane.width_in_blocks + across - 1) / across * across;
    planes[c] = in.mem->alloc_sarray(reinterpret_cast<j_common_ptr>(&in), JPOOL_IMAGE, blocks * DCTSIZE,
                                     static_cast<JDIMENSION>(plane.v_samp_factor * DCTSIZE));
  }
  const auto rows = static_cast<JDIMENSION>(in.max_v_samp_factor * DCTSIZE);
  while (in.output_scanline < in.output_height) {
    jpeg_read_raw_data(&in, planes, rows);
    jpeg_write_raw_data(&out, planes, rows);
  }
}

void reencodePlanes(JpegDecoder& decoder, JpegEncoder& encoder) {
  jpeg_decompress_struct& in = decoder.info;
  jpeg_compress_struct& out = encoder.info;
  in.raw_data_out = TRUE;
  in.out_color_space = in.jpeg_color_space;
  jpeg_start_decompress(&in);
  startEncoder(encoder, in, in.jpeg_color_space, in.num_components);
  jpeg_set_colorspace(&out, in.jpeg_color_space);
  for (int c = 0; c < in.num_components; ++c) {
    out.comp_info[c].h_samp_factor = in.comp_info[c].h_samp_factor;
    out.comp_info[c].v_samp_factor = in.comp_info[c].v_samp_factor;
  }
  out.raw_data_in = TRUE;
  jpeg_start_compress(&out, TRUE);
  copyProfile(in, out);
  passPlanesOn(in, out);
}

void reencodeRows(JpegDecoder& decoder, JpegEncoder& encoder) {
  jpeg_decompress_struct& in = decoder.info;
  jpeg_compress_struct& out = encoder.info;
  in.out_color_space = JCS_RGB;
  jpeg_start_decompress(&in);
  startEncoder(encoder, in, JCS_RGB, 3);
  jpeg_start_compress(&out, TRUE);
  copyProfile(in, out);
  JSAMPARRAY rows = in.mem->alloc_sarray(reinterpret_cast<j_common_ptr>(&in), JPOOL_IMAGE,
                                         in.output_width * 3, kRowsAtOnce);
  while (in.output_scanline < in.output_height) {
    const JDIMENSION count = jpeg_read_scanlines(&in, rows, kRowsAtOnce);
    jpeg_write_scanlines(&out, rows, count);
  }
}

JpegOutcome reencode(JpegDecoder& decoder, JpegEncoder& encoder, std::span<const std::uint8_t> file,
                     Bytes& output) {
  decoder.readHeader(file);
  if (decoder.isTooLarge()) return JpegOutcome::Broken;
  if (decoder.hasOtherInks()) return JpegOutcome::OtherInks;
  decoder.limitScans();
  jpeg_create_compress(&encoder.info);
  const std::size_t pixels = std::size_t{decoder.info.image_width} * decoder.info.image_height;
  encoder.writeTo(output, std::max(file.size(), pixels / 2) + 65536);
  if (canPassPlanesOn(decoder.info)) {
    reencodePlanes(decoder, encoder);
  } else {
    reencodeRows(decoder, encoder);
  }
  jpeg_finish_compress(&encoder.info);
  return JpegOutcome::Done;
}

// ---- from rows to JPEG ----

void flattenOnWhite(const std::uint8_t* rgba, std::size_t pixels, std::uint8_t* rgb) {
  for (std::size_t i = 0; i < pixels; ++i, rgba += 4, rgb += 3) {
    const unsigned alpha = rgba[3];
    for (int c = 0; c < 3; ++c)
      rgb[c] = static_cast<std::uint8_t>((rgba[c] * alpha + 255 * (255 - alpha) + 127) / 255);
  }
}

// The rows of the source and those for the encoder: the same memory unless alpha is flattened.
struct RowBuffers {
  explicit RowBuffers(const PixelBuffer& image) {
    read.resize(image.rowBytes() * kRowsAtOnce);
    if (image.layout == PixelLayout::Rgba) flat.resize(std::size_t{image.width} * 3 * kRowsAtOnce);
  }
  Bytes read;
  Bytes flat;
};

bool encodeRows(PictureSource& source, RowBuffers& buffers, jpeg_compress_struct& out) {
  const PixelBuffer& image = source.description();
  const bool flatten = image.layout == PixelLayout::Rgba;
  std::uint8_t* start = flatten ? buffers.flat.data() : buffers.read.data();
  const std::size_t rowBytes = flatten ? std::size_t{image.width} * 3 : image.rowBytes();
  while (out.next_scanline < out.image_height) {
    const JDIMENSION count = std::min(kRowsAtOnce, out.image_height - out.next_scanline);
    if (!source.readRows(count, buffers.read.data())) return false;
    if (flatten) flattenOnWhite(buffers.read.data(), std::size_t{image.width} * count, start);
    JSAMPROW rows[kRowsAtOnce] = {};
    for (JDIMENSION i = 0; i < count; ++i) rows[i] = start + i * rowBytes;
    jpeg_write_scanlines(&out, rows, count);
  }
  return true;
}

bool encode(PictureSource& source, RowBuffers& buffers, JpegEncoder& encoder, Bytes& output) {
  const PixelBuffer& image = source.description();
  jpeg_compress_struct& out = encoder.info;
  jpeg_create_compress(&out);
  encoder.writeTo(output, std::size_t{image.width} * image.height / 2 + 65536);
  out.image_width = image.width;
  out.image_height = image.height;
  const bool gray = image.layout == PixelLayout::Gray;
  out.input_components = gray ? 1 : 3;
  out.in_color_space = gray ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&out);
  jpeg_set_quality(&out, kJpegQuality, TRUE);
  jpeg_start_compress(&out, TRUE);
  encoder.writeIccProfile(image.iccProfile);
  if (!encodeRows(source, buffers, out)) return false;
  jpeg_finish_compress(&out);
  return true;
}

// ---- from JPEG to pixels ----

void readProfile(jpeg_decompress_struct& in, Bytes& profile) {
  JOCTET* bytes = nullptr;
  unsigned size = 0;
  if (!jpeg_read_icc_profile(&in, &bytes, &size)) return;
  profile.assign(bytes, bytes + size);
  std::free(bytes);
}

JpegOutcome decode(JpegDecoder& decoder, std::span<const std::uint8_t> file, PixelBuffer& image) {
  decoder.readHeader(file);
  jpeg_decompress_struct& in = decoder.info;
  if (decoder.isTooLarge()) return JpegOutcome::Broken;
  if (decoder.hasOtherInks()) return JpegOutcome::OtherInks;
  decoder.limitScans();
  const bool gray = in.jpeg_color_space == JCS_GRAYSCALE;
  in.out_color_space = gray ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_start_decompress(&in);
  image.width = in.output_width;
  image.height = in.output_height;
  image.layout = gray ? PixelLayout::Gray : PixelLayout::Rgb;
  image.pixels.resize(image.rowBytes() * image.height);
  readProfile(in, image.iccProfile);
  while (in.output_scanline < in.output_height) {
    JSAMPROW row = image.row(in.output_scanline);
    jpeg_read_scanlines(&in, &row, 1);
  }
  return JpegOutcome::Done;
}

}  // namespace

JpegResult reencodedJpeg(std::span<const std::uint8_t> file) {
  JpegResult result;
  Errors errors;
  JpegDecoder decoder(errors);
  JpegEncoder encoder(errors);
  if (MOXTEL_JPEG_FAILED(errors)) return {};
  try {
    result.outcome = reencode(decoder, encoder, file, result.jpeg);
  } catch (const std::bad_alloc&) {
    return {};
  }
  return result;
}

std::optional<Bytes> jpegOf(PictureSource& source) {
  const PixelBuffer& image = source.description();
  if (!isDecodableSize(image.width, image.height) || std::max(image.width, image.height) > JPEG_MAX_DIMENSION)
    return std::nullopt;
  std::optional<Bytes> output(std::in_place);
  std::optional<RowBuffers> buffers;
  Errors errors;
  JpegEncoder encoder(errors);
  if (MOXTEL_JPEG_FAILED(errors)) return std::nullopt;
  try {
    buffers.emplace(image);
    if (!encode(source, *buffers, encoder, *output)) return std::nullopt;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  return output;
}

JpegPixels pixelsOfJpeg(std::span<const std::uint8_t> file) {
  JpegPixels result;
  Errors errors;
  JpegDecoder decoder(errors);
  if (MOXTEL_JPEG_FAILED(errors)) return {};
  try {
    result.outcome = decode(decoder, file, result.image);
  } catch (const std::bad_alloc&) {
    return {};
  }
  return result;
}

}  // namespace moxtel
