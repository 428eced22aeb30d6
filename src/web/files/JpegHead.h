// What the segments before the picture data of a JPEG say: its size, and how its first Exif segment turns it.
// And the same file with another orientation, without decoding it (ITU-T T.81, annex B; Exif 2.3; TIFF 6.0).
// Any thread.
//
// Browsers apply the orientation of the first Exif segment and ignore all others. So that no other program
// sees a second opinion, a turned file has only one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pictures/properties/ByteSource.h"

namespace moxtel {

class JpegHead final {
 public:
  // Headers longer than this are not turned.
  static constexpr std::uint64_t kLongestHead = std::uint64_t{1} << 20;  // bytes

  // Nothing for a file that is not a JPEG, or whose segments are damaged before the size is known. Reads only
  // the lengths of segments and the first Exif segment.
  static std::optional<JpegHead> of(properties::ByteSource& file);

  std::uint32_t width() const { return width_; }    // pixels, as stored
  std::uint32_t height() const { return height_; }  // pixels, as stored
  bool hasOtherInks() const { return components_ == 4; }
  // 1 to 8: how viewers turn the picture; 1 without a valid tag.
  int orientation() const { return orientation_; }

  // A file with this orientation is `start`, then the rest of this file from an offset on.
  struct Turned {
    std::string start;
    std::uint64_t rest = 0;
  };
  // Nothing if the header is too long, or cannot be read again. Changes two bytes where the first Exif
  // segment has the tag, replaces a segment without one, and adds one of 36 bytes to a file without any.
  // Leaves out further Exif segments.
  std::optional<Turned> turned(properties::ByteSource& file, int orientation) const;

 private:
  struct Piece {
    std::uint64_t offset = 0;
    std::uint64_t end = 0;
  };
  struct Tag {
    std::uint64_t place = 0;  // of the two bytes of the value, in the file
    bool littleEndian = false;
  };
  void readSegment(properties::ByteSource& file, std::uint8_t marker, Piece segment);
  void readExif(properties::FileBytes segment, std::uint64_t offset);
  std::string firstExif(properties::ByteSource& file, int orientation) const;

  std::uint32_t width_ = 0;
  std::uint32_t height_ = 0;
  int components_ = 0;
  int orientation_ = 1;
  std::vector<Piece> exif_;  // with their markers
  std::optional<Tag> tag_;
};

// The reverse of degreesOfOrientation() (PictureShape.h): Exif's orientation of a picture that is turned
// clockwise by these degrees; 1 for other angles than multiples of 90.
int orientationOfDegrees(int degrees);
}  // namespace moxtel
