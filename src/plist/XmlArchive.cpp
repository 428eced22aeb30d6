#include "plist/XmlArchive.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/ArchiveWriter.h"
#include "plist/XmlPropertyListReader.h"

namespace moxtel {

namespace {

// Writes what it takes as a binary property list, each object after those inside it.
class BinaryListSink final : public PropertyListSink {
 public:
  BinaryListSink() { out_.bytes("bplist00"); }

  // What is written never has more bytes than the XML.
  std::size_t room() const override { return SIZE_MAX; }
  const char* begin(bool isDictionary) override;
  const char* end() override;
  const char* key(std::string_view key) override;
  const char* leaf(Value value) override;
  const char* skip() override { return "a value is missing"; }

  Bytes finish();

 private:
  // A collection that is not complete.
  struct Open {
    bool isDictionary = false;
    bool keyIsUid = false;             // the last key is "CF$UID"
    std::optional<std::uint64_t> uid;  // what such a key names
    std::vector<std::uint32_t> keys;
    std::vector<std::uint32_t> items;
  };
  // The number of the object that is written next.
  std::uint32_t addObject();
  void addItem();
  void write(const Value& leaf);
  void writeReferences(const std::vector<std::uint32_t>& references);

  std::vector<Open> open_;
  ArchiveWriter out_;
  std::vector<std::uint64_t> offsets_;
};

std::uint32_t BinaryListSink::addObject() {
  offsets_.push_back(out_.offset());
  return static_cast<std::uint32_t>(offsets_.size() - 1);
}

void BinaryListSink::addItem() {
  const std::uint32_t number = addObject();
  if (!open_.empty()) open_.back().items.push_back(number);
}

const char* BinaryListSink::begin(bool isDictionary) {
  open_.emplace_back().isDictionary = isDictionary;
  return nullptr;
}

const char* BinaryListSink::end() {
  const Open closed = std::move(open_.back());
  open_.pop_back();
  addItem();
  if (closed.uid && closed.items.size() == 1) {
    out_.uid(*closed.uid);
    return nullptr;
  }
  std::uint8_t* head = out_.room(ArchiveWriter::kLongestHead);
  out_.written(ArchiveWriter::putHead(head, closed.isDictionary ? 0xD : 0xA, closed.items.size()));
  writeReferences(closed.keys);
  writeReferences(closed.items);
  return nullptr;
}

const char* BinaryListSink::key(std::string_view key) {
  open_.back().keys.push_back(addObject());
  open_.back().keyIsUid = key == "CF$UID";
  out_.string(key);
  return nullptr;
}

const char* BinaryListSink::leaf(Value value) {
  const bool mayBeUid = value.type() == Value::Type::Integer && value.integerValue() >= 0;
  if (mayBeUid && !open_.empty() && open_.back().keyIsUid) open_.back().uid = value.unsignedValue();
  addItem();
  write(value);
  return nullptr;
}

void BinaryListSink::write(const Value& leaf) {
  switch (leaf.type()) {
    case Value::Type::Boolean:
      out_.byte(leaf.boolValue() ? 0x09 : 0x08);
      break;
    case Value::Type::Integer:
      if (leaf.isBeyondSigned()) {
        out_.unsignedBeyondSigned(leaf.unsignedValue());
      } else {
        out_.integer(leaf.integerValue());
      }
      break;
    case Value::Type::Real:
      out_.real(leaf.doubleValue());
      break;
    case Value::Type::Date:
      out_.date(leaf.date());
      break;
    case Value::Type::Data:
      out_.copiedData(leaf.data());
      break;
    default:
      out_.string(leaf.string());
  }
}

void BinaryListSink::writeReferences(const std::vector<std::uint32_t>& references) {
  for (const std::uint32_t reference : references) out_.written(putSized(out_.room(4), reference, 4));
}

// The outermost value was written last.
Bytes BinaryListSink::finish() {
  const std::uint64_t table = out_.offset();
  for (const std::uint64_t offset : offsets_) out_.written(putSized(out_.room(8), offset, widthOf(table)));
  out_.trailer(table, 4, offsets_.size(), offsets_.size() - 1);
  return out_.finish().joined();
}

bool isXml(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && text[first] == '<';
}

}  // namespace

std::variant<Bytes, DecodingError> binaryPropertyListOfXml(std::span<const std::uint8_t> xml) {
  // Below this the objects' numbers have four bytes.
  constexpr std::size_t kLongest = UINT32_MAX;
  const std::string_view text(reinterpret_cast<const char*>(xml.data()), xml.size());
  if (!isXml(text)) return DecodingError{"the bytes are no property list"};
  if (text.size() > kLongest) return DecodingError{"the XML property list is too large"};
  BinaryListSink sink;
  XmlPropertyListReader reader(sink, Strictness::Strict);
  if (!reader.feed(text) || !reader.finish())
    return DecodingError{"the XML property list cannot be read: " + reader.failure()};
  return sink.finish();
}

}  // namespace moxtel
