#include "platform/process/RunningServer.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace moxtel {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kListening = "0A";

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

bool isServer(const fs::path& process) {
  const std::string name = process.filename().string();
  if (name.find_first_not_of("0123456789") != std::string::npos || name == std::to_string(::getpid()))
    return false;
  const std::string program = contentOf(process / "comm");
  return program == "moxtelserverd\n" || program == "MoxtelServer\n";
}

// File: what the link of a descriptor names.
bool hasOpen(const fs::path& process, const std::string& file) {
  std::error_code error;
  for (fs::directory_iterator each(process / "fd", error), end; !error && each != end;
       each.increment(error)) {
    std::error_code closed;
    if (fs::read_symlink(each->path(), closed) == file) return true;
  }
  return false;
}

}  // namespace

std::string listenerOn(std::int32_t port, std::string_view table) {
  std::istringstream lines{std::string(table)};
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string number, local, remote, state, queues, timer, retransmits, user, timeout, inode;
    fields >> number >> local >> remote >> state >> queues >> timer >> retransmits >> user >> timeout >>
        inode;
    const auto colon = local.find(':');
    if (!fields || state != kListening || colon == std::string::npos) continue;
    if (std::strtol(local.c_str() + colon + 1, nullptr, 16) == port) return inode;
  }
  return {};
}

bool isPortOfRunningServer(std::int32_t port) {
  const std::string inode = listenerOn(port, contentOf("/proc/net/tcp"));
  if (inode.empty()) return false;
  std::error_code error;
  for (fs::directory_iterator process("/proc", error), end; !error && process != end;
       process.increment(error)) {
    if (isServer(process->path()) && hasOpen(process->path(), "socket:[" + inode + "]")) return true;
  }
  return false;
}

}  // namespace moxtel
