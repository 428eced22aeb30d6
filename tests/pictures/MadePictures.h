// Builds picture files byte by byte, so that a test knows each number in them.
#pragma once

#include <zlib.h>

#include <algorithm>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace moxtel::test {

inline std::string big(std::uint64_t number, std::size_t width) {
  std::string out(width, '\0');
  for (std::size_t i = width; i-- > 0; number >>= 8) out[i] = static_cast<char>(number & 0xFF);
  return out;
}
inline std::string little(std::uint64_t number, std::size_t width) {
  const std::string out = big(number, width);
  return std::string(out.rbegin(), out.rend());
}

// ---- TIFF structures (TIFF 6.0), little-endian ----

enum TiffType : std::uint16_t {
  BYTE = 1,
  ASCII = 2,
  SHORT = 3,
  LONG = 4,
  RATIONAL = 5,
  UNDEFINED = 7,
  SRATIONAL = 10
};

class Directory {
 public:
  Directory& raw(std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::string bytes) {
    entries_.push_back({tag, type, count, std::move(bytes)});
    return *this;
  }
  // With the terminating NUL.
  Directory& text(std::uint16_t tag, const std::string& text) {
    return raw(tag, ASCII, static_cast<std::uint32_t>(text.size() + 1), text + std::string(1, '\0'));
  }
  Directory& numbers(std::uint16_t tag, TiffType type, const std::vector<std::uint32_t>& values) {
    std::string bytes;
    for (const auto value : values) bytes += little(value, type == BYTE ? 1 : type == SHORT ? 2 : 4);
    return raw(tag, type, static_cast<std::uint32_t>(values.size()), bytes);
  }
  Directory& shorts(std::uint16_t tag, const std::vector<std::uint32_t>& values) {
    return numbers(tag, SHORT, values);
  }
  Directory& rationals(std::uint16_t tag, const std::vector<std::pair<std::int64_t, std::int64_t>>& values,
                       TiffType type = RATIONAL) {
    std::string bytes;
    for (const auto& [above, below] : values)
      bytes += little(static_cast<std::uint64_t>(above), 4) + little(static_cast<std::uint64_t>(below), 4);
    return raw(tag, type, static_cast<std::uint32_t>(values.size()), bytes);
  }
  Directory& undefined(std::uint16_t tag, const std::string& bytes) {
    return raw(tag, UNDEFINED, static_cast<std::uint32_t>(bytes.size()), bytes);
  }
  bool empty() const { return entries_.empty(); }

  // The directory and its values at that offset; entries are sorted by tag.
  std::string at(std::uint32_t offset) const;

 private:
  struct Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    std::string bytes;
  };
  std::vector<Entry> entries_;
};

inline std::string Directory::at(std::uint32_t offset) const {
  std::vector<Entry> sorted = entries_;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
  const auto start = static_cast<std::uint32_t>(offset + 2 + 12 * sorted.size() + 4);
  std::string head = little(sorted.size(), 2), values;
  for (const Entry& entry : sorted) {
    std::string field = entry.bytes;
    if (field.size() > 4) {
      field = little(start + values.size(), 4);
      values += entry.bytes + std::string(entry.bytes.size() % 2, '\0');
    }
    field.resize(4);
    head += little(entry.tag, 2) + little(entry.type, 2) + little(entry.count, 4) + field;
  }
  return head + little(0, 4) + values;
}

// The main directory with pointers to the other two unless they are empty.
inline std::string tiff(Directory main, const Directory& exif = {}, const Directory& gps = {}) {
  // Pointers have a fixed size, so the second pass knows the offsets.
  std::uint32_t exifAt = 0, gpsAt = 0;
  std::string out;
  for (int round = 0; round < 2; ++round) {
    Directory whole = main;
    if (!exif.empty()) whole.numbers(0x8769, LONG, {exifAt});
    if (!gps.empty()) whole.numbers(0x8825, LONG, {gpsAt});
    out = std::string("II*\0", 4) + little(8, 4) + whole.at(8);
    exifAt = static_cast<std::uint32_t>(out.size());
    if (!exif.empty()) out += exif.at(exifAt);
    gpsAt = static_cast<std::uint32_t>(out.size());
    if (!gps.empty()) out += gps.at(gpsAt);
  }
  return out;
}

// ---- JPEG ----

inline std::string segment(int marker, const std::string& data) {
  return std::string{'\xFF', static_cast<char>(marker)} + big(data.size() + 2, 2) + data;
}
inline std::string jfif(std::uint8_t minor, std::uint8_t unit, std::uint16_t x, std::uint16_t y) {
  return segment(0xE0, std::string("JFIF\0\1", 6) + big(minor, 1) + big(unit, 1) + big(x, 2) + big(y, 2) +
                           std::string(2, '\0'));
}
inline std::string exifSegment(const std::string& tiff) {
  return segment(0xE1, std::string("Exif\0\0", 6) + tiff);
}
inline std::string xmpSegment(const std::string& packet) {
  return segment(0xE1, "http://ns.adobe.com/xap/1.0/" + std::string(1, '\0') + packet);
}
inline std::string frame(int width, int height, int components, int marker = 0xC0) {
  std::string data = big(8, 1) + big(height, 2) + big(width, 2) + big(components, 1);
  for (int i = 0; i < components; ++i) data += big(i + 1, 1) + big(0x11, 1) + big(0, 1);
  return segment(marker, data);
}
// The scan is empty: readers of properties stop before it.
inline std::string jpeg(const std::string& segments, const std::string& itsFrame) {
  return "\xFF\xD8" + segments + itsFrame + segment(0xDA, std::string(6, '\0')) + "\xFF\xD9";
}
inline std::string jpeg(const std::string& segments) { return jpeg(segments, frame(40, 20, 3)); }

// ---- metadata blocks ----

inline std::string iimSet(int record, int number, const std::string& text) {
  return big(0x1C, 1) + big(record, 1) + big(number, 1) + big(text.size(), 2) + text;
}
inline std::string resource(int number, const std::string& data) {
  return "8BIM" + big(number, 2) + std::string(2, '\0') + big(data.size(), 4) + data +
         std::string(data.size() % 2, '\0');
}
inline std::string photoshopSegment(const std::string& resources) {
  return segment(0xED, "Photoshop 3.0" + std::string(1, '\0') + resources);
}
inline std::string iimSegment(const std::string& sets) { return photoshopSegment(resource(0x0404, sets)); }

inline std::string xmp(const std::string& properties) {
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
         "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
         "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:photoshop='http://ns.adobe.com/photoshop/1.0/' "
         "xmlns:xmp='http://ns.adobe.com/xap/1.0/' xmlns:aux='http://ns.adobe.com/exif/1.0/aux/' "
         "xmlns:Iptc4xmpCore='http://iptc.org/std/Iptc4xmpCore/1.0/xmlns/' "
         "xmlns:Iptc4xmpExt='http://iptc.org/std/Iptc4xmpExt/2008-02-29/' "
         "xmlns:tiff='http://ns.adobe.com/tiff/1.0/' xmlns:exif='http://ns.adobe.com/exif/1.0/' "
         "xmlns:xmpRights='http://ns.adobe.com/xap/1.0/rights/' "
         "xmlns:mwg-rs='http://www.metadataworkinggroup.com/schemas/regions/' "
         "xmlns:stDim='http://ns.adobe.com/xap/1.0/sType/Dimensions#' "
         "xmlns:stArea='http://ns.adobe.com/xmp/sType/Area#' "
         "xmlns:apple-fi='http://ns.apple.com/faceinfo/1.0/'>" +
         properties + "</rdf:Description></rdf:RDF></x:xmpmeta>";
}
inline std::string bag(const std::string& name, const std::vector<std::string>& items,
                       const char* kind = "Bag") {
  std::string out = "<" + name + "><rdf:" + kind + ">";
  for (const auto& item : items) out += "<rdf:li>" + item + "</rdf:li>";
  return out + "</rdf:" + kind + "></" + name + ">";
}
inline std::string languages(const std::string& name, const std::string& text) {
  return "<" + name + "><rdf:Alt><rdf:li xml:lang='x-default'>" + text + "</rdf:li></rdf:Alt></" + name + ">";
}
inline std::string simple(const std::string& name, const std::string& text) {
  return "<" + name + ">" + text + "</" + name + ">";
}

// A color profile with only a description.
inline std::string profile(const std::string& descriptionTag) {
  return std::string(128, '\0') + big(1, 4) + "desc" + big(144, 4) + big(descriptionTag.size(), 4) +
         descriptionTag;
}
inline std::string plainDescription(const std::string& text) {
  return "desc" + big(0, 4) + big(text.size() + 1, 4) + text + std::string(1 + 78, '\0');
}

// ---- PNG ----

inline std::string chunk(const std::string& type, const std::string& data) {
  const std::string body = type + data;
  return big(data.size(), 4) + body +
         big(crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size())), 4);
}
inline std::string packed(const std::string& text) {
  uLongf size = compressBound(text.size());
  std::string out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(text.data()),
           text.size());
  return out.substr(0, size);
}
inline std::string png(int colorType, int depth, const std::string& chunks, int interlace = 0) {
  return "\x89PNG\r\n\x1A\n" +
         chunk("IHDR",
               big(40, 4) + big(20, 4) + big(depth, 1) + big(colorType, 1) + big(0, 2) + big(interlace, 1)) +
         chunks + chunk("IEND", "");
}

}  // namespace moxtel::test
