#include "web/WebLibraries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "library/database/LibraryDatabases.h"
#include "platform/loop/CoreLoop.h"
#include "tests/fakes/RecordingMessages.h"
#include "tests/library/ServedLibrary.h"
#include "tests/web/PageFixture.h"
#include "web/LibraryCatalog.h"
#include "web/LibraryReader.h"
#include "web/http/HttpConnections.h"

namespace moxtel::test {

namespace {

namespace fs = std::filesystem;
using makelibrary::LibraryKind;

class WebLibrariesTest : public testing::Test {
 protected:
  std::string make(const std::string& name, std::size_t photos = 60, std::uint64_t seed = 1) {
    return makeSampleLibrary(folder_.path() / name, LibraryKind::IPhoto, photos, seed);
  }
  // Asks until the answer is as wanted, for what happens on another thread.
  static bool becomes(const std::function<bool()>& isSo) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!isSo()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::yield();
    }
    return true;
  }

  TemporaryFolder folder_;
};

// Else phones that all ask at once would get 503.
TEST_F(WebLibrariesTest, letsEveryConnectionWaitForALibrary) {
  EXPECT_GE(static_cast<std::size_t>(LibraryReader::kMostWaiting), HttpConnections::Limits{}.inAll);
}

TEST_F(WebLibrariesTest, hasNoneWithoutALibrary) {
  Page page(std::nullopt);
  EXPECT_EQ(page.json("/api/1/libraries")["libraries"], Json::array());
  EXPECT_EQ(page.fetch("/").type, "text/html");
}

TEST_F(WebLibrariesTest, leadsToTheOnlyLibrary) {
  Page page(make("One"));
  const HttpReply reply = page.fetch("/");
  EXPECT_EQ(reply.status, 302);
  EXPECT_EQ(reply.headers.at(0), std::pair(std::string("Location"), page.root()));
  EXPECT_EQ(page.fetch(page.root()).type, "text/html");
  EXPECT_EQ(page.fetch(page.root() + "list/album:1/photo/3").type, "text/html");
}

TEST_F(WebLibrariesTest, handsFilesOn) {
  Page page(make("One"));
  EXPECT_EQ(page.fetch(page.root() + "thumb/12").type, "image/jpeg");
  EXPECT_EQ(page.fetch(page.root() + "api/1/movie/12").type, "image/jpeg");
  EXPECT_EQ(page.fetch(page.root() + "api/1/zip/all").type, "image/jpeg");
  EXPECT_EQ(page.fetch("/l/unknown1/thumb/12").status, 404);
}

TEST_F(WebLibrariesTest, findsTheLibrariesOfADisk) {
  const std::string served = make("disk/A", 60, 1);
  make("disk/more/B.photolibrary", 70, 2);
  makeSampleLibrary(folder_.path() / "disk/C.photoslibrary", LibraryKind::Photos11, 60, 3);
  Page page(served, "relative:" + (folder_.path() / "disk").string() + ":/nowhere");
  Json libraries = page.json("/api/1/libraries")["libraries"];
  ASSERT_EQ(libraries.size(), 3U);
  EXPECT_EQ(libraries[0]["served"], true);
  // None of them was opened: they are counted in the background.
  EXPECT_TRUE(becomes([&] {
    libraries = page.json("/api/1/libraries")["libraries"];
    return libraries[0].contains("photos") && libraries[1].contains("photos") &&
           libraries[2].contains("photos");
  }));
  std::set<std::string> names, ids;
  for (const Json& each : libraries) {
    names.insert(each["name"].get<std::string>() + " " + each["kind"].get<std::string>());
    ids.insert(each["id"].get<std::string>());
    EXPECT_EQ(each["id"].get<std::string>().size(), 8U);
    EXPECT_EQ(each["state"], "ready");
    EXPECT_EQ(page.libraries().nameOf(each["id"].get<std::string>()), each["name"].get<std::string>());
    EXPECT_LE(each["first"].get<int>(), each["last"].get<int>());
    // Events without photos do not count: they are dated 0, which is 2001.
    EXPECT_GT(each["first"].get<int>(), 2001);
    const Json library = page.json("/l/" + each["id"].get<std::string>() + "/api/1/library");
    EXPECT_EQ(library["state"], "ready");
    EXPECT_EQ(library["photos"], each["photos"]);
  }
  EXPECT_EQ(names, (std::set<std::string>{"A iPhoto", "B iPhoto", "C Photos"}));
  EXPECT_EQ(ids.size(), 3U);
  EXPECT_EQ(page.libraries().nameOf("unknown0"), "");
  EXPECT_EQ(page.fetch("/").type, "text/html");
}

// It has iPhoto's file names.
TEST_F(WebLibrariesTest, namesThePhotosLibraryThatIsNotServed) {
  const std::string path = make("One");
  {
    OtherProcess photos(path + "/Database/apdb/Library.apdb");
    ASSERT_EQ(photos.execute("ALTER TABLE RKVersion RENAME COLUMN projectUuid TO momentUuid"), 0);
  }
  Page page(path);
  Json library;
  ASSERT_TRUE(becomes([&] {
    const Json libraries = page.json("/api/1/libraries")["libraries"];
    if (!libraries.empty()) library = libraries[0];
    return !library.empty() && library["kind"] != "";
  }));
  EXPECT_EQ(library["kind"], "Photos");
  EXPECT_EQ(library["state"], "unreadable");
  EXPECT_EQ(page.json(page.root() + "api/1/library")["kind"], "Photos");
}

TEST_F(WebLibrariesTest, distinguishesACopyOfALibrary) {
  const std::string one = make("A");
  fs::copy(one, folder_.path() / "B", fs::copy_options::recursive);
  Page page(one, folder_.path().string());
  const Json libraries = page.json("/api/1/libraries")["libraries"];
  ASSERT_EQ(libraries.size(), 2U);
  EXPECT_NE(libraries[0]["id"], libraries[1]["id"]);
}

TEST_F(WebLibrariesTest, opensFourAtMost) {
  std::string others;
  for (int i = 0; i < 6; ++i) make("disk/L" + std::to_string(i), 60, 10 + i);
  Page page(std::nullopt, (folder_.path() / "disk").string());
  const Json libraries = page.json("/api/1/libraries")["libraries"];
  ASSERT_EQ(libraries.size(), 6U);
  std::vector<std::shared_ptr<OpenWebLibrary>> held;
  const auto open = [&](std::size_t i) {
    return page.libraries().withLibrary(
        libraries[i]["id"].get<std::string>(),
        [&](const std::shared_ptr<OpenWebLibrary>& library) { held.push_back(library); });
  };
  for (std::size_t i = 0; i < 4; ++i) EXPECT_TRUE(open(i));
  EXPECT_FALSE(open(4));
  held.erase(held.begin() + 1);
  EXPECT_TRUE(open(4));
  EXPECT_FALSE(open(5));
  held.clear();
  EXPECT_TRUE(open(5));
}

TEST_F(WebLibrariesTest, saysThatTheLibraryIsAwayAndComesBack) {
  const std::string path = make("A");
  Page page(path);
  const std::string version = page.api("list/all")["version"];
  const std::string away = (folder_.path() / "away").string();
  fs::rename(path, away);
  EXPECT_TRUE(becomes([&] { return page.api("library")["state"] == "away"; }));
  EXPECT_EQ(page.apiStatus("albums"), 503);
  EXPECT_EQ(page.apiStatus("list/all"), 503);
  fs::rename(away, path);
  EXPECT_TRUE(becomes([&] { return page.api("library")["state"] == "ready"; }));
  EXPECT_EQ(page.api("list/all")["version"], version);
}

TEST_F(WebLibrariesTest, noticesAnotherLibraryInItsPlace) {
  const std::string path = make("A", 60, 1);
  const std::string other = make("B", 90, 2);
  Page page(path);
  const Json before = page.api("list/all");
  fs::rename(path, folder_.path() / "old");
  fs::rename(other, path);
  EXPECT_TRUE(becomes([&] { return page.api("library")["version"] != before["version"]; }));
  EXPECT_NE(page.api("list/all")["count"], before["count"]);
  EXPECT_EQ(page.apiStatus("list/all/0?v=" + before["version"].get<std::string>()), 410);
}

// A database of Photos that nothing writes to is read in place.
TEST_F(WebLibrariesTest, readsAgainWhatChangedWhileItWasRead) {
  const std::string path = makeSampleLibrary(folder_.path() / "A", LibraryKind::Photos5, 60);
  const std::string file = path + "/database/Photos.sqlite";
  fs::remove(file + "-wal");
  fs::remove(file + "-shm");
  Page page(path);
  const std::string before = page.api("list/all")["version"];
  std::vector<std::string> versions;  // at the start of each run
  std::promise<void> done;
  const auto task = [&](OpenLibrary& open) {
    versions.push_back(versionText(open.version()));
    EXPECT_TRUE(open.databases().run(DatabaseFile::Library, "SELECT modelId FROM RKVersion", {}).step());
    if (versions.size() == 1) fs::last_write_time(file, fs::last_write_time(file) + std::chrono::seconds(1));
    open.endReading();
    done.set_value();
  };
  const std::string id = page.root().substr(3, 8);
  ASSERT_TRUE(page.libraries().withLibrary(
      id, [&](const auto& library) { EXPECT_TRUE(library && library->post(task)); }));
  ASSERT_EQ(done.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
  ASSERT_EQ(versions.size(), 2);
  EXPECT_EQ(versions[0], before);
  EXPECT_NE(versions[1], before);
}

TEST_F(WebLibrariesTest, endsWhileRequestsWait) {
  const std::string path = make("A", 2'000);
  for (int round = 0; round < 5; ++round) {
    auto page = std::make_unique<Page>(path, "", folder_.path().string());
    const std::string root = page->root();
    std::vector<std::future<HttpReply>> replies;
    for (int i = 0; i < 50; ++i) {
      auto responder = std::make_shared<WaitingResponder>();
      replies.push_back(responder->future());
      page->start(root + "api/1/" + (i % 2 ? "albums" : "library"), responder);
    }
    page = nullptr;
    for (auto& reply : replies) {
      const int status = reply.get().status;
      EXPECT_TRUE(status == 200 || status == 503) << status;
    }
  }
}

// A task may be the last one that holds a library whose threads then have to be ended.
TEST_F(WebLibrariesTest, waitsForTheTasksAtTheEnd) {
  const std::string path = make("A");
  for (int round = 0; round < 10; ++round) {
    std::promise<void> begun;
    std::weak_ptr<OpenWebLibrary> watched;
    std::atomic<bool> ended{false};
    {
      Page page(path);
      const auto take = [&](const std::shared_ptr<OpenWebLibrary>& library) {
        watched = library;
        const auto task = [&, library](OpenLibrary&) {
          begun.set_value();
          // Until the libraries end.
          while (library->postLong([](OpenLibrary&) {})) std::this_thread::yield();
          ended = true;
        };
        EXPECT_TRUE(library->post(task));
      };
      ASSERT_TRUE(page.libraries().withLibrary(page.root().substr(3, 8), take));
      begun.get_future().wait();
    }
    EXPECT_TRUE(ended);
    EXPECT_TRUE(watched.expired());
  }
}

// One of the threads that read a library noticed that what was read of a file is outdated.
TEST_F(WebLibrariesTest, agreesOnTheVersion) {
  OpenLibraryOptions options;
  options.outdatedCount = std::make_shared<std::atomic<std::uint64_t>>(0);
  const std::string path = make("A");
  CoreLoop loop;
  RecordingMessages messages;
  OpenLibrary one(loop, messages, path, options), other(loop, messages, path, options);
  EXPECT_EQ(one.version(), other.version());
  const std::uint64_t before = one.version();
  ++*options.outdatedCount;
  EXPECT_TRUE(one.refresh());
  EXPECT_TRUE(other.refresh());
  EXPECT_NE(one.version(), before);
  EXPECT_EQ(one.version(), other.version());
}

TEST_F(WebLibrariesTest, answersManyWhileTheLibraryChanges) {
  const std::string path = make("A", 300);
  const std::string away = (folder_.path() / "away").string();
  const std::string other = make("B", 400, 7);
  Page page(path, "", (folder_.path() / "cache").string());
  const std::string root = page.root();
  std::atomic<bool> isEnding{false};
  std::atomic<int> answers{0};
  std::vector<std::thread> clients;
  for (int i = 0; i < 32; ++i) {
    clients.emplace_back([&, i] {
      const char* addresses[] = {"api/1/library",       "api/1/list/all",        "api/1/albums",
                                 "api/1/photo/3",       "api/1/list/search:img", "thumb/3",
                                 "api/1/list/all/0?v=0"};
      for (int n = i; !isEnding; ++n) {
        const int status = page.fetch(root + addresses[n % 7]).status;
        EXPECT_TRUE(status == 200 || status == 503 || status == 404 || status == 410) << status;
        ++answers;
      }
    });
  }
  for (int round = 0; round < 3; ++round) {
    const int before = answers;
    becomes([&] { return answers > before + 200; });
    fs::rename(path, away);
    page.libraries().setServed(path);
    becomes([&] { return answers > before + 400; });
    fs::rename(round % 2 ? away : other, path);
    if (round % 2 == 0) fs::rename(away, other);
  }
  isEnding = true;
  for (std::thread& client : clients) client.join();
}

class SearchTest : public WebLibrariesTest {
 protected:
  static bool isReady(Page& page) {
    return becomes([&] { return page.api("library")["search"] == "ready"; });
  }
  static std::vector<std::int64_t> found(Page& page, const std::string& words) {
    std::string escaped;
    for (const char c : words)
      escaped += c == ' '   ? "%20"
                 : c == '%' ? "%25"
                 : c == '?' ? "%3f"
                 : c == '/' ? "%2f"
                            : std::string(1, c);
    return page.photosOf("search:" + escaped);
  }
  static std::size_t count(Page& page, const std::string& words) { return found(page, words).size(); }
  const std::string cache_ = (folder_.path() / "cache").string();
};

TEST_F(SearchTest, findsNoPhotosOfSharedAlbums) {
  Page page(makeSampleLibrary(folder_.path() / "P", LibraryKind::Photos5, 100), "", cache_);
  ASSERT_TRUE(isReady(page));
  const Json albums = page.api("albums")["albums"];
  for (const Json& album : albums) {
    if (album["name"] != "Shared with the family") continue;
    for (const std::int64_t photo : page.photosOf(album["list"])) {
      const auto named = found(page, page.api("photo/" + std::to_string(photo))["file"]);
      EXPECT_EQ(std::count(named.begin(), named.end(), photo), 0) << photo;
    }
  }
  EXPECT_GT(count(page, "jpg"), 0U);
}

TEST_F(SearchTest, findsPhotosByWhatIsSaidOfThem) {
  Page page(make("A", 400), "", cache_);
  EXPECT_EQ(page.fetch(page.root() + "api/1/list/search:img").status, 503);
  ASSERT_TRUE(isReady(page));
  for (const char* name : {"people", "keywords", "events", "albums"}) {
    const Json lists = page.api(name);
    for (const Json& each : lists[name]) {
      const std::string title = each["name"];
      if (title.empty() || each["count"] == 0 || each.value("kind", "") == "folder") continue;
      const auto members = page.photosOf(each["list"]);
      const auto photos = found(page, '"' + title + '"');
      const std::set<std::int64_t> all(photos.begin(), photos.end());
      for (const std::int64_t photo : members)
        EXPECT_TRUE(all.contains(photo)) << name << " " << title << " " << photo;
    }
  }
}

TEST_F(SearchTest, agreesWithWhatItsPhotosSay) {
  Page page(make("A", 300), "", cache_);
  ASSERT_TRUE(isReady(page));
  std::map<std::string, std::set<std::int64_t>> expected;
  for (const std::int64_t id : page.photosOf("all")) {
    const Json photo = page.api("photo/" + std::to_string(id));
    const std::string date = photo.value("date", "");
    if (!date.empty()) {
      expected[date.substr(0, 4)].insert(id);
      expected[date.substr(0, 7)].insert(id);
      expected[date.substr(0, 10)].insert(id);
      if (date.substr(5, 2) == "07") expected["juli"].insert(id);
      if (date.substr(5, 2) == "07") expected["July"].insert(id);
      if (date.substr(0, 4) < "2010") expected["before:2010"].insert(id);
      if (date.substr(0, 4) > "2010") expected["after:2010"].insert(id);
    }
    if (photo["rating"] >= 4) expected["rating:4"].insert(id);
    for (const Json& person : photo["people"])
      expected["person:\"" + person["name"].get<std::string>() + "\""].insert(id);
    expected["file " + photo.value("file", "")].insert(id);
  }
  ASSERT_GT(expected.size(), 20U);
  for (const auto& [words, photos] : expected) {
    std::string escaped;
    for (const char c : words.starts_with("file ") ? words.substr(5) : words)
      escaped += c == ' '   ? "%20"
                 : c == '"' ? "%22"
                 : c == '%' ? "%25"
                 : c == '?' ? "%3f"
                            : std::string(1, c);
    const auto found = page.photosOf("search:" + escaped);
    const std::set<std::int64_t> ids(found.begin(), found.end());
    for (const std::int64_t id : photos) EXPECT_TRUE(ids.contains(id)) << words << " " << id;
    // A name may be the beginning of another one.
    if (words.find(':') != std::string::npos && !words.starts_with("person:")) {
      EXPECT_EQ(ids, photos) << words;
    }
  }
}

TEST_F(SearchTest, keepsItsIndexAndMakesADamagedOneAgain) {
  const std::string path = make("A", 200);
  std::size_t found = 0;
  {
    Page page(path, "", cache_);
    ASSERT_TRUE(isReady(page));
    found = count(page, "img");
  }
  EXPECT_GT(found, 0U);
  const auto files = [&] {
    std::vector<fs::path> all;
    for (const auto& each : fs::directory_iterator(cache_ + "/search")) all.push_back(each.path());
    return all;
  };
  ASSERT_EQ(files().size(), 1U);
  const auto made = fs::last_write_time(files()[0]);
  {
    Page page(path, "", cache_);
    ASSERT_TRUE(isReady(page));
    EXPECT_EQ(count(page, "img"), found);
    EXPECT_EQ(fs::last_write_time(files()[0]), made);
  }
  fs::resize_file(files()[0], 5'000);
  Page page(path, "", cache_);
  ASSERT_TRUE(isReady(page));
  EXPECT_TRUE(becomes([&] {
    page.api("library");
    return page.fetch(page.root() + "api/1/list/search:img").status == 200;
  }));
  EXPECT_EQ(count(page, "img"), found);
}

TEST_F(SearchTest, survivesHostileWords) {
  Page page(make("A", 60), "", cache_);
  ASSERT_TRUE(isReady(page));
  for (const char* words : {"%22", "a%22 OR %22b", "NEAR(a", "%00", "*", "a*", "{x}:y", "-a", "^b", "%ff",
                            "person:%22", "';DROP TABLE photos;--", "..%2f..%2fetc", ""}) {
    const int status = page.fetch(page.root() + "api/1/list/search:" + words).status;
    EXPECT_TRUE(status == 200 || status == 404) << words << " " << status;
  }
}

TEST_F(SearchTest, suggestsLists) {
  Page page(make("A", 400), "", cache_);
  const Json people = page.api("people")["people"];
  ASSERT_FALSE(people.empty());
  const std::string name = people[0]["name"];
  const Json lists = page.api("suggest?q=" + name.substr(0, 3))["lists"];
  ASSERT_FALSE(lists.empty());
  EXPECT_EQ(lists[0]["kind"], "person");
  EXPECT_LE(lists.size(), 12U);
  EXPECT_EQ(page.api("suggest?q=")["lists"], Json::array());
  EXPECT_LE(page.api("suggest?q=a")["lists"].size(), 12U);
}

TEST(LibraryIdTest, hasEightLetters) {
  EXPECT_EQ(libraryIdOf("").size(), 8U);
  EXPECT_NE(libraryIdOf("/a"), libraryIdOf("/b"));
  EXPECT_EQ(libraryIdOf("/a"), libraryIdOf("/a"));
}

}  // namespace

}  // namespace moxtel::test
