#include "web/http/ClientRules.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

IPv4Address address(const char* text) { return *parseIPv4Address(text); }
AddressList list(const char* text) { return std::get<AddressList>(AddressList::parse(text)); }

RawRequest requestWith(const char* host, const char* peer = "192.168.1.7") {
  RawRequest request;
  request.peer = address(peer);
  request.local = address("192.168.1.5");
  request.fields = {{"Host", host}};
  return request;
}

ClientRules rules(ClientRules::Settings settings = {}) {
  settings.machineName = "nas.example.org";
  return ClientRules(std::move(settings));
}

bool isHost(const char* host, ClientRules::Settings settings = {}) {
  return rules(std::move(settings)).clientOf(requestWith(host)).isHostAllowed;
}

TEST(ClientRules, allowAddressesOfTheLocalNetwork) {
  for (const char* text : {"10.0.0.1", "10.255.255.255", "172.16.0.1", "172.31.255.255", "192.168.0.1",
                           "169.254.3.4", "100.64.0.1", "100.127.255.255", "127.0.0.1"}) {
    EXPECT_TRUE(rules().mayConnect(address(text), address("192.168.1.5"))) << text;
  }
  for (const char* text :
       {"9.255.255.255", "11.0.0.0", "172.15.255.255", "172.32.0.0", "192.167.0.1", "192.169.0.1",
        "100.63.255.255", "100.128.0.0", "8.8.8.8", "0.0.0.0", "255.255.255.255"}) {
    EXPECT_FALSE(rules().mayConnect(address(text), address("192.168.1.5"))) << text;
  }
}

TEST(ClientRules, allowThisMachineAtItsOwnAddress) {
  EXPECT_TRUE(rules().mayConnect(address("203.0.113.9"), address("203.0.113.9")));
  EXPECT_FALSE(rules().mayConnect(address("203.0.113.8"), address("203.0.113.9")));
}

TEST(ClientRules, allowWhatTheUserNamesAndNothingElse) {
  ClientRules::Settings settings;
  settings.allowedClients = list("203.0.113.0/24");
  const ClientRules named = rules(settings);
  EXPECT_TRUE(named.mayConnect(address("203.0.113.9"), address("10.0.0.1")));
  EXPECT_FALSE(named.mayConnect(address("192.168.1.7"), address("192.168.1.7")));
}

TEST(ClientRules, acceptTheNamesOfThisMachineAsHost) {
  for (const char* host : {"192.168.1.5", "192.168.1.5:4251", "localhost", "LOCALHOST:80", "nas", "nas:4251",
                           "NAS.local", "nas.local.", "nas.example.org"}) {
    EXPECT_TRUE(isHost(host)) << host;
  }
}

TEST(ClientRules, refuseOtherHosts) {
  for (const char* host : {"evil.example", "192.168.1.6", "nas.evil.example", "localhost.evil.example", "",
                           ":4251", "nas:port", "nas:123456", "[::1]", "[nas]", "nas local", "nas/x",
                           "nas@evil.example", "192.168.1.5.evil.example", "0", "127.0.0.1"}) {
    EXPECT_FALSE(isHost(host)) << host;
  }
}

TEST(ClientRules, acceptTheHostsThatTheUserNames) {
  ClientRules::Settings settings;
  settings.hosts = {"photos.example.net", "203.0.113.9"};
  EXPECT_TRUE(isHost("Photos.Example.net:4251", settings));
  EXPECT_TRUE(isHost("203.0.113.9", settings));
  EXPECT_FALSE(isHost("example.net", settings));
}

TEST(ClientRules, refuseARequestWithoutHostOrWithTwo) {
  RawRequest request = requestWith("nas");
  request.fields.emplace_back("host", "nas");
  EXPECT_FALSE(rules().clientOf(request).isHostAllowed);
  request.fields.clear();
  EXPECT_FALSE(rules().clientOf(request).isHostAllowed);
}

TEST(ClientRules, ignoreForwardedFieldsOfOrdinaryClients) {
  RawRequest request = requestWith("evil.example");
  request.fields.emplace_back("X-Forwarded-For", "127.0.0.1");
  request.fields.emplace_back("X-Forwarded-Host", "nas");
  request.fields.emplace_back("X-Forwarded-Proto", "https");
  const WebClient client = rules().clientOf(request);
  EXPECT_EQ(client.address, "192.168.1.7");
  EXPECT_FALSE(client.isHostAllowed);
  EXPECT_FALSE(client.isSecure);
}

TEST(ClientRules, believeAProxy) {
  ClientRules::Settings settings;
  settings.proxies = list("192.168.1.7");
  RawRequest request = requestWith("backend");
  request.fields.emplace_back("X-Forwarded-For", "8.8.8.8, 10.0.0.9, 192.168.1.7");
  request.fields.emplace_back("X-Forwarded-Host", "nas");
  request.fields.emplace_back("X-Forwarded-Proto", "HTTPS");
  const WebClient client = rules(settings).clientOf(request);
  EXPECT_EQ(client.address, "10.0.0.9");  // the last one that is no proxy
  EXPECT_TRUE(client.isAllowed);
  EXPECT_TRUE(client.isHostAllowed);
  EXPECT_TRUE(client.isSecure);
}

TEST(ClientRules, refuseClientsBehindAProxyThatAreNotAllowed) {
  ClientRules::Settings settings;
  settings.proxies = list("192.168.1.7");
  for (const auto& [forwarded, isAllowed] : {std::pair{"8.8.8.8", false},
                                             {"2001:db8::1", false},
                                             {"fd00::1", true},
                                             {"fe80::1", true},
                                             {"nonsense", false},
                                             {"10.0.0.9", true}}) {
    RawRequest request = requestWith("nas");
    request.fields.emplace_back("X-Forwarded-For", forwarded);
    EXPECT_EQ(rules(settings).clientOf(request).isAllowed, isAllowed) << forwarded;
  }
}

TEST(ClientRules, takeTheProxyItselfWithoutForwardedAddress) {
  ClientRules::Settings settings;
  settings.proxies = list("192.168.1.7");
  EXPECT_EQ(rules(settings).clientOf(requestWith("nas")).address, "192.168.1.7");
}

TEST(HostField, isReducedToItsName) {
  EXPECT_EQ(hostOf("[FE80::1]:80"), "fe80::1");
  EXPECT_EQ(hostOf("[fe80::1"), "");
  EXPECT_EQ(hostOf("[fe80::1]x"), "");
  EXPECT_EQ(hostOf("a:"), "a");
  EXPECT_EQ(hostOf(std::string(256, 'a')), "");
}

}  // namespace
}  // namespace moxtel
