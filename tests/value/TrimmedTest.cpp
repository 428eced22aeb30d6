#include "value/Trimmed.h"

namespace moxtel {
namespace {

TEST(Trimmed, takesWhiteSpaceFromBothEnds) {
  EXPECT_EQ(trimmed(" \t\n\v\f\ra b\tc\r\n "), "a b\tc");
  EXPECT_EQ(trimmed("a"), "a");
}

TEST(Trimmed, leavesNothingOfWhiteSpaceAlone) {
  EXPECT_EQ(trimmed(" \n\t"), "");
  EXPECT_EQ(trimmed(""), "");
}

TEST(Trimmed, keepsSpacesOutsideAsciiAndNulBytes) {
  using namespace std::string_view_literals;
  EXPECT_EQ(trimmed("\xC2\xA0"), "\xC2\xA0");
  EXPECT_EQ(trimmed("\0 "sv), "\0"sv);
}

}  // namespace
}  // namespace moxtel
