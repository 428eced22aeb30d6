#include "plist/XmlPropertyList.h"

#include <charconv>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/ArchiveWriter.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

constexpr std::string_view kSpace = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) + 1 - first);
}

// Decimal or 0x, from -2^63 to 2^64 - 1.
std::optional<Value> integerOf(std::string_view text) {
  text = trimmed(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint64_t magnitude = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) return std::nullopt;
  if (!negative) return Value(magnitude);
  if (magnitude > std::uint64_t{1} << 63) return std::nullopt;
  return Value(static_cast<std::int64_t>(0 - magnitude));
}

std::optional<double> realOf(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

// A whole number of exactly so many digits.
std::optional<int> digitsOf(std::string_view text, std::size_t from, std::size_t count) {
  int number = 0;
  const char* first = text.data() + from;
  const auto [stop, error] = std::from_chars(first, first + count, number);
  return error == std::errc() && stop == first + count && *first != '-' ? std::optional(number)
                                                                        : std::nullopt;
}

// 2016-07-12T09:05:03Z
std::optional<Date> dateOf(std::string_view text) {
  using namespace std::chrono;
  text = trimmed(text);
  constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
  if (text.size() != kForm.size()) return std::nullopt;
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    if (kForm[i] != '0' && text[i] != kForm[i]) return std::nullopt;
  }
  const auto y = digitsOf(text, 0, 4), m = digitsOf(text, 5, 2), d = digitsOf(text, 8, 2);
  const auto hour = digitsOf(text, 11, 2), minute = digitsOf(text, 14, 2), second = digitsOf(text, 17, 2);
  if (!y || !m || !d || !hour || !minute || !second) return std::nullopt;
  const year_month_day day{year{*y}, month{static_cast<unsigned>(*m)},
                           std::chrono::day{static_cast<unsigned>(*d)}};
  if (!day.ok() || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
  const auto sinceUnixEpoch =
      sys_days{day}.time_since_epoch() + hours{*hour} + minutes{*minute} + seconds{*second};
  return Date{static_cast<double>(seconds(sinceUnixEpoch).count()) - kReferenceDateAfterUnixEpoch};
}

int base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  return c == '+' ? 62 : c == '/' ? 63 : -1;
}

std::optional<Bytes> base64Of(std::string_view text) {
  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  unsigned bits = 0;
  int held = 0;
  bool ended = false;
  for (const char c : text) {
    if (kSpace.find(c) != std::string_view::npos) continue;
    ended = ended || c == '=';
    const int digit = base64Digit(c);
    if (ended ? c != '=' : digit < 0) return std::nullopt;
    if (ended) continue;
    bits = bits << 6 | static_cast<unsigned>(digit);
    held += 6;
    if (held >= 8) {
      held -= 8;
      bytes.push_back(static_cast<std::uint8_t>(bits >> held));
    }
  }
  return bytes;
}

class XmlReader final {
 public:
  explicit XmlReader(std::string_view xml) : xml_(xml) {}
  std::variant<Bytes, DecodingError> binary();

 private:
  // A collection that is still open.
  struct Open {
    bool isDictionary = false;
    bool hasKey = false;               // a dictionary's key was read, its value was not
    bool keyIsUid = false;             // that key is "CF$UID"
    std::optional<std::uint64_t> uid;  // what such a key named
    std::vector<std::uint32_t> keys;
    std::vector<std::uint32_t> items;
  };
  struct Tag {
    std::string_view name;
    bool closing = false;
    bool empty = false;
  };

  bool fail(const char* reason) {
    if (!reason_) reason_ = reason;
    return false;
  }
  bool at(std::string_view text) const { return xml_.substr(next_).starts_with(text); }
  bool skipPast(std::string_view end);
  void skipSpace();
  bool skipMisc();
  bool skipDocumentType();
  bool readTag(Tag& tag);
  bool readText(const Tag& tag, std::string& text);
  bool readReference(std::string& text);
  bool readDocument();
  bool readElement(const Tag& tag);
  bool openCollection(const Tag& tag);
  bool closeCollection(std::string_view name);
  bool readKey(const Tag& tag);
  bool readBoolean(const Tag& tag);
  bool readLeaf(const Tag& tag);
  bool writeLeaf(std::string_view name, const std::string& text);
  bool writeInteger(const Value& value);
  bool addObject();
  bool valueMayStandHere();
  void writeReferences(const std::vector<std::uint32_t>& references);
  Bytes finish();

  std::string_view xml_;
  std::size_t next_ = 0;
  const char* reason_ = nullptr;
  std::vector<Open> open_;
  bool complete_ = false;  // the outermost value was read
  ArchiveWriter out_;
  std::vector<std::uint64_t> offsets_;
};

std::variant<Bytes, DecodingError> XmlReader::binary() {
  out_.bytes("bplist00");
  if (!readDocument()) return DecodingError{reason_ ? reason_ : "the XML property list is damaged"};
  return finish();
}

bool XmlReader::skipPast(std::string_view end) {
  const std::size_t found = xml_.find(end, next_);
  if (found == std::string_view::npos) return fail("the XML property list is cut short");
  next_ = found + end.size();
  return true;
}

void XmlReader::skipSpace() { next_ = std::min(xml_.find_first_not_of(kSpace, next_), xml_.size()); }

// White space, comments and processing instructions.
bool XmlReader::skipMisc() {
  for (;;) {
    skipSpace();
    if (at("<!--")) {
      if (!skipPast("-->")) return false;
    } else if (at("<?")) {
      if (!skipPast("?>")) return false;
    } else {
      return true;
    }
  }
}

// Declarations of a document's own could make a short text unfold into a long one: there are none here.
bool XmlReader::skipDocumentType() {
  if (!at("<!DOCTYPE")) return true;
  const std::size_t start = next_;
  if (!skipPast(">")) return false;
  if (xml_.substr(start, next_ - start).find('[') != std::string_view::npos) {
    return fail("the XML property list declares entities");
  }
  return skipMisc();
}

bool XmlReader::readTag(Tag& tag) {
  if (!at("<")) return fail("the bytes are no property list");
  tag.closing = at("</");
  next_ += tag.closing ? 2 : 1;
  const std::size_t end = xml_.find_first_of(" \t\r\n/><", next_);
  if (end == std::string_view::npos) return fail("the XML property list is cut short");
  tag.name = xml_.substr(next_, end - next_);
  next_ = end;
  // Attributes (the version of plist) say nothing.
  char quote = 0;
  for (; next_ < xml_.size(); ++next_) {
    const char c = xml_[next_];
    if (quote == 0 && c == '>') {
      tag.empty = !tag.closing && xml_[next_ - 1] == '/';
      ++next_;
      return true;
    }
    if (quote == 0 && c == '<') return fail("the XML property list is damaged");
    if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = 0;
    }
  }
  return fail("the XML property list is cut short");
}

bool XmlReader::readDocument() {
  if (at("\xEF\xBB\xBF")) next_ += 3;
  Tag tag;
  if (!skipMisc() || !skipDocumentType() || !readTag(tag)) return false;
  if (tag.name != "plist" || tag.closing || tag.empty) return fail("the bytes are no property list");
  for (;;) {
    if (!skipMisc() || !readTag(tag)) return false;
    if (!tag.closing) {
      if (!readElement(tag)) return false;
    } else if (!open_.empty()) {
      if (!closeCollection(tag.name)) return false;
    } else {
      break;
    }
  }
  if (tag.name != "plist" || !complete_) return fail("the XML property list is damaged");
  return skipMisc() && (next_ == xml_.size() || fail("something follows the XML property list"));
}

bool XmlReader::readElement(const Tag& tag) {
  if (tag.name == "key") return readKey(tag);
  if (!valueMayStandHere()) return fail("the XML property list is damaged");
  if (tag.name == "dict" || tag.name == "array") return openCollection(tag);
  if (tag.name == "true" || tag.name == "false") return readBoolean(tag);
  return readLeaf(tag);
}

bool XmlReader::valueMayStandHere() {
  if (open_.empty()) return !complete_;
  return !open_.back().isDictionary || open_.back().hasKey;
}

bool XmlReader::openCollection(const Tag& tag) {
  open_.emplace_back();
  open_.back().isDictionary = tag.name == "dict";
  return !tag.empty || closeCollection(tag.name);
}

bool XmlReader::closeCollection(std::string_view name) {
  const Open closed = std::move(open_.back());
  open_.pop_back();
  if (name != (closed.isDictionary ? "dict" : "array")) return fail("the XML property list is damaged");
  if (closed.hasKey) return fail("a key of the XML property list has no value");
  if (!addObject()) return false;
  if (closed.uid && closed.items.size() == 1) {
    out_.uid(*closed.uid);
    return true;
  }
  std::uint8_t* head = out_.room(ArchiveWriter::kLongestHead);
  out_.written(ArchiveWriter::putHead(head, closed.isDictionary ? 0xD : 0xA, closed.items.size()));
  writeReferences(closed.keys);
  writeReferences(closed.items);
  return true;
}

void XmlReader::writeReferences(const std::vector<std::uint32_t>& references) {
  for (const std::uint32_t reference : references) out_.written(putSized(out_.room(4), reference, 4));
}

// The next object begins here; the collection around it takes it as an item.
bool XmlReader::addObject() {
  if (offsets_.size() >= UINT32_MAX) return fail("the XML property list is too large");
  const auto number = static_cast<std::uint32_t>(offsets_.size());
  offsets_.push_back(out_.offset());
  if (open_.empty()) {
    complete_ = true;
    return true;
  }
  open_.back().items.push_back(number);
  open_.back().hasKey = false;
  return true;
}

bool XmlReader::readKey(const Tag& tag) {
  if (open_.empty() || !open_.back().isDictionary || open_.back().hasKey) {
    return fail("a key of the XML property list stands in the wrong place");
  }
  std::string text;
  if (!readText(tag, text)) return false;
  Open& open = open_.back();
  open.keys.push_back(static_cast<std::uint32_t>(offsets_.size()));
  open.hasKey = true;
  open.keyIsUid = text == "CF$UID";
  offsets_.push_back(out_.offset());
  out_.string(text);
  return true;
}

bool XmlReader::readBoolean(const Tag& tag) {
  std::string text;
  if (!readText(tag, text)) return false;
  if (!trimmed(text).empty()) return fail("the XML property list is damaged");
  if (!addObject()) return false;
  out_.byte(tag.name == "true" ? 0x09 : 0x08);
  return true;
}

bool XmlReader::readLeaf(const Tag& tag) {
  std::string text;
  return readText(tag, text) && writeLeaf(tag.name, text);
}

bool XmlReader::writeLeaf(std::string_view name, const std::string& text) {
  if (name == "string") {
    if (!addObject()) return false;
    out_.string(text);
    return true;
  }
  if (name == "integer") {
    const auto value = integerOf(text);
    return value ? writeInteger(*value) : fail("an integer of the XML property list cannot be read");
  }
  if (name == "real") {
    const auto value = realOf(text);
    if (!value) return fail("a real of the XML property list cannot be read");
    if (!addObject()) return false;
    out_.real(*value);
    return true;
  }
  if (name == "date") {
    const auto value = dateOf(text);
    if (!value) return fail("a date of the XML property list cannot be read");
    if (!addObject()) return false;
    out_.date(*value);
    return true;
  }
  if (name != "data") return fail("the XML property list has an unknown element");
  const auto bytes = base64Of(text);
  if (!bytes) return fail("data of the XML property list cannot be read");
  if (!addObject()) return false;
  out_.copiedData(*bytes);
  return true;
}

bool XmlReader::writeInteger(const Value& value) {
  if (!open_.empty() && open_.back().isDictionary && open_.back().keyIsUid && value.integerValue() >= 0) {
    open_.back().uid = value.unsignedValue();
  }
  if (!addObject()) return false;
  if (value.isBeyondSigned()) {
    out_.unsignedBeyondSigned(value.unsignedValue());
  } else {
    out_.integer(value.integerValue());
  }
  return true;
}

// What stands up to the tag's end: text with references and CDATA, no elements.
bool XmlReader::readText(const Tag& tag, std::string& text) {
  if (tag.empty) return true;
  for (;;) {
    const std::size_t stop = xml_.find_first_of("<&", next_);
    if (stop == std::string_view::npos) return fail("the XML property list is cut short");
    text += xml_.substr(next_, stop - next_);
    next_ = stop;
    if (at("&")) {
      if (!readReference(text)) return false;
    } else if (at("<!--")) {
      if (!skipPast("-->")) return false;
    } else if (at("<![CDATA[")) {
      const std::size_t start = next_ + 9;
      if (!skipPast("]]>")) return false;
      text += xml_.substr(start, next_ - 3 - start);
    } else {
      break;
    }
  }
  Tag end;
  if (!readTag(end)) return false;
  if (!end.closing || end.name != tag.name) return fail("the XML property list is damaged");
  return isValidUtf8(text) || fail("a text is no valid UTF-8");
}

// &amp; &lt; &gt; &quot; &apos; &#65; &#x41;
bool XmlReader::readReference(std::string& text) {
  constexpr std::size_t kLongest = 12;
  const std::size_t length = xml_.substr(next_, kLongest).find(';');
  if (length == std::string_view::npos) return fail("the XML property list has an unknown entity");
  std::string_view name = xml_.substr(next_ + 1, length - 1);
  next_ += length + 1;
  static constexpr std::pair<std::string_view, char> kEntities[] = {
      {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
  for (const auto& [entity, character] : kEntities) {
    if (entity != name) continue;
    text += character;
    return true;
  }
  if (!name.starts_with('#')) return fail("the XML property list has an unknown entity");
  name.remove_prefix(1);
  const bool hexadecimal = name.starts_with('x');
  if (hexadecimal) name.remove_prefix(1);
  std::uint32_t codePoint = 0;
  const char* end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data(), end, codePoint, hexadecimal ? 16 : 10);
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (error != std::errc() || stop != end || codePoint == 0 || surrogate || codePoint > 0x10FFFF) {
    return fail("the XML property list has an unknown entity");
  }
  appendUtf8(text, codePoint);
  return true;
}

// The outermost value was added last.
Bytes XmlReader::finish() {
  const std::uint64_t table = out_.offset();
  for (const std::uint64_t offset : offsets_) out_.written(putSized(out_.room(8), offset, widthOf(table)));
  out_.trailer(table, 4, offsets_.size(), offsets_.size() - 1);
  return out_.finish().joined();
}

}  // namespace

std::variant<Bytes, DecodingError> binaryPropertyListOfXml(std::span<const std::uint8_t> xml) {
  return XmlReader(std::string_view(reinterpret_cast<const char*>(xml.data()), xml.size())).binary();
}

}  // namespace moxtel
