// moxtel-make-library: writes sample photo libraries, for demonstrations, tests and measurements.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"

using namespace moxtel::makelibrary;

int main(int argc, char** argv) {
  const auto parsed = parseMakeLibraryArguments(std::vector<std::string>(argv + 1, argv + argc));
  if (const auto* message = std::get_if<MakeLibraryMessage>(&parsed)) {
    std::fputs(message->text.c_str(), message->exitStatus == 0 ? stdout : stderr);
    return message->exitStatus;
  }
  try {
    makeLibrary(std::get<MakeLibraryOptions>(parsed));
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "moxtel-make-library: %s\n", problem.what());
    return 1;
  }
  return 0;
}
