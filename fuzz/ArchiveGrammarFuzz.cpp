// Archives made from the fuzzer's choices. The property list is well-formed; the archive in it may be wrong
// in any way: references to missing objects and in cycles, invalid classes, lists of different lengths, lists
// that several objects share, old forms, widths from 1 to 8 bytes. Or a Value, written and read again.
#include <array>
#include <vector>

#include "fuzz/ArchiveCheck.h"
#include "tests/plist/PropertyListBuilder.h"

namespace moxtel::fuzz {
namespace {

using testing::PropertyListBuilder;

class GraphBuilder final {
 public:
  explicit GraphBuilder(Input& input) : in_(input), list_(2 + input.below(7)) {}
  Bytes build();

 private:
  static constexpr std::array kClassNames = {
      "NSArray",         "NSMutableArray",  "NSDictionary", "NSMutableDictionary",
      "NSString",        "NSMutableString", "NSData",       "NSMutableData",
      "NSDate",          "NSNull",          "NSSet",        "NSMutableSet",
      "SomethingUnknown"};

  // Mostly an object that exists.
  std::uint64_t someUid() { return list_.uid(in_.below(count_ + 2), 1 + in_.below(8)); }
  std::uint64_t someList() {
    if (!lists_.empty() && in_.below(4) == 0) return lists_[in_.below(lists_.size())];
    std::vector<std::uint64_t> items;
    for (auto left = in_.below(18); left > 0; --left) items.push_back(someUid());
    lists_.push_back(list_.array(items));
    return lists_.back();
  }
  std::uint64_t someLeaf();
  std::uint64_t someClass();
  std::uint64_t someObject();

  Input& in_;
  PropertyListBuilder list_;
  std::uint64_t count_ = 0;
  std::vector<std::uint64_t> lists_;
};

std::uint64_t GraphBuilder::someLeaf() {
  switch (in_.below(8)) {
    case 0: {
      const std::string bytes = in_.text(2 * in_.below(8));
      return list_.raw(PropertyListBuilder::head(6, bytes.size() / 2) + bytes);
    }
    case 1:
      return list_.raw({static_cast<char>(0x08 + in_.below(2))});
    case 2: {
      const auto power = in_.below(6);
      return list_.raw(static_cast<char>(0x10 | power) +
                       PropertyListBuilder::big(in_.word(), std::size_t{1} << power));
    }
    case 3:
      return list_.real(in_.word());
    case 4:
      return list_.raw("\x33" + PropertyListBuilder::big(in_.word(), 8));
    case 5:
      return list_.data(in_.text(in_.below(20)));
    default:
      return list_.string(in_.text(in_.below(20)));
  }
}

std::uint64_t GraphBuilder::someClass() {
  std::vector<std::uint64_t> keys = {list_.string("$classname")};
  std::vector<std::uint64_t> values = {list_.string(kClassNames[in_.below(kClassNames.size())])};
  if (in_.below(4) == 0) {
    keys.push_back(list_.string("$classhints"));
    values.push_back(list_.array({list_.string(kClassNames[in_.below(kClassNames.size())])}));
  }
  return list_.dictionary(keys, values);
}

std::uint64_t GraphBuilder::someObject() {
  static constexpr std::array kKeys = {"NS.objects", "NS.keys",     "NS.string", "NS.bytes",
                                       "NS.data",    "NS.time",     "$class",    "NS.object.0",
                                       "NS.key.0",   "NS.object.1", "NS.key.1"};
  const auto kind = in_.below(8);
  if (kind == 0) return someLeaf();
  if (kind == 1) return someClass();
  std::vector<std::uint64_t> keys = {list_.string("$class")};
  std::vector<std::uint64_t> values = {someUid()};
  if (kind < 6) {
    keys.push_back(list_.string("NS.objects"));
    values.push_back(someList());
    if (kind < 5) {
      keys.push_back(list_.string("NS.keys"));
      values.push_back(someList());
    }
    return list_.dictionary(keys, values);
  }
  for (auto left = in_.below(5); left > 0; --left) {
    keys.push_back(list_.string(kKeys[in_.below(kKeys.size())]));
    values.push_back(in_.below(3) == 0 ? someUid() : in_.below(2) == 0 ? someLeaf() : someList());
  }
  return list_.dictionary(keys, values);
}

Bytes GraphBuilder::build() {
  count_ = 1 + in_.below(40);
  std::vector<std::uint64_t> objects = {list_.string("$null")};
  for (std::uint64_t i = 0; i < count_; ++i) objects.push_back(someObject());
  const auto root = list_.dictionary({list_.string("root")}, {someUid()});
  const auto top =
      list_.dictionary({list_.string("$top"), list_.string("$objects")}, {root, list_.array(objects)});
  return list_.finish(top, 3 + in_.below(6));
}

Value someValue(Input& in, int depth) {
  const Mutability mutability = in.below(2) == 0 ? Mutability::Immutable : Mutability::Mutable;
  const auto kind = in.below(depth > 6 ? 7 : 10);
  switch (kind) {
    case 0:
      return Value(in.below(2) == 0);
    case 1:
      return Value(static_cast<std::int64_t>(in.word()));
    case 2:
      return Value(in.word());
    case 3:
      return Value(in.real());
    case 4:
      return Value(Date{in.real()});
    case 5: {
      const std::string bytes = in.text(in.below(30));
      return Value(Bytes(bytes.begin(), bytes.end()));
    }
    case 6:
      return Value(in.text(in.below(30)));
    case 7: {
      Array array(mutability);
      for (auto left = in.below(9); left > 0; --left) array.append(someValue(in, depth + 1));
      return array;
    }
    case 8: {
      Dictionary dictionary(mutability);
      for (auto left = in.below(9); left > 0; --left) {
        // An archive changes texts that are not UTF-8, so two such keys may become equal.
        std::string key = in.text(in.below(4));
        for (char& c : key) c &= 0x7F;
        dictionary.set(key, someValue(in, depth + 1));
      }
      return dictionary;
    }
    default:
      return {};
  }
}

void checkValue(const Value& value) {
  const Bytes written = archivedData(value);
  const auto read = unarchivedObject(written);
  require(std::holds_alternative<Value>(read));
  require(archivedData(std::get<Value>(read)) == written);
}

}  // namespace
}  // namespace moxtel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  moxtel::fuzz::Input input({data, size});
  if (input.below(4) == 0) {
    moxtel::fuzz::checkValue(moxtel::fuzz::someValue(input, 0));
    return 0;
  }
  moxtel::fuzz::checkArchive(moxtel::fuzz::GraphBuilder(input).build());
  return 0;
}
