#include "makelibrary/ImageFormats.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include "makelibrary/ByteWriter.h"
#include "makelibrary/SqliteWriter.h"
#include "makelibrary/TiffDirectoryWriter.h"

namespace moxtel::makelibrary {

namespace {

// libjpeg's own handler ends the process; an exception cannot pass its frames, so the error jumps.
struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf back;
  char message[JMSG_LENGTH_MAX];
};

void jumpOut(j_common_ptr info) {
  auto* errors = reinterpret_cast<JpegErrors*>(info->err);
  info->err->format_message(info, errors->message);
  std::longjmp(errors->back, 1);
}

void compress(jpeg_compress_struct& info, const Picture& picture, int quality, const std::string& exif) {
  info.image_width = static_cast<JDIMENSION>(picture.width);
  info.image_height = static_cast<JDIMENSION>(picture.height);
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  jpeg_start_compress(&info, TRUE);
  if (!exif.empty())
    jpeg_write_marker(&info, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(exif.data()),
                      static_cast<unsigned>(exif.size()));
  while (info.next_scanline < info.image_height) {
    auto* row = const_cast<JSAMPROW>(
        reinterpret_cast<const JSAMPLE*>(&picture.at(0, static_cast<int>(info.next_scanline))));
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
}

// An atom of the QuickTime file format.
std::string atom(const char* type, const std::string& content) {
  return bigEndian(content.size() + 8, 4) + type + content;
}

std::string fullAtom(const char* type, const std::string& content) {
  return atom(type, bigEndian(0, 4) + content);
}

std::string unityMatrix() {
  std::string matrix;
  for (const std::uint32_t cell : {0x10000u, 0u, 0u, 0u, 0x10000u, 0u, 0u, 0u, 0x40000000u})
    matrix += bigEndian(cell, 4);
  return matrix;
}

struct MovieFacts {
  std::uint64_t frames;
  int width, height;
  std::uint64_t perSecond;
};

std::string sampleTable(const MovieFacts& facts, const std::vector<std::string>& frames,
                        std::size_t firstOffset) {
  std::string description = std::string(6, '\0') + bigEndian(1, 2) + std::string(16, '\0') +
                            bigEndian(facts.width, 2) + bigEndian(facts.height, 2) + bigEndian(72 << 16, 4) +
                            bigEndian(72 << 16, 4) + bigEndian(0, 4) + bigEndian(1, 2) + '\x0C' +
                            "Photo - JPEG" + std::string(19, '\0') + bigEndian(24, 2) + bigEndian(0xFFFF, 2);
  std::string sizes = bigEndian(0, 4) + bigEndian(frames.size(), 4);
  for (const std::string& frame : frames) sizes += bigEndian(frame.size(), 4);
  return atom(
      "stbl",
      fullAtom("stsd", bigEndian(1, 4) + atom("jpeg", description)) +
          fullAtom("stts", bigEndian(1, 4) + bigEndian(facts.frames, 4) + bigEndian(1, 4)) +
          fullAtom("stsc", bigEndian(1, 4) + bigEndian(1, 4) + bigEndian(facts.frames, 4) + bigEndian(1, 4)) +
          fullAtom("stsz", sizes) + fullAtom("stco", bigEndian(1, 4) + bigEndian(firstOffset, 4)));
}

std::string handler(const char* type, const char* subtype, const std::string& name) {
  return fullAtom("hdlr", std::string(type, 4) + std::string(subtype, 4) + std::string(12, '\0') +
                              static_cast<char>(name.size()) + name);
}

std::string movieAtom(const MovieFacts& facts, const std::vector<std::string>& frames,
                      std::size_t firstOffset) {
  const std::string times = bigEndian(0, 8);
  const std::string length = bigEndian(facts.perSecond, 4) + bigEndian(facts.frames, 4);
  const std::string dataInfo =
      atom("dinf", fullAtom("dref", bigEndian(1, 4) + atom("alis", bigEndian(1, 4))));
  const std::string media = atom(
      "mdia", fullAtom("mdhd", times + length + bigEndian(0, 4)) + handler("mhlr", "vide", "VideoHandler") +
                  atom("minf", atom("vmhd", bigEndian(1, 4) + bigEndian(0x40, 2) + bigEndian(0, 6)) +
                                   handler("dhlr", "alis", "DataHandler") + dataInfo +
                                   sampleTable(facts, frames, firstOffset)));
  const std::string trackHeader =
      atom("tkhd", bigEndian(0xF, 4) + times + bigEndian(1, 4) + bigEndian(0, 4) +
                       bigEndian(facts.frames, 4) + bigEndian(0, 8) + bigEndian(0, 8) + unityMatrix() +
                       bigEndian(facts.width << 16, 4) + bigEndian(facts.height << 16, 4));
  const std::string header =
      fullAtom("mvhd", times + length + bigEndian(0x10000, 4) + bigEndian(0x100, 2) + std::string(10, '\0') +
                           unityMatrix() + std::string(24, '\0') + bigEndian(2, 4));
  return atom("moov", header + atom("trak", trackHeader + media));
}

}  // namespace

std::string jpegFile(const Picture& picture, int quality, const std::string& exif) {
  jpeg_compress_struct info{};
  JpegErrors errors{};
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  info.err = jpeg_std_error(&errors.manager);
  errors.manager.error_exit = jumpOut;
  if (setjmp(errors.back)) {
    jpeg_destroy_compress(&info);
    std::free(memory);
    throw WriteError(std::string("making a JPEG file: ") + errors.message);
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &memory, &size);
  compress(info, picture, quality, exif);
  jpeg_destroy_compress(&info);
  std::string bytes(reinterpret_cast<const char*>(memory), size);
  std::free(memory);
  return bytes;
}

std::string tiffFile(const Picture& picture) {
  const std::size_t size = picture.pixels.size() * 3;
  TiffDirectoryWriter directory;
  directory.addLong(0x0100, static_cast<std::uint32_t>(picture.width));
  directory.addLong(0x0101, static_cast<std::uint32_t>(picture.height));
  directory.addShort(0x0102, {8, 8, 8});
  directory.addShort(0x0103, {1});
  directory.addShort(0x0106, {2});
  directory.addLong(0x0111, 8);
  directory.addShort(0x0112, {1});
  directory.addShort(0x0115, {3});
  directory.addLong(0x0116, static_cast<std::uint32_t>(picture.height));
  directory.addLong(0x0117, static_cast<std::uint32_t>(size));
  directory.addRationals(0x011A, {72, 1});
  directory.addRationals(0x011B, {72, 1});
  directory.addShort(0x011C, {1});
  directory.addShort(0x0128, {2});
  const std::size_t at = 8 + size + size % 2;
  std::string bytes = "II" + littleEndian(42, 2) + littleEndian(at, 4);
  bytes.append(reinterpret_cast<const char*>(picture.pixels.data()), size);
  bytes.append(size % 2, '\0');
  return bytes + directory.bytes(at);
}

std::string movieFile(const std::vector<std::string>& frames, int width, int height, int framesPerSecond) {
  const std::string type = atom("ftyp", "qt  " + bigEndian(0x20050300, 4) + "qt  ");
  std::string data;
  for (const std::string& frame : frames) data += frame;
  const MovieFacts facts{frames.size(), width, height, static_cast<std::uint64_t>(framesPerSecond)};
  return type + atom("mdat", data) + movieAtom(facts, frames, type.size() + 8);
}

}  // namespace moxtel::makelibrary
