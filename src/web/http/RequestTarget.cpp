#include "web/http/RequestTarget.h"

#include <algorithm>

#include "value/Utf.h"

namespace moxtel {

namespace {

constexpr std::size_t kLongestTarget = 8192;  // bytes
constexpr std::size_t kMostParts = 32;

enum class Plus : bool { IsPlus, IsBlank };

int digitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

std::optional<std::string> decoded(std::string_view text, Plus plus) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '+' && plus == Plus::IsBlank) c = ' ';
    if (c == '%') {
      const int high = i + 2 < text.size() ? digitOf(text[i + 1]) : -1;
      const int low = high >= 0 ? digitOf(text[i + 2]) : -1;
      if (low < 0) return std::nullopt;
      c = static_cast<char>(high * 16 + low);
      i += 2;
    }
    if (isControl(c)) return std::nullopt;
    result += c;
  }
  if (!isValidUtf8(result)) return std::nullopt;
  return result;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  parts.reserve(static_cast<std::size_t>(std::ranges::count(text, separator)) + 1);
  for (;;) {
    const auto end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

bool isDots(std::string_view name) { return name == "." || name == ".."; }

bool addSegments(std::string_view path, RequestTarget& target) {
  std::vector<std::string_view> parts = split(path.substr(1), '/');
  if (parts.size() > kMostParts) return false;
  if (parts.back().empty()) parts.pop_back();
  target.path.reserve(path.size() + 1);
  target.segments.reserve(parts.size());
  for (const std::string_view part : parts) {
    auto segment = decoded(part, Plus::IsPlus);
    if (!segment || segment->empty() || isDots(*segment)) return false;
    target.path += "/" + *segment;
    target.segments.push_back(std::move(*segment));
  }
  if (target.path.empty() || path.back() == '/') target.path += '/';
  // A slash inside a segment must not make it look like another path.
  return std::ranges::none_of(split(target.path, '/'), isDots);
}

}  // namespace

std::optional<std::vector<std::pair<std::string, std::string>>> parseForm(std::string_view text) {
  std::vector<std::pair<std::string, std::string>> fields;
  if (text.empty()) return fields;
  const auto parts = split(text, '&');
  if (parts.size() > kMostParts) return std::nullopt;
  for (const std::string_view part : parts) {
    const auto equals = part.find('=');
    auto name = decoded(part.substr(0, equals), Plus::IsBlank);
    auto value =
        equals == std::string_view::npos ? std::string() : decoded(part.substr(equals + 1), Plus::IsBlank);
    if (!name || !value) return std::nullopt;
    fields.emplace_back(std::move(*name), std::move(*value));
  }
  return fields;
}

std::optional<RequestTarget> parseTarget(std::string_view target) {
  if (!target.starts_with('/') || target.size() > kLongestTarget) return std::nullopt;
  const auto question = target.find('?');
  RequestTarget result;
  if (!addSegments(target.substr(0, question), result)) return std::nullopt;
  auto parameters = parseForm(question == std::string_view::npos ? "" : target.substr(question + 1));
  if (!parameters) return std::nullopt;
  result.parameters = std::move(*parameters);
  return result;
}

}  // namespace moxtel
