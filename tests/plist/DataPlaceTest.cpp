#include "plist/DataPlace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plist/KeyedArchive.h"

namespace moxtel {
namespace {

Bytes archiveOf(Value value) { return archivedData(Dictionary{{"result", std::move(value)}}); }

// The bytes at the place; nothing without one.
std::optional<Bytes> found(const Bytes& archive, std::string_view key = "result") {
  const auto place = dataPlaceIn(archive, key);
  if (!place) return std::nullopt;
  const auto start = archive.begin() + static_cast<std::ptrdiff_t>(place->offset);
  return Bytes(start, start + static_cast<std::ptrdiff_t>(place->size));
}

TEST(DataPlace, isWhereTheDataIs) {
  for (const std::size_t size : {0u, 1u, 14u, 15u, 255u, 70'000u}) {
    const Bytes data(size, 0xD8);
    EXPECT_EQ(found(archiveOf(data)), data);
  }
}

TEST(DataPlace, isFoundInAnArchiveThatWasMadeAroundAFile) {
  const Bytes data{1, 2, 3, 4};
  const ArchiveAroundData around = archiveAroundData("result", data.size());
  Bytes archive = around.before;
  archive.insert(archive.end(), data.begin(), data.end());
  archive.insert(archive.end(), around.after.begin(), around.after.end());
  EXPECT_EQ(found(archive), data);
}

TEST(DataPlace, isNowhereWithoutData) {
  EXPECT_EQ(found(archiveOf("text")), std::nullopt);
  EXPECT_EQ(found(archiveOf(Dictionary{{"result", Bytes{1}}})), std::nullopt);
  EXPECT_EQ(found(archiveOf(Bytes{1}), "error"), std::nullopt);
  EXPECT_EQ(found(archivedData(Bytes{1})), std::nullopt);
  EXPECT_EQ(found({}), std::nullopt);
  EXPECT_EQ(found({'b', 'p', 'l', 'i', 's', 't', '0', '0'}), std::nullopt);
}

// Every place is inside the archive, whatever its bytes.
TEST(DataPlace, staysInsideADamagedArchive) {
  const Bytes whole = archiveOf(Bytes(100, 1));
  for (std::size_t at = 8; at < whole.size(); ++at) {
    for (const char value : std::string_view("\x00\x0f\x7f\x80\x8f\xa1\xdf\xff", 8)) {
      Bytes damaged = whole;
      damaged[at] = static_cast<std::uint8_t>(value);
      if (const auto place = dataPlaceIn(damaged, "result")) {
        EXPECT_LE(place->offset, damaged.size());
        EXPECT_LE(place->size, damaged.size() - place->offset);
      }
    }
  }
}

}  // namespace
}  // namespace moxtel
