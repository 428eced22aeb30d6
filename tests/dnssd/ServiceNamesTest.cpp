#include "dnssd/ServiceNames.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

TEST(ServiceNames, keepsNamesOfUpTo63Bytes) {
  EXPECT_EQ(publishableServiceName("Anna’s Computer"), "Anna’s Computer");
  EXPECT_EQ(publishableServiceName(std::string(63, 'x')), std::string(63, 'x'));
  EXPECT_EQ(publishableServiceName(""), "");
}

TEST(ServiceNames, cutsBetweenCharacters) {
  EXPECT_EQ(publishableServiceName(std::string(64, 'x')), std::string(63, 'x'));
  // 62 bytes and a two-byte character.
  EXPECT_EQ(publishableServiceName(std::string(62, 'x') + "ä"), std::string(62, 'x'));
  EXPECT_EQ(publishableServiceName(std::string(61, 'x') + "ä"), std::string(61, 'x') + "ä");
  EXPECT_EQ(publishableServiceName(std::string(60, 'x') + "😀"), std::string(60, 'x'));
  EXPECT_EQ(publishableServiceName(std::string(59, 'x') + "😀"), std::string(59, 'x') + "😀");
}

TEST(ServiceNames, replacesMalformedUtf8) {
  EXPECT_EQ(publishableServiceName("a\xFF\xC3"), "a\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(publishableServiceName(std::string_view("a\0b", 3)),
            "a\xEF\xBF\xBD"
            "b");
  // Overlong, surrogate, beyond the last code point.
  EXPECT_EQ(publishableServiceName("\xC0\xAF").size(), 6U);
  EXPECT_EQ(publishableServiceName("\xED\xA0\x80").size(), 9U);
  EXPECT_EQ(publishableServiceName("\xF4\x90\x80\x80").size(), 12U);
  EXPECT_EQ(publishableServiceName("\xE0\x9F\xBF").size(), 9U);
}

TEST(ServiceNames, dropsOneLastDotOfTheType) {
  EXPECT_EQ(serviceTypeWithoutDot("_moxtelserver._tcp."), "_moxtelserver._tcp");
  EXPECT_EQ(serviceTypeWithoutDot("_moxtelserver._tcp"), "_moxtelserver._tcp");
  EXPECT_EQ(serviceTypeWithoutDot(""), "");
}

TEST(ServiceNames, numbersTakenNames) {
  EXPECT_EQ(alternativeServiceName("Photos"), "Photos #2");
  EXPECT_EQ(alternativeServiceName("Photos #2"), "Photos #3");
  EXPECT_EQ(alternativeServiceName("Photos #9"), "Photos #10");
  EXPECT_EQ(alternativeServiceName("Photos #1"), "Photos #1 #2");
  EXPECT_EQ(alternativeServiceName("Photos #x"), "Photos #x #2");
  EXPECT_EQ(alternativeServiceName("Photos #99999999999"), "Photos #99999999999 #2");
}

TEST(ServiceNames, keepsTheNumberWithin63Bytes) {
  EXPECT_EQ(alternativeServiceName(std::string(63, 'x')), std::string(60, 'x') + " #2");
  EXPECT_EQ(alternativeServiceName(std::string(59, 'x') + "ää"), std::string(59, 'x') + " #2");
  EXPECT_EQ(alternativeServiceName(std::string(60, 'x') + " #9"), std::string(59, 'x') + " #10");
}

}  // namespace
}  // namespace moxtel
