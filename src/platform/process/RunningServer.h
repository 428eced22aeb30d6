// Whether a MoxtelServer that runs already has a port. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moxtel {

// True if another process of one of the servers listens on the port of this machine (IPv4). False also where
// this user may not see the files of that process.
bool isPortOfRunningServer(std::int32_t port);

// The inode of the socket that listens on the port, in the kernel's table of IPv4 sockets (/proc/net/tcp, see
// proc(5)); empty where there is none.
std::string listenerOn(std::int32_t port, std::string_view table);

}  // namespace moxtel
