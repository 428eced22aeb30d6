// Writes one image file directory of TIFF 6.0, little-endian: its entries, then the values that do not fit
// into them. Exif data are such directories, too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moxtel::makelibrary {

class TiffDirectoryWriter final {
 public:
  void addText(std::uint16_t tag, const std::string& text);
  void addShort(std::uint16_t tag, std::vector<std::uint16_t> values);
  void addLong(std::uint16_t tag, std::uint32_t value);
  // Numerators and denominators in turn.
  void addRationals(std::uint16_t tag, const std::vector<std::uint32_t>& parts);
  void addUndefined(std::uint16_t tag, const std::string& bytes);
  // Sets the value of an entry that addLong made.
  void setLong(std::uint16_t tag, std::uint32_t value);

  std::size_t size() const;
  // offset: the position of the directory after the byte order mark. Entries must have been added in
  // ascending order of tags, as the format requires.
  std::string bytes(std::size_t offset) const;

 private:
  struct Entry {
    std::uint16_t tag, type;
    std::uint32_t count;
    std::string value;
  };
  std::vector<Entry> entries_;
};

}  // namespace moxtel::makelibrary
