#include "app/windows/LibraryOffers.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

class LibraryOffersTest : public testing::Test {
 protected:
  LibraryOffersTest() {
    places.mountTable = [this] { return table; };
    places.folders = [this](const std::string& from) {
      return from == table ? std::vector{folder.path().string()} : std::vector<std::string>();
    };
  }
  void plugIn() {
    makelibrary::MakeLibraryOptions options;
    options.photos = 6;
    options.images = makelibrary::Images::None;
    options.folder = folder.path() / "disk";
    makelibrary::makeLibrary(options);
    table = "another disk";
  }
  bool ends(std::size_t libraries) {
    QElapsedTimer timer;
    timer.start();
    while (!(isDone && found.size() == libraries) && timer.elapsed() < 60'000)
      QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return isDone && found.size() == libraries;
  }

  TemporaryFolder folder;
  std::string table = "a disk";
  LibraryOffers::Places places;
  std::vector<OfferedLibrary> found;
  bool isDone = false;
};

TEST_F(LibraryOffersTest, looksAgainWhenADiskIsPluggedIn) {
  LibraryOffers offers(
      [this](const auto& libraries, bool isSearching) {
        found = libraries;
        isDone = !isSearching;
      },
      places);
  EXPECT_FALSE(isDone);
  offers.setWanted(true);
  EXPECT_TRUE(ends(0));
  plugIn();
  EXPECT_TRUE(ends(1));
  offers.setWanted(false);
  offers.setWanted(false);
}

}  // namespace
}  // namespace moxtel
