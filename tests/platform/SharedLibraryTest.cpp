#include "platform/system/SharedLibrary.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

TEST(SharedLibrary, findsItsSymbols) {
  SharedLibrary library("libm.so.6");
  double (*const root)(double) = library["sqrt"];
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root(9), 3);
  EXPECT_EQ(library.problem(), "");
}

TEST(SharedLibrary, saysWhichSymbolIsMissing) {
  SharedLibrary library("libm.so.6");
  void (*const first)() = library["moxtel_first"];
  void (*const second)() = library["moxtel_second"];
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(library.problem(), "it has no moxtel_first");
}

TEST(SharedLibrary, saysThatItIsMissing) {
  SharedLibrary library("libmoxtel-missing.so");
  void (*const symbol)() = library["any"];
  EXPECT_EQ(symbol, nullptr);
  EXPECT_NE(library.problem().find("libmoxtel-missing.so"), std::string::npos);
}

}  // namespace
}  // namespace moxtel
