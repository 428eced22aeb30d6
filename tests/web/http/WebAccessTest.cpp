#include "web/http/WebAccess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using std::chrono::hours;
using std::chrono::system_clock;

class WebAccessTest : public ::testing::Test {
 protected:
  WebAccess make(WebAccess::Mode mode = WebAccess::Mode::Key) {
    return WebAccess(mode, file(), 4251,
                     {[this] { return std::chrono::steady_clock::time_point(hours(hours_)); },
                      [this] { return system_clock::time_point(hours(hours_)); }});
  }
  std::string file() const { return (folder_.path() / "a" / "web-access").string(); }

  TemporaryFolder folder_;
  int hours_ = 480'000;
};

RawRequest withField(const char* name, std::string value) {
  RawRequest request;
  request.fields = {{name, std::move(value)}};
  return request;
}

TEST_F(WebAccessTest, makesAKeyAndSixDigits) {
  const WebAccess access = make();
  EXPECT_EQ(access.key().size(), 20u);
  EXPECT_EQ(access.digits().size(), 6u);
  EXPECT_EQ(access.digits().find_first_not_of("0123456789"), std::string::npos);
  EXPECT_EQ(access.storageProblem(), "");
}

TEST_F(WebAccessTest, keepsThemInAFileForThisUserAlone) {
  const std::string key = make().key();
  EXPECT_EQ(make().key(), key);
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(file()).permissions(), perms::owner_read | perms::owner_write);
}

TEST_F(WebAccessTest, replacesADamagedFile) {
  std::filesystem::create_directory(folder_.path() / "a");
  for (const char* text :
       {"", "short\n123456\n", "abcdefghijkmnpqrstuv\n12345\n", "ABCDEFGHIJKMNPQRSTUV\n123456\n"}) {
    std::ofstream(file(), std::ios::trunc) << text;
    EXPECT_EQ(make().key().size(), 20u) << text;
    EXPECT_EQ(make().digits().size(), 6u) << text;
  }
}

TEST_F(WebAccessTest, reportsAFileThatCannotBeWritten) {
  std::ofstream(folder_.path() / "a") << "a file in place of the folder";
  const WebAccess access = make();
  EXPECT_NE(access.storageProblem(), "");
  EXPECT_EQ(access.key().size(), 20u);
}

TEST_F(WebAccessTest, renewsBoth) {
  WebAccess access = make();
  const std::string key = access.key();
  access.renew();
  EXPECT_NE(access.key(), key);
  EXPECT_FALSE(access.isKey(key));
  EXPECT_EQ(make().key(), access.key());
}

TEST_F(WebAccessTest, admitsTheCookie) {
  const WebAccess access = make();
  EXPECT_TRUE(access.isAdmitted(withField("Cookie", "moxtel-4251=" + access.key())));
  EXPECT_TRUE(
      access.isAdmitted(withField("cookie", "a=b; moxtel-4251=old; moxtel-4251=" + access.key() + " ; c")));
}

TEST_F(WebAccessTest, admitsABearer) {
  const WebAccess access = make();
  EXPECT_TRUE(access.isAdmitted(withField("Authorization", "Bearer " + access.key())));
  EXPECT_FALSE(access.isAdmitted(withField("Authorization", "Basic " + access.key())));
  EXPECT_FALSE(access.isAdmitted(withField("Authorization", "Bearer " + access.digits())));
}

TEST_F(WebAccessTest, refusesOthers) {
  const WebAccess access = make();
  for (const std::string& value :
       {std::string(), std::string("moxtel-4251="), std::string("moxtel-4251"), "moxtel-4252=" + access.key(),
        access.key(), "xmoxtel-4251=" + access.key(), "moxtel-4251=" + access.key() + "a",
        "moxtel-4251=" + access.key().substr(1)}) {
    EXPECT_FALSE(access.isAdmitted(withField("Cookie", value))) << value;
  }
  EXPECT_FALSE(access.isAdmitted({}));
}

TEST_F(WebAccessTest, admitsEveryoneWhenItIsOpen) { EXPECT_TRUE(make(WebAccess::Mode::Open).isAdmitted({})); }

TEST_F(WebAccessTest, makesACookieForAYear) {
  const WebAccess access = make();
  EXPECT_EQ(access.cookie(false),
            "moxtel-4251=" + access.key() + "; Path=/; Max-Age=31536000; HttpOnly; SameSite=Lax");
  EXPECT_EQ(access.cookie(true),
            "moxtel-4251=" + access.key() + "; Path=/; Max-Age=31536000; HttpOnly; SameSite=Lax; Secure");
}

TEST_F(WebAccessTest, limitsWrongDigits) {
  WebAccess access = make();
  const std::string right = access.digits();
  const std::string wrong = right == "000000" ? "000001" : "000000";
  for (int i = 0; i < 10; ++i) EXPECT_EQ(access.tryDigits(wrong, "10.0.0.1"), WebAccess::Login::Wrong);
  EXPECT_EQ(access.tryDigits(right, "10.0.0.1"), WebAccess::Login::TooMany);
  EXPECT_EQ(access.tryDigits(right, "10.0.0.2"), WebAccess::Login::Right);
  hours_ += 1;
  EXPECT_EQ(access.tryDigits(right, "10.0.0.1"), WebAccess::Login::Right);
  EXPECT_EQ(access.tryDigits("", "10.0.0.1"), WebAccess::Login::Wrong);
}

TEST_F(WebAccessTest, signsAddressesForHalfADay) {
  WebAccess access = make();
  const std::string signature = access.signatureFor("/l/k/movie/7.mp4");
  EXPECT_EQ(signature.size(), 32u);
  EXPECT_TRUE(access.isSigned("/l/k/movie/7.mp4", signature));
  EXPECT_FALSE(access.isSigned("/l/k/movie/8.mp4", signature));
  EXPECT_FALSE(access.isSigned("/l/k/movie/7.mp4", ""));
  hours_ += 12;
  EXPECT_TRUE(access.isSigned("/l/k/movie/7.mp4", signature));
  hours_ += 12;
  EXPECT_FALSE(access.isSigned("/l/k/movie/7.mp4", signature));
}

TEST_F(WebAccessTest, invalidatesSignaturesWithANewKey) {
  WebAccess access = make();
  const std::string signature = access.signatureFor("/l/k/movie/7.mp4");
  access.renew();
  EXPECT_FALSE(access.isSigned("/l/k/movie/7.mp4", signature));
}

}  // namespace
}  // namespace moxtel
