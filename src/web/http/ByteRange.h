// The fields Range and If-Range (RFC 9110, section 14).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

namespace moxtel {

struct ByteRange {
  std::uint64_t first = 0;
  std::uint64_t size = 0;  // at least 1
  friend bool operator==(const ByteRange&, const ByteRange&) = default;
};

struct WholeBody {};  // no range, several ranges, or a field that is malformed: the whole body is sent
struct UnsatisfiableRange {};  // begins behind the end

using RangeChoice = std::variant<WholeBody, ByteRange, UnsatisfiableRange>;

// For a body of this many bytes. One range of bytes is understood: "bytes=0-1", "bytes=500-", "bytes=-500".
RangeChoice chooseRange(std::string_view field, std::uint64_t size);

// Whether an If-Range field allows a range of the body with this ETag (in quotes). An absent field does; a
// date does not, because no dates are sent.
bool ifRangeMatches(std::string_view field, std::string_view etag);

// Whether an If-None-Match field names the ETag (in quotes). Weak ones count; "*" matches.
bool ifNoneMatchNames(std::string_view field, std::string_view etag);

}  // namespace moxtel
