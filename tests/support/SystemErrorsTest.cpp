#include "support/SystemErrors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <system_error>

#include "tests/StringTable.h"

namespace moxtel {
namespace {

class SystemErrors : public testing::Test {
 protected:
  ~SystemErrors() override { setTranslator({}); }
};

TEST_F(SystemErrors, areInTheWordsOfTheSystemWithoutATranslation) {
  for (const int error : {EADDRINUSE, EACCES, EIO, EROFS, ENOSPC, ESTALE, ENOTCONN, EXDEV})
    EXPECT_EQ(systemErrorText(error), std::generic_category().message(error));
}

TEST_F(SystemErrors, areInTheUsersLanguage) {
  test::setStringTable({{"Address already in use", "Die Adresse wird schon benutzt"}});
  EXPECT_EQ(systemErrorText(EADDRINUSE), "Die Adresse wird schon benutzt");
}

}  // namespace
}  // namespace moxtel
