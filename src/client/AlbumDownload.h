// Downloads the photos of an album, event or person into a folder, by the protocol. Blocks the calling
// thread.
//
// Each file gets the name that the library knows, made legal, and the time of the photo. photos.jsonl in the
// folder has a line of JSON for each file that is complete: its name and bytes, and what the server says
// about the photo. The next download into the folder skips these photos. Nothing in the folder is replaced.
#pragma once

#include <cstdint>
#include <ostream>
#include <set>
#include <string>
#include <unordered_map>

#include "client/Download.h"
#include "client/ServerSession.h"

namespace moxtel {

class AlbumDownload final {
 public:
  // Borrows the session and the streams. out gets a summary, err the photos that are missing.
  AlbumDownload(ServerSession& session, std::ostream& out, std::ostream& err, bool isTerminal,
                std::string folder);

  // Empty, or why photos are missing, for the user.
  [[nodiscard]] std::string run(const std::string& id);

 private:
  struct Counts {
    std::uint64_t downloaded = 0;
    std::uint64_t bytes = 0;
    std::uint64_t there = 0;
    std::uint64_t missing = 0;
  };

  std::string list(const std::string& id, Array& photos);
  std::string prepare();
  bool isThere(const std::string& key) const;
  // Empty, or why there is no file.
  std::string fetch(const Value& photo, const std::string& key);
  std::string nameOf(const Value& fileName, const std::string& key, bool isJpeg);
  std::string note(const Value& photo, const Value& infos, const std::string& name, std::uint64_t bytes);
  void summarize(std::size_t photos) const;

  ServerSession& session_;
  std::ostream& out_;
  std::ostream& err_;
  const std::string folder_;
  ProgressLine line_;
  ProgressLine noLine_;
  Counts counts_;
  std::unordered_map<std::string, std::pair<std::string, std::uint64_t>> known_;  // by key: name and bytes
  std::set<std::string> names_;                                                   // without case
};

}  // namespace moxtel
