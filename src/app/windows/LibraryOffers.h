// Looks for libraries while the main window has none to show, and again when a disk is plugged in. Windows'
// thread.
#pragma once

#include <QTimer>
#include <functional>
#include <string>
#include <vector>

#include "app/LibraryFinder.h"

namespace moxtel {

class LibraryOffers final {
 public:
  // Called on the windows' thread with what was found so far; searching: more may follow.
  using Show = std::function<void(const std::vector<OfferedLibrary>& libraries, bool isSearching)>;
  // The table of mounted file systems, and the folders to search, are asked for each time; tests replace
  // them.
  struct Places {
    std::function<std::string()> mountTable;
    std::function<std::vector<std::string>(const std::string& mountTable)> folders;
  };
  explicit LibraryOffers(Show show, Places places = usualPlaces());

  static Places usualPlaces();
  // Begins to look, or ends it. Does nothing if that is so already.
  void setWanted(bool isWanted);

 private:
  void check();

  const Show show_;
  const Places places_;
  QTimer timer_;
  std::string lastTable_;
  LibraryFinder finder_;  // last: its thread posts to the timer
};

}  // namespace moxtel
