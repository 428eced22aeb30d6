#include "pictures/properties/XmpProperties.h"

#include <exiv2/exiv2.hpp>

#include "pictures/properties/Exiv2Setup.h"

namespace moxtel::properties {
namespace {

// Real packets stay below 20. Exiv2 recurses without a bound.
constexpr int kDeepest = 100;
constexpr std::size_t kMostItems = 10'000;

std::vector<std::string> textsOf(const Exiv2::Value& value) {
  if (const auto* languages = dynamic_cast<const Exiv2::LangAltValue*>(&value)) {
    if (languages->value_.empty()) return {};
    const auto standard = languages->value_.find("x-default");
    return {standard != languages->value_.end() ? standard->second : languages->value_.begin()->second};
  }
  if (value.typeId() == Exiv2::xmpText) return {value.toString()};
  std::vector<std::string> items;
  for (long i = 0; i < value.count() && items.size() < kMostItems; ++i) items.push_back(value.toString(i));
  return items;
}

// "Xmp.dc.subject" without its family.
std::string nameOf(const Exiv2::Xmpdatum& datum) { return datum.key().substr(4); }

}  // namespace

void setUpExiv2() {
  static const bool done = [] {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    Exiv2::enableBMFF(true);
    return Exiv2::XmpParser::initialize();
  }();
  static_cast<void>(done);
}

bool isShallow(std::string_view packet) {
  int depth = 0;
  for (std::size_t at = packet.find('<'); at != std::string_view::npos; at = packet.find('<', at + 1)) {
    const char next = at + 1 < packet.size() ? packet[at + 1] : '\0';
    if (next == '?' || next == '!') continue;
    depth += next == '/' ? -1 : 1;
    if (depth > kDeepest) return false;
    // An empty element ends in "/>".
    const std::size_t end = packet.find('>', at);
    if (next != '/' && end != std::string_view::npos && packet[end - 1] == '/') --depth;
  }
  return true;
}

XmpProperties::XmpProperties(const std::string& packet) {
  if (packet.empty() || !isShallow(packet)) return;
  setUpExiv2();
  try {
    Exiv2::XmpData data;
    static_cast<void>(Exiv2::XmpParser::decode(data, packet));
    for (const Exiv2::Xmpdatum& datum : data) {
      std::vector<std::string> texts = textsOf(datum.value());
      if (!texts.empty()) texts_.try_emplace(nameOf(datum), std::move(texts));
    }
  } catch (const std::exception&) {
    // Keeps what was read before the error.
  }
}

const std::vector<std::string>* XmpProperties::find(std::string_view name) const {
  const auto found = texts_.find(name);
  return found == texts_.end() ? nullptr : &found->second;
}

const std::string* XmpProperties::first(std::string_view name) const {
  const auto* texts = find(name);
  return texts ? &texts->front() : nullptr;
}

std::vector<std::pair<std::string_view, const std::string*>> XmpProperties::below(
    std::string_view name) const {
  const std::string start = std::string(name) + "/";
  std::vector<std::pair<std::string_view, const std::string*>> found;
  for (auto at = texts_.lower_bound(start); at != texts_.end() && at->first.starts_with(start); ++at)
    found.emplace_back(std::string_view(at->first).substr(name.size()), &at->second.front());
  return found;
}

}  // namespace moxtel::properties
