#include "web/files/MovieKind.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace moxtel {
namespace {

using properties::ByteSource;
using properties::FileBytes;
using std::string_view_literals::operator""sv;

constexpr std::size_t kMostBoxes = 10'000;
constexpr double kLongestMovie = 7 * 24 * 3600;  // seconds

// ---- QuickTime and MP4 ----

struct Box {
  std::string type;
  std::uint64_t begin = 0;  // of its contents
  std::uint64_t end = 0;
};

class Boxes final {
 public:
  explicit Boxes(ByteSource& file) : file_(file) {}

  // The box at the offset; nothing for one that is damaged or beyond the end.
  std::optional<Box> at(std::uint64_t offset, std::uint64_t end) {
    if (++seen_ > kMostBoxes) return std::nullopt;
    const auto size = file_.longAt(offset);
    if (!size) return std::nullopt;
    Box box{std::string(properties::textOf(file_.at(offset + 4, 4))), offset + 8, end};
    std::uint64_t length = *size;
    if (length == 1) {
      const auto high = file_.longAt(offset + 8), low = file_.longAt(offset + 12);
      if (!high || !low) return std::nullopt;
      length = std::uint64_t{*high} << 32 | *low;
      box.begin += 8;
    }
    if (length != 0) {
      if (length < box.begin - offset || length > end - offset) return std::nullopt;
      box.end = offset + length;
    }
    return box.type.size() == 4 ? std::optional(box) : std::nullopt;
  }
  // The first box of a type inside another one.
  std::optional<Box> find(const Box& in, std::string_view type) {
    for (std::uint64_t offset = in.begin; offset < in.end;) {
      const auto box = at(offset, in.end);
      if (!box || box->type == type) return box;
      offset = box->end;
    }
    return std::nullopt;
  }
  std::optional<Box> find(Box in, std::initializer_list<std::string_view> path) {
    for (const std::string_view type : path) {
      const auto next = find(in, type);
      if (!next) return std::nullopt;
      in = *next;
    }
    return in;
  }
  std::string text(std::uint64_t offset) { return std::string(properties::textOf(file_.at(offset, 4))); }
  ByteSource& file() { return file_; }

 private:
  ByteSource& file_;
  std::size_t seen_ = 0;
};

// The profiles of H.264 with 8 bits and half of the colors: baseline, main, extended, high.
bool isCommonProfile(Boxes& boxes, const Box& sample) {
  constexpr std::uint64_t kVisualFields = 78;
  if (sample.end - sample.begin < kVisualFields) return false;
  const auto settings = boxes.find({sample.type, sample.begin + kVisualFields, sample.end}, "avcC");
  const auto profile = settings ? boxes.file().byteAt(settings->begin + 1) : std::nullopt;
  constexpr std::array<std::uint8_t, 4> kCommon{66, 77, 88, 100};
  return profile && std::find(kCommon.begin(), kCommon.end(), *profile) != kCommon.end();
}

struct Tracks {
  std::string video;
  std::string audio;
  bool isCommonVideo = false;
};

void takeTrack(Boxes& boxes, const Box& track, Tracks& tracks) {
  const auto handler = boxes.find(track, {"mdia", "hdlr"});
  const auto samples = boxes.find(track, {"mdia", "minf", "stbl", "stsd"});
  if (!handler || !samples) return;
  const std::string kind = boxes.text(handler->begin + 8);
  const auto sample = boxes.at(samples->begin + 8, samples->end);
  if (!sample) return;
  if (kind == "vide" && tracks.video.empty()) {
    tracks.video = sample->type;
    tracks.isCommonVideo = isCommonProfile(boxes, *sample);
  }
  if (kind == "soun" && tracks.audio.empty()) tracks.audio = sample->type;
}

double secondsOf(Boxes& boxes, const Box& movie) {
  const auto header = boxes.find(movie, "mvhd");
  if (!header || boxes.file().byteAt(header->begin) != 0) return 0;
  const auto scale = boxes.file().longAt(header->begin + 12);
  const auto duration = boxes.file().longAt(header->begin + 16);
  if (!scale || !duration || *scale == 0 || *duration == 0xFFFF'FFFF) return 0;
  return std::min(static_cast<double>(*duration) / *scale, kLongestMovie);
}

bool isAnyOf(const std::string& type, std::initializer_list<std::string_view> types) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

MovieKind::Plays playsOf(const Tracks& tracks) {
  // No sound, AAC, MP3, and samples as they are.
  if (!isAnyOf(tracks.audio, {"", "mp4a", ".mp3", "sowt", "twos", "lpcm", "raw "}))
    return MovieKind::Plays::Nowhere;
  if (isAnyOf(tracks.video, {"avc1", "avc3"}))
    return tracks.isCommonVideo ? MovieKind::Plays::Everywhere : MovieKind::Plays::Nowhere;
  return isAnyOf(tracks.video, {"hvc1", "hev1"}) ? MovieKind::Plays::InSome : MovieKind::Plays::Nowhere;
}

bool beginsLikeQuickTime(const std::string& type) {
  return isAnyOf(type, {"ftyp", "moov", "mdat", "wide", "free", "skip", "pnot"});
}

MovieKind quickTimeKind(ByteSource& file) {
  MovieKind kind;
  kind.format = "mov";
  Boxes boxes(file);
  const Box whole{"", 0, file.size()};
  const auto type = boxes.at(0, file.size());
  kind.isQuickTime = !type || type->type != "ftyp" || boxes.text(type->begin) == "qt  ";
  const auto movie = boxes.find(whole, "moov");
  if (!movie) return kind;
  Tracks tracks;
  for (std::uint64_t offset = movie->begin; offset < movie->end;) {
    const auto box = boxes.at(offset, movie->end);
    if (!box) break;
    if (box->type == "trak") takeTrack(boxes, *box, tracks);
    offset = box->end;
  }
  kind.plays = playsOf(tracks);
  kind.video = tracks.video;
  kind.audio = tracks.audio;
  kind.seconds = secondsOf(boxes, *movie);
  return kind;
}

// ---- other containers ----

double secondsOfAvi(ByteSource& file) {
  const FileBytes header = file.at(32, 20);  // of "avih", the first chunk of the first list
  if (header.size() != 20) return 0;
  const double frame = properties::littleEndian(header.first(4)) / 1e6;
  return std::min(frame * properties::littleEndian(header.subspan(16, 4)), kLongestMovie);
}

const char* formatOf(std::string_view start) {
  if (start.starts_with("RIFF") && start.substr(8, 4) == "AVI ") return "avi";
  if (start.starts_with("\0\0\1\xBA"sv)) return "mpeg";
  if (start.starts_with("\x30\x26\xB2\x75"sv)) return "asf";
  if (start.starts_with("\x1A\x45\xDF\xA3"sv)) return "matroska";
  if (start.starts_with("\x47"sv)) return "mpegts";
  return "";
}

}  // namespace

MovieKind movieKindOf(ByteSource& file) {
  const std::string start(properties::textOf(file.at(0, 12)));
  if (start.size() == 12 && beginsLikeQuickTime(start.substr(4, 4))) return quickTimeKind(file);
  MovieKind kind;
  kind.format = formatOf(start);
  if (kind.format == "avi") kind.seconds = secondsOfAvi(file);
  return kind;
}

}  // namespace moxtel
