#include "web/http/ByteRange.h"

#include <algorithm>
#include <charconv>

#include "value/Trimmed.h"
#include "web/http/RawRequest.h"

namespace moxtel {

namespace {

constexpr std::string_view kUnit = "bytes=";

// A number too large for 64 bits reads as the largest one.
std::optional<std::uint64_t> parseNumber(std::string_view text) {
  if (text.empty() || !std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; }))
    return std::nullopt;
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() ? number : UINT64_MAX;
}

RangeChoice lastBytes(std::uint64_t count, std::uint64_t size) {
  if (count == 0 || size == 0) return UnsatisfiableRange{};
  const std::uint64_t taken = std::min(count, size);
  return ByteRange{size - taken, taken};
}

}  // namespace

RangeChoice chooseRange(std::string_view field, std::uint64_t size) {
  if (field.size() < kUnit.size() || !equalsIgnoringCase(field.substr(0, kUnit.size()), kUnit))
    return WholeBody{};
  const std::string_view range = trimmed(field.substr(kUnit.size()));
  const auto dash = range.find('-');
  if (dash == std::string_view::npos) return WholeBody{};
  const auto first = parseNumber(range.substr(0, dash));
  const auto last = parseNumber(range.substr(dash + 1));
  if (dash == 0) return last ? lastBytes(*last, size) : RangeChoice(WholeBody{});
  const bool isOpen = dash + 1 == range.size();
  if (!first || (!last && !isOpen) || (last && *last < *first)) return WholeBody{};
  if (*first >= size) return UnsatisfiableRange{};
  const std::uint64_t end = isOpen ? size - 1 : std::min(*last, size - 1);
  return ByteRange{*first, end - *first + 1};
}

bool ifRangeMatches(std::string_view field, std::string_view etag) {
  return field.empty() || (!etag.empty() && trimmed(field) == etag);
}

bool ifNoneMatchNames(std::string_view field, std::string_view etag) {
  if (etag.empty()) return false;
  if (trimmed(field) == "*") return true;
  while (!field.empty()) {
    const auto comma = field.find(',');
    std::string_view each = trimmed(field.substr(0, comma));
    if (each.starts_with("W/")) each.remove_prefix(2);
    if (each == etag) return true;
    field = comma == std::string_view::npos ? std::string_view() : field.substr(comma + 1);
  }
  return false;
}

}  // namespace moxtel
