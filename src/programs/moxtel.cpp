// moxtel: queries a server from the command line.
#include <exception>
#include <iostream>

#include "client/NetworkServerFinder.h"
#include "platform/files/PartialFile.h"
#include "platform/system/SystemLog.h"

int main(int argc, char** argv) {
  // Discards the log: the program reports each failure itself.
  moxtel::setSystemLogSink([](std::string_view) {});
  try {
    moxtel::NetworkServerFinder finder;
    moxtel::MoxtelClient client(finder, std::cout, std::cerr, {}, moxtel::isErrorTerminal());
    return client.run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
  } catch (const std::exception& error) {
    std::cerr << "moxtel: " << error.what() << '\n';
    return moxtel::MoxtelClient::kFailure;
  }
}
