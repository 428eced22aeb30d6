// moxtel-movie-converter FFMPEG FORMAT OUTPUT < MOVIE: limits itself, and is then replaced by ffmpeg, which
// converts the movie to H.264 and AAC and prints its progress. The movie is a regular file. OUTPUT is a new
// file in a folder of its own, the only place where ffmpeg can write. It opens no other files than this
// movie, its libraries and their settings, and makes no sockets or processes. Exit status 0 means that the
// output is complete.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/process/Confinement.h"

namespace {

constexpr std::uint64_t kMemory = std::uint64_t{4} << 30;       // bytes of address space
constexpr std::uint64_t kWrittenFile = std::uint64_t{8} << 30;  // bytes
constexpr std::uint64_t kProcessorSeconds = 24 * 3600;

// The kernel follows this name to the open file, whatever its path.
constexpr const char* kStandardInput = "/proc/self/fd/0";

moxtel::FileRights rightsFor(const std::string& program, const std::string& output) {
  moxtel::FileRights rights;
  rights.readable = {
      kStandardInput,     "/usr/lib",          "/usr/local/lib", "/usr/share",   "/lib",
      "/etc/ld.so.cache", "/etc/alternatives", "/dev/null",      "/dev/urandom", "/sys/devices/system/cpu"};
  rights.writable = std::filesystem::path(output).parent_path();
  rights.runnable = moxtel::sharedLibraryFolders();
  rights.runnable.push_back(program);
  return rights;
}

// The format is given, so that no file chooses a reader that opens other files by their names.
std::vector<std::string> wordsFor(const std::string& program, const std::string& format,
                                  const std::string& output) {
  return {program, "-nostdin", "-hide_banner", "-loglevel", "error", "-protocol_whitelist", "file", "-f",
          format, "-i", std::string("file:") + kStandardInput, "-map", "0:v:0", "-map", "0:a:0?",
          "-map_metadata", "-1", "-threads", "4",
          // Even sides, at most those of full HD; square pixels.
          "-vf", "scale=w='trunc(min(1920,iw*sar+0.5)/2)*2':h='max(2,trunc((ow/dar+0.5)/2)*2)',setsar=1",
          "-c:v", "libx264", "-preset", "veryfast", "-crf", "21", "-pix_fmt", "yuv420p", "-c:a", "aac", "-ac",
          "2", "-b:a", "128k", "-movflags", "+faststart", "-progress", "pipe:1", "-f", "mp4", "-y",
          "file:" + output};
}

int run(const std::string& program, const std::string& format, const std::string& output) {
  moxtel::confineThisProcess({kMemory, kProcessorSeconds, kWrittenFile}, rightsFor(program, output));
  moxtel::becomeProgram(wordsFor(program, format, output));
  return EXIT_FAILURE;
}

}  // namespace

int main(int count, char** words) { return count == 4 ? run(words[1], words[2], words[3]) : EXIT_FAILURE; }
