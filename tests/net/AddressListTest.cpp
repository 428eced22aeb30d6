#include "net/AddressList.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

AddressList listOf(std::string_view text) { return std::get<AddressList>(AddressList::parse(text)); }
std::string wrongEntryOf(std::string_view text) { return std::get<std::string>(AddressList::parse(text)); }
bool contains(std::string_view list, std::string_view address) {
  return listOf(list).contains(parseIPv4Address(address).value());
}

TEST(AddressListTest, readsAnAddress) {
  EXPECT_EQ(parseIPv4Address("127.0.0.1"), 0x7F000001u);
  EXPECT_EQ(parseIPv4Address("255.255.255.255"), 0xFFFFFFFFu);
  EXPECT_EQ(parseIPv4Address("0.0.0.0"), 0u);
}

TEST(AddressListTest, rejectsWhatIsNoAddress) {
  using namespace std::string_view_literals;
  for (const auto text : {""sv, "1.2.3"sv, "1.2.3.4.5"sv, "1.2.3.256"sv, "01.2.3.4"sv, "1.2.3.-4"sv,
                          "1.2.3.+4"sv, "1.2.3.4 "sv, "1.2.3.4\0"sv, "1..3.4"sv, ".1.2.3"sv, "1.2.3."sv,
                          "0x7f.0.0.1"sv, "2130706433"sv, "99999999999.1.1.1"sv, "::1"sv, "host"sv}) {
    EXPECT_FALSE(parseIPv4Address(text)) << text;
  }
}

TEST(AddressListTest, containsItsAddresses) {
  EXPECT_TRUE(contains("10.0.0.7, 192.168.1.9", "10.0.0.7"));
  EXPECT_TRUE(contains("10.0.0.7, 192.168.1.9", "192.168.1.9"));
  EXPECT_FALSE(contains("10.0.0.7, 192.168.1.9", "192.168.1.8"));
}

TEST(AddressListTest, containsTheAddressesOfItsNetworks) {
  EXPECT_TRUE(contains("192.168.1.0/24", "192.168.1.0"));
  EXPECT_TRUE(contains("192.168.1.0/24", "192.168.1.255"));
  EXPECT_FALSE(contains("192.168.1.0/24", "192.168.2.0"));
  EXPECT_FALSE(contains("192.168.1.0/24", "192.168.0.255"));
  EXPECT_TRUE(contains("10.128.0.0/9", "10.255.1.2"));
  EXPECT_FALSE(contains("10.128.0.0/9", "10.127.255.255"));
}

TEST(AddressListTest, ignoresTheOtherBitsOfANetwork) {
  EXPECT_TRUE(contains("192.168.1.77/24", "192.168.1.3"));
}

TEST(AddressListTest, knowsTheShortestAndTheLongestPrefix) {
  EXPECT_TRUE(contains("1.2.3.4/0", "255.255.255.255"));
  EXPECT_TRUE(contains("1.2.3.4/32", "1.2.3.4"));
  EXPECT_FALSE(contains("1.2.3.4/32", "1.2.3.5"));
}

TEST(AddressListTest, separatesEntriesByCommasOrBlanks) {
  for (const auto text : {"1.1.1.1,2.2.2.2", "1.1.1.1 2.2.2.2", " 1.1.1.1 ,\t2.2.2.2, "}) {
    EXPECT_TRUE(contains(text, "1.1.1.1")) << text;
    EXPECT_TRUE(contains(text, "2.2.2.2")) << text;
  }
}

TEST(AddressListTest, namesTheFirstWrongEntry) {
  EXPECT_EQ(wrongEntryOf("1.1.1.1, 192.168.1.0/33, host"), "192.168.1.0/33");
  EXPECT_EQ(wrongEntryOf("10.0.0.0/"), "10.0.0.0/");
  EXPECT_EQ(wrongEntryOf("10.0.0.0/08"), "10.0.0.0/08");
  EXPECT_EQ(wrongEntryOf("10.0.0.0/-1"), "10.0.0.0/-1");
  EXPECT_EQ(wrongEntryOf("/24"), "/24");
}

// A list that allows everyone must be the user's intention, not the result of a typing error.
TEST(AddressListTest, isEmptyOnlyForTheEmptyText) {
  EXPECT_TRUE(listOf("").empty());
  EXPECT_EQ(wrongEntryOf(" , "), " , ");
}

}  // namespace
}  // namespace moxtel
