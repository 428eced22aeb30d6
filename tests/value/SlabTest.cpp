#include "value/Slab.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "value/Value.h"

namespace moxtel {
namespace {

std::uintptr_t blockOf(const void* part) { return reinterpret_cast<std::uintptr_t>(part) / kHugePage; }

// Whether the block of a part is still there.
bool isMapped(std::uintptr_t block) {
  std::array<unsigned char, kHugePage / 4096> there{};
  return ::mincore(reinterpret_cast<void*>(block * kHugePage), kHugePage, there.data()) == 0;
}

TEST(Slab, PutsPartsOneAfterAnother) {
  Slab slab;
  auto* first = static_cast<std::uint8_t*>(slab.allocate(1));
  auto* second = static_cast<std::uint8_t*>(slab.allocate(17));
  auto* third = static_cast<std::uint8_t*>(slab.allocate(8));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % Slab::kAlignment, 0u);
  EXPECT_EQ(second - first, 8);
  EXPECT_EQ(third - second, 24);
  for (void* part : {first, second, third}) Slab::free(part);
}

TEST(Slab, FreesABlockWithItsLastPart) {
  std::optional<Slab> slab(std::in_place);
  std::vector<void*> parts;
  while (parts.size() < 2 || blockOf(parts.back()) == blockOf(parts.front())) {
    parts.push_back(slab->allocate(Slab::kLargestPart));
    std::memset(parts.back(), 7, Slab::kLargestPart);
  }
  const std::uintptr_t full = blockOf(parts.front());
  const std::uintptr_t open = blockOf(parts.back());
  for (std::size_t i = 1; i + 1 < parts.size(); ++i) Slab::free(parts[i]);
  EXPECT_TRUE(isMapped(full));
  Slab::free(parts.front());
  EXPECT_FALSE(isMapped(full));
  Slab::free(parts.back());
  EXPECT_TRUE(isMapped(open));  // more parts may follow
  slab.reset();
  EXPECT_FALSE(isMapped(open));
}

TEST(Slab, IsOutlivedByItsParts) {
  std::optional<Slab> slab(std::in_place);
  void* part = slab->allocate(100);
  slab.reset();
  EXPECT_TRUE(isMapped(blockOf(part)));
  std::memset(part, 7, 100);
  Slab::free(part);
  EXPECT_FALSE(isMapped(blockOf(part)));
}

TEST(Slab, TakesPartsBackOnAnyThread) {
  std::optional<Slab> slab(std::in_place);
  std::array<std::vector<void*>, 4> parts;
  for (int i = 0; i < 100000; ++i) parts[static_cast<std::size_t>(i % 4)].push_back(slab->allocate(64));
  std::vector<std::thread> threads;
  for (auto& own : parts) {
    threads.emplace_back([&own] {
      for (void* part : own) Slab::free(part);
    });
  }
  slab.reset();
  for (auto& thread : threads) thread.join();
  for (const auto& own : parts) {
    for (const void* part : own) ASSERT_FALSE(isMapped(blockOf(part)));
  }
}

Dictionary inSlab(Slab& slab, const char* text) {
  Shared<KeyList> keys;
  KeyList list;
  list.append("text");
  list.append("number");
  keys.reset(std::move(list));
  ValueRow values(2, &slab);
  values[0] = Text(text, &slab);
  values[1] = 5;
  return Dictionary(keys, std::move(values), Mutability::Mutable);
}

TEST(Slab, HoldsWhatADictionaryIsMadeOf) {
  std::optional<Slab> slab(std::in_place);
  std::optional<Value> whole(std::in_place, inSlab(*slab, "one text of a dictionary"), &*slab);
  const std::uintptr_t block = blockOf(whole->identity());
  slab.reset();
  const Dictionary expected({{"text", "one text of a dictionary"}, {"number", 5}});
  EXPECT_EQ(*whole, Value(expected));
  std::optional<Value> copy(*whole);
  std::optional<Text> text((*whole)["text"].text());
  EXPECT_TRUE(whole->isShared());
  whole.reset();
  EXPECT_FALSE(copy->isShared());
  EXPECT_EQ(*copy, Value(expected));
  copy.reset();
  EXPECT_TRUE(isMapped(block));  // the text keeps it
  EXPECT_EQ(*text, "one text of a dictionary");
  text.reset();
  EXPECT_FALSE(isMapped(block));
}

TEST(Slab, LetsADictionaryGrowOutOfIt) {
  std::optional<Slab> slab(std::in_place);
  Value value(inSlab(*slab, "one text of a dictionary"), &*slab);
  const Value before = value;
  slab.reset();
  for (int i = 0; i < 100; ++i) value.editDictionary().set(std::to_string(i), i);
  EXPECT_TRUE(value.editDictionary().remove("text"));
  EXPECT_EQ(value.dictionary().size(), 101u);
  EXPECT_EQ(value["99"].intValue(), 99);
  EXPECT_EQ(value["number"].intValue(), 5);
  EXPECT_EQ(before.dictionary().size(), 2u);
  EXPECT_EQ(before["text"].string(), "one text of a dictionary");
}

TEST(Slab, LeavesLargePartsToOthers) {
  std::optional<Slab> slab(std::in_place);
  const std::string large(Slab::kLargestPart, 'x');
  const Value text = Text(large, &*slab);
  ValueRow row(Slab::kLargestPart / sizeof(Value) + 1, &*slab);
  slab.reset();
  EXPECT_EQ(text.string(), large);
  row[row.size() - 1] = text;
  EXPECT_EQ(row[row.size() - 1], text);
}

}  // namespace
}  // namespace moxtel
