#include "platform/files/SecretFile.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;

std::string contentsOf(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(SecretFile, isForThisUserAlone) {
  const TemporaryFolder folder;
  const fs::path path = folder.path() / "a" / "b" / "secret";
  EXPECT_EQ(writeSecretFile(path, "text"), "");
  EXPECT_EQ(contentsOf(path), "text");
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::status(folder.path() / "a").permissions(), fs::perms::owner_all);
}

TEST(SecretFile, replacesAFileThatOthersCouldRead) {
  const TemporaryFolder folder;
  const fs::path path = folder.path() / "secret";
  std::ofstream(path) << "older and longer";
  fs::permissions(path, fs::perms::others_read, fs::perm_options::add);
  EXPECT_EQ(writeSecretFile(path, "new"), "");
  EXPECT_EQ(contentsOf(path), "new");
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(SecretFile, followsNoLink) {
  const TemporaryFolder folder;
  const fs::path other = folder.path() / "other";
  std::ofstream(other) << "untouched";
  fs::create_symlink(other, folder.path() / "secret");
  fs::create_symlink(other, folder.path() / "secret.new");
  EXPECT_EQ(writeSecretFile(folder.path() / "secret", "text"), "");
  EXPECT_EQ(contentsOf(other), "untouched");
  EXPECT_EQ(contentsOf(folder.path() / "secret"), "text");
}

TEST(SecretFile, saysWhyItCannotBeWritten) {
  const TemporaryFolder folder;
  std::ofstream(folder.path() / "a") << "a file";
  EXPECT_EQ(writeSecretFile(folder.path() / "a" / "secret", "text"), "Not a directory");
}

TEST(RandomBytes, fillThePlace) {
  std::array<std::uint8_t, 64> a{};
  std::array<std::uint8_t, 64> b{};
  fillWithRandomBytes(a);
  fillWithRandomBytes(b);
  EXPECT_NE(a, b);
}

}  // namespace
}  // namespace moxtel
