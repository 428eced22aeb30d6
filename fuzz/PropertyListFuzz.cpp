// The same property list in binary and in XML gives the same result: as a plain list, and as a keyed archive,
// valid or not.
#include <bit>
#include <cmath>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "plist/BinaryPropertyListReader.h"
#include "plist/KeyedArchive.h"
#include "plist/XmlPropertyListReader.h"
#include "tests/plist/PropertyListBuilder.h"
#include "value/Utf.h"

namespace moxtel::fuzz {
namespace {

using testing::PropertyListBuilder;

// An object in both forms.
struct Object {
  std::uint64_t number = 0;
  std::string xml;
};

class Twin final {
 public:
  explicit Twin(Input& input) : in_(input) {}

  Object value(int depth);
  // A keyed archive of a few objects.
  Object archive();
  Bytes binary(const Object& top) const { return list_.finish(top.number); }
  static std::string xml(const Object& top) { return "<plist>" + top.xml + "</plist>"; }

 private:
  using Entries = std::vector<std::pair<std::string, Object>>;
  Object leaf();
  Object integer(std::uint64_t bits);
  Object real(double value);
  Object date(std::uint64_t minutes);
  Object data(const std::string& bytes);
  Object text(const std::string& bytes);
  Object uid(std::uint64_t index);
  Object array(const std::vector<Object>& items);
  Object dictionary(const Entries& entries);
  Object uids();
  Object archived();

  Input& in_;
  PropertyListBuilder list_{4, 8};
};

std::string escaped(std::string_view utf8) {
  std::string out;
  for (const char c : utf8) {
    const bool plain = static_cast<unsigned char>(c) > 0x20 && c != '<' && c != '&' && c != '>';
    out += plain ? std::string(1, c) : "&#" + std::to_string(static_cast<int>(c)) + ";";
  }
  return out;
}

// A text that XML allows, made from any bytes.
std::u32string textOf(const std::string& bytes) {
  std::u32string text;
  for (std::size_t i = 0; i < bytes.size();) {
    const char32_t c = nextCodePoint(bytes, i);
    const bool allowed = c >= 0x20 ? c != 0xFFFE && c != 0xFFFF : c == '\t' || c == '\n' || c == '\r';
    text += allowed ? c : U'?';
  }
  return text;
}

Object Twin::integer(std::uint64_t bits) {
  const bool beyondSigned = bits >> 63 != 0 && in_.below(2) == 0;
  if (beyondSigned)
    return {list_.raw("\x14" + PropertyListBuilder::big(0, 8) + PropertyListBuilder::big(bits, 8)),
            "<integer>" + std::to_string(bits) + "</integer>"};
  return {list_.integer(bits), "<integer>" + std::to_string(static_cast<std::int64_t>(bits)) + "</integer>"};
}

Object Twin::real(double value) {
  if (std::isnan(value) || (value != 0 && std::abs(value) < 1e-300)) value = -0.0;
  char digits[40];
  std::snprintf(digits, sizeof digits, "%.17g", value);
  return {list_.real(std::bit_cast<std::uint64_t>(value)), "<real>" + std::string(digits) + "</real>"};
}

// On a day of 2001.
Object Twin::date(std::uint64_t minutes) {
  char digits[40];
  std::snprintf(digits, sizeof digits, "2001-01-%02dT%02d:%02d:07Z", static_cast<int>(1 + minutes / 1440),
                static_cast<int>(minutes / 60 % 24), static_cast<int>(minutes % 60));
  const double seconds = 60.0 * static_cast<double>(minutes) + 7;
  return {list_.raw("\x33" + PropertyListBuilder::big(std::bit_cast<std::uint64_t>(seconds), 8)),
          "<date>" + std::string(digits) + "</date>"};
}

Object Twin::data(const std::string& bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string base64;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t bits = 0;
    for (std::size_t j = 0; j < 3; ++j)
      bits = bits << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0u);
    for (std::size_t j = 0; j < 4; ++j)
      base64 += i + j > bytes.size() ? '=' : kDigits[bits >> (18 - 6 * j) & 63];
    base64 += "\n\t";
  }
  return {list_.data(bytes), "<data>" + base64 + "</data>"};
}

Object Twin::text(const std::string& bytes) {
  std::string utf8;
  std::u16string utf16;
  for (const char32_t c : textOf(bytes)) {
    appendUtf8(utf8, c);
    if (c > 0xFFFF) utf16 += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
    utf16 += static_cast<char16_t>(c > 0xFFFF ? 0xDC00 + ((c - 0x10000) & 0x3FF) : c);
  }
  const auto number = isAscii(utf8) ? list_.string(utf8) : list_.utf16(utf16);
  return {number, "<string>" + escaped(utf8) + "</string>"};
}

Object Twin::uid(std::uint64_t index) {
  return {list_.uid(index), "<dict><key>CF$UID</key><integer>" + std::to_string(index) + "</integer></dict>"};
}

Object Twin::array(const std::vector<Object>& items) {
  std::vector<std::uint64_t> numbers;
  std::string xml = "<array>";
  for (const Object& item : items) {
    numbers.push_back(item.number);
    xml += item.xml;
  }
  return {list_.array(numbers), xml + "</array>"};
}

Object Twin::dictionary(const Entries& entries) {
  std::vector<std::uint64_t> keys;
  std::vector<std::uint64_t> values;
  std::string xml = "<dict>\n";
  for (const auto& [key, value] : entries) {
    keys.push_back(list_.string(key));
    values.push_back(value.number);
    xml += "<key>" + escaped(key) + "</key>" + value.xml;
  }
  return {list_.dictionary(keys, values), xml + "</dict>"};
}

Object Twin::leaf() {
  switch (in_.below(7)) {
    case 0:
      return integer(in_.word());
    case 1:
      return real(in_.real());
    case 2:
      return date(in_.word() % 43'200);
    case 3:
      return data(in_.text(in_.below(20)));
    case 4:
      return {list_.raw("\x09"), "<true/>"};
    case 5:
      return {list_.raw("\x08"), "<false></false>"};
    default:
      return text(in_.text(in_.below(20)));
  }
}

Object Twin::value(int depth) {
  const auto kind = depth > 5 ? 0 : in_.below(4);
  if (kind < 2) return leaf();
  std::vector<Object> items;
  Entries entries;
  for (auto left = in_.below(6); left > 0; --left) {
    const std::string key = "k" + std::to_string(in_.below(4));
    const Object item = value(depth + 1);
    items.push_back(item);
    entries.emplace_back(key, item);
  }
  return kind == 2 ? array(items) : dictionary(entries);
}

Object Twin::uids() {
  std::vector<Object> items;
  for (auto left = in_.below(5); left > 0; --left) items.push_back(uid(in_.below(9)));
  return array(items);
}

Object Twin::archived() {
  static constexpr const char* kClasses[] = {"NSMutableDictionary", "NSArray", "NSDate", "NSString",
                                             "NSNull"};
  switch (in_.below(6)) {
    case 0:
      return dictionary({{"$classname", text(kClasses[in_.below(std::size(kClasses))])}});
    case 1:
      return dictionary({{"$class", uid(in_.below(9))}, {"NS.objects", uids()}, {"NS.keys", uids()}});
    case 2:
      return dictionary({{"$class", uid(in_.below(9))}, {"NS.objects", uids()}});
    case 3:
      return dictionary({{"$class", uid(in_.below(9))}, {"NS.time", leaf()}, {"NS.string", leaf()}});
    default:
      return leaf();
  }
}

Object Twin::archive() {
  std::vector<Object> objects = {text("$null")};
  for (auto left = 1 + in_.below(9); left > 0; --left) objects.push_back(archived());
  return dictionary({{"$top", dictionary({{"root", uid(1 + in_.below(8))}})}, {"$objects", array(objects)}});
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::optional<Value> xmlValue(const std::string& xml) {
  PropertyListTree tree({}, Mutability::Immutable);
  XmlPropertyListReader reader(tree, Strictness::Strict);
  if (!reader.feed(xml) || !reader.finish()) return std::nullopt;
  return tree.take();
}

void checkPlain(Input& input) {
  Twin twin(input);
  const Object top = twin.value(0);
  const auto binary = binaryPropertyListValue(twin.binary(top), {}, Strictness::Strict);
  const auto xml = xmlValue(Twin::xml(top));
  require(binary && xml && *binary == *xml);
}

// Compares values by their archives, in which mutability counts and NaN equals itself.
void checkArchive(Input& input) {
  Twin twin(input);
  const Object top = twin.archive();
  const auto binary = unarchivedObject(twin.binary(top));
  const auto xml = unarchivedObject(bytesOf(Twin::xml(top)));
  require(binary.index() == xml.index());
  if (const auto* error = std::get_if<DecodingError>(&binary)) {
    require(error->reason == std::get<DecodingError>(xml).reason);
  } else {
    require(archivedData(std::get<Value>(binary)) == archivedData(std::get<Value>(xml)));
  }
}

}  // namespace
}  // namespace moxtel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  moxtel::fuzz::Input input({data, size});
  if (input.below(2) == 0) {
    moxtel::fuzz::checkPlain(input);
  } else {
    moxtel::fuzz::checkArchive(input);
  }
  return 0;
}
