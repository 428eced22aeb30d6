#include "web/PageAddresses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "web/http/ClientRules.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

AddressList list(const char* text) { return std::get<AddressList>(AddressList::parse(text)); }

TEST(PageAddresses, areTheOneThatIsListenedOn) {
  EXPECT_THAT(pageAddresses(0x7F000002), ElementsAre("127.0.0.2"));
  EXPECT_FALSE(pageAddresses(0).empty());
}

TEST(PageAddresses, saysWhenTheDevicesOfANetworkAreRefused) {
  const ClientRules usual({});
  EXPECT_THAT(whyNoDeviceIsAdmitted(usual, "203.0.113.9"),
              HasSubstr("203.0.113.9 is no address of a local network"));
  for (const char* local : {"10.0.0.1", "192.168.1.5", "127.0.0.1"})
    EXPECT_EQ(whyNoDeviceIsAdmitted(usual, local), "") << local;
  ClientRules::Settings settings;
  settings.allowedClients = list("203.0.113.0/24");
  EXPECT_EQ(whyNoDeviceIsAdmitted(ClientRules(settings), "203.0.113.9"), "");
  settings = {};
  settings.proxies = list("203.0.113.7");
  EXPECT_EQ(whyNoDeviceIsAdmitted(ClientRules(settings), "203.0.113.9"), "");
}

}  // namespace
}  // namespace moxtel
