#include "web/QrCode.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace moxtel {
namespace {

TEST(QrCode, hasTheThreeFinderPatterns) {
  const auto code = QrCode::of("http://192.168.178.123:4251/in/abcdefghijkmnpqrstuv");
  ASSERT_TRUE(code);
  EXPECT_EQ(code->size(), 29);  // version 3
  for (const auto& [x, y] : {std::pair{0, 0}, {22, 0}, {0, 22}}) {
    EXPECT_TRUE(code->isDark(x, y));
    EXPECT_FALSE(code->isDark(x + 1, y + 1));
    EXPECT_TRUE(code->isDark(x + 3, y + 3));
  }
  EXPECT_FALSE(code->isDark(-1, 0));
  EXPECT_FALSE(code->isDark(0, 29));
}

TEST(QrCode, isDrawnByBlocks) {
  const std::string blocks = QrCode::of("a")->blocks();
  EXPECT_EQ(std::ranges::count(blocks, '\n'), (21 + 4 + 1) / 2);
  EXPECT_EQ(blocks.find("\x1b[38;5;16m\x1b[48;5;231m"), 0u);
}

TEST(QrCode, hasALimit) { EXPECT_FALSE(QrCode::of(std::string(5000, 'a'))); }

}  // namespace
}  // namespace moxtel
