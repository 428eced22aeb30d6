// What libmicrohttpd itself costs: a program that answers every request with one file, with the options of
// the page's server and without anything else of it. A peer of page_peers.py.
//
//     http-floor PORT FILE      on 127.0.0.1, until a signal ends it
//
// "/buffer": the file from memory. "/file": opened for each request and sent by sendfile.
#include <arpa/inet.h>
#include <fcntl.h>
#include <microhttpd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Served {
  std::string path;
  std::vector<char> bytes;
  std::size_t size = 0;
};

MHD_Response* responseFor(Served& served, bool isFile) {
  if (!isFile)
    return MHD_create_response_from_buffer(served.bytes.size(), served.bytes.data(), MHD_RESPMEM_PERSISTENT);
  return MHD_create_response_from_fd64(served.size, ::open(served.path.c_str(), O_RDONLY | O_CLOEXEC));
}

MHD_Result answer(void* data, MHD_Connection* connection, const char* url, const char*, const char*,
                  const char*, std::size_t*, void** slot) {
  // A reply from within the first call would end the connection.
  if (!*slot) return *slot = data, MHD_YES;
  MHD_Response* const response = responseFor(*static_cast<Served*>(data), std::strcmp(url, "/file") == 0);
  if (!response) return MHD_NO;
  const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
  MHD_destroy_response(response);
  return result;
}

// Large files are sparse, and have no copy in memory.
Served read(const char* path) {
  constexpr std::size_t kLargestCopy = 1 << 20;
  Served served{path, std::vector<char>(kLargestCopy), 0};
  const int file = ::open(path, O_RDONLY | O_CLOEXEC);
  served.size = static_cast<std::size_t>(::lseek(file, 0, SEEK_END));
  const ssize_t count = ::pread(file, served.bytes.data(), served.bytes.size(), 0);
  served.bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  ::close(file);
  return served;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return std::fprintf(stderr, "usage: http-floor PORT FILE\n"), 2;
  Served served = read(argv[2]);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(argv[1])));
  constexpr unsigned kFlags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_TURBO;
  MHD_Daemon* const daemon =
      MHD_start_daemon(kFlags, 0, nullptr, nullptr, &answer, &served, MHD_OPTION_SOCK_ADDR, &address,
                       MHD_OPTION_THREAD_POOL_SIZE, 4U, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                       static_cast<std::size_t>(32768), MHD_OPTION_END);
  if (!daemon) return std::fprintf(stderr, "http-floor: cannot listen\n"), 1;
  ::pause();
  MHD_stop_daemon(daemon);
  return 0;
}
