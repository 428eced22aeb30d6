// moxtel-database-copier: copies a database with its journals for a server that cannot read it in place. It
// is a process of its own because closing a file drops every lock that the process holds on it.
// CopierProtocol.h describes its arguments and its exit status.
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>

#include "library/database/CopierProtocol.h"
#include "platform/files/FileCopy.h"
#include "platform/process/Confinement.h"

namespace moxtel::copier {
namespace {

constexpr std::array kNames{"/database", "/database-journal", "/database-wal"};
constexpr std::uint64_t kMemory = std::uint64_t{256} << 20;
constexpr std::uint64_t kProcessorSeconds = 600;
constexpr int kUsage = 64;

int fail(const std::string& why) {
  std::cout << why;
  return kFailed;
}

int copyAll(const std::string& folder, std::uint64_t room, std::span<const OpenFile> files) {
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i].path.empty()) continue;
    if (files[i].state != FileState::Open) return fail("'" + files[i].path + "' cannot be read");
    const CopyResult result = copyPrivately(files[i], folder + kNames.at(i), room);
    if (result == CopyResult::TooLarge) return kTooLarge;
    if (result == CopyResult::Failed) return fail(std::generic_category().message(errno));
  }
  return kDone;
}

int run(std::span<char*> words) {
  if (words.size() < 3 || words.size() > 2 + kNames.size()) return kUsage;
  std::uint64_t room = 0;
  const std::string_view bytes = words[1];
  if (std::from_chars(bytes.begin(), bytes.end(), room).ptr != bytes.end()) return kUsage;
  std::array<OpenFile, kNames.size()> files;
  const std::size_t count = words.size() - 2;
  for (std::size_t i = 0; i < count; ++i) files.at(i) = openRegularFile(words[i + 2]);
  // Holes make a file longer than its data.
  confineThisProcess({kMemory, kProcessorSeconds, kUnlimited}, {{}, words[0]});
  return copyAll(words[0], room, std::span(files).first(count));
}

}  // namespace
}  // namespace moxtel::copier

int main(int count, char** words) {
  const auto arguments = std::span(words, static_cast<std::size_t>(count)).subspan(count > 0 ? 1 : 0);
  const int status = moxtel::copier::run(arguments);
  std::cout.flush();
  // Skips what sanitizers do at the exit: they make calls that the confinement refuses.
  std::_Exit(status);
}
