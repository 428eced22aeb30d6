// What a movie file is: whether browsers play it, and what converts it. Any thread.
//
// QuickTime and MP4 files (ISO/IEC 14496-12, QuickTime File Format) are read down to the codecs of their
// tracks; other containers are recognized by their first bytes, because no browser of a phone plays them.
// Reading is bounded by ByteSource and by the number of boxes.
#pragma once

#include <cstdint>
#include <string>

#include "pictures/properties/ByteSource.h"

namespace moxtel {

struct MovieKind {
  enum class Plays : std::uint8_t {
    Nowhere,
    InSome,  // H.265: on phones, in few desktop browsers
    Everywhere,
  };
  std::string format;  // the demuxer of ffmpeg; empty: not a movie that can be converted
  Plays plays = Plays::Nowhere;
  bool isQuickTime = false;  // video/quicktime and .mov; else, if it plays, video/mp4 and .mp4
  std::string video;         // four characters of the first picture track's codec; empty: none, or unknown
  std::string audio;         // the same of the first sound track
  double seconds = 0;        // 0: unknown

  const char* mediaType() const { return isQuickTime ? "video/quicktime" : "video/mp4"; }
  const char* extension() const { return isQuickTime ? ".mov" : ".mp4"; }
};

MovieKind movieKindOf(properties::ByteSource& file);

}  // namespace moxtel
