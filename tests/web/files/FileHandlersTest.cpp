#include "web/files/FileHandlers.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "library/facts/PhotoFactsReader.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/SamplePlan.h"
#include "pictures/codec/Jpeg.h"
#include "platform/process/ChildProcess.h"
#include "tests/FewDescriptors.h"
#include "tests/library/ServedLibrary.h"
#include "tests/web/files/MovieTest.h"
#include "tests/web/files/RecordingResponder.h"
#include "tests/web/files/TestWebLibrary.h"
#include "web/files/JpegHead.h"
#include "web/files/KnownThumbnails.h"
#include "web/lists/ListMaker.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;
using makelibrary::MasterKind;
using makelibrary::Photo;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;

class FakeSigner final : public AddressSigner {
 public:
  std::string signatureFor(std::string_view path) const override { return "s" + std::to_string(path.size()); }
};

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A library as iPhoto keeps it, whose files the tests change before it is opened.
class FileHandlersTest : public MovieTest {
 protected:
  FileHandlersTest() : plan_(options()) { makelibrary::makeLibrary(options()); }
  ~FileHandlersTest() override {
    close();
    // Reading changes nothing.
    if (!before_.empty()) {
      EXPECT_EQ(test::stateOf(root()), before_);
    }
  }

  makelibrary::MakeLibraryOptions options() const {
    makelibrary::MakeLibraryOptions options;
    options.folder = folder_.path() / "library";
    options.photos = 80;
    options.images = makelibrary::Images::Small;
    options.smartAlbums = true;
    return options;
  }
  fs::path root() const { return folder_.path() / "library"; }
  fs::path master(const Photo& photo) const { return root() / "Masters" / photo.folder / photo.fileName; }
  fs::path thumbnail(const Photo& photo, const std::string& end = "_1024.jpg") const {
    return root() / "Thumbnails" / photo.proxyFolder(photo.versionUuid) / (photo.baseName + end);
  }
  fs::path preview(const Photo& photo) const {
    return root() / "Previews" / photo.proxyFolder(photo.versionUuid) / (photo.baseName + ".jpg");
  }
  // The first photo, shown and not a movie unless it is asked for.
  template <class Is>
  Photo first(Is is) const {
    for (std::size_t i = 0; i < plan_.photoCount(); ++i) {
      Photo photo = plan_.photo(i);
      if (!photo.inTrash && !photo.hidden && is(photo)) return photo;
    }
    ADD_FAILURE() << "no such photo in the sample";
    return {};
  }
  static bool isPlain(const Photo& photo) {
    return photo.kind == MasterKind::Jpeg && !photo.adjusted && photo.upright();
  }
  void execute(const std::string& sql) const {
    test::OtherProcess other(root() / "Database/apdb/Library.apdb");
    EXPECT_EQ(other.execute(sql), 0) << sql;
  }

  void close() {
    if (library_) library_->finish();
    handlers_.reset();
    library_.reset();
  }
  // Opens the library; nothing in it changes from now on.
  void serve(std::uint64_t cacheBytes = 100 << 20, const std::string& referenced = {}) {
    before_ = test::stateOf(root());
    library_ = std::make_shared<TestWebLibrary>(root(), referenced);
    FileHandlersOptions options;
    options.cacheFolder = folder_.path() / "cache";
    options.cacheBytes = cacheBytes;
    options.pictureDecoder = MOXTEL_DECODER;
    options.movieConverter = movieConverter_;
    handlers_ = std::make_unique<FileHandlers>(options, processes_, signer_);
  }
  std::string movieConverter_ = MOXTEL_MOVIE_CONVERTER;
  using Responder = std::shared_ptr<RecordingResponder>;
  Responder get(std::vector<std::string> segments,
                std::vector<std::pair<std::string, std::string>> query = {}) {
    if (!handlers_) serve();
    HttpRequest request;
    request.parameters = std::move(query);
    auto responder = std::make_shared<RecordingResponder>();
    handlers_->handle(library_, request, segments, responder);
    responder->reply();
    return responder;
  }
  Responder get(const std::string& what, const Photo& photo,
                std::vector<std::pair<std::string, std::string>> query = {}) {
    return get({what, std::to_string(photo.versionId)}, std::move(query));
  }
  std::string versionOfLibrary() {
    std::string version;
    EXPECT_TRUE(library_->post([&](OpenLibrary& open) { version = versionText(open.version()); }));
    library_->finish();
    return version;
  }
  std::string json(const std::string& what, const std::string& which,
                   std::vector<std::pair<std::string, std::string>> query = {}) {
    return get({"api", "1", what, which}, std::move(query))->body().value_or("");
  }
  static JpegHead headOf(const Responder& responder) {
    const std::string body = responder->body().value_or("");
    properties::ByteSource source(properties::bytesOf(body));
    const auto head = JpegHead::of(source);
    EXPECT_TRUE(head);
    return head.value_or(JpegHead());
  }
  static PixelBuffer pixelsOf(const Responder& responder) {
    const std::string body = responder->body().value_or("");
    return pixelsOfJpeg(properties::bytesOf(body)).image;
  }

  const makelibrary::SamplePlan plan_;
  FakeSigner signer_;
  SystemProcessRunner processes_;
  std::shared_ptr<TestWebLibrary> library_;
  std::unique_ptr<FileHandlers> handlers_;
  std::map<std::string, std::string> before_;
};

TEST_F(FileHandlersTest, sendsTheFilesOfThumbnailsOfEveryShownPhoto) {
  std::set<std::string> etags;
  for (std::size_t i = 0; i < plan_.photoCount(); ++i) {
    const Photo photo = plan_.photo(i);
    if (photo.inTrash || photo.hidden) continue;
    const Responder thumb = get("thumb", photo);
    EXPECT_EQ(thumb->reply().status, 200) << i;
    EXPECT_EQ(thumb->reply().type, "image/jpeg");
    EXPECT_TRUE(std::holds_alternative<FileBody>(thumb->reply().body));
    EXPECT_EQ(thumb->body(), contentOf(thumbnail(photo)));
    EXPECT_TRUE(etags.insert(thumb->reply().etag).second);
    EXPECT_EQ(get("square", photo)->body(), contentOf(thumbnail(photo, ".jpg")));
  }
}

TEST_F(FileHandlersTest, sendsThumbnailsThatItKnowsWithoutTheLibrarysThread) {
  const Photo photo = first(isPlain);
  const Responder before = get("thumb", photo);
  library_->recent = versionOfLibrary();
  library_->isBusy = true;
  const Responder again = get("thumb", photo);
  EXPECT_EQ(again->reply().status, 200);
  EXPECT_EQ(again->reply().type, "image/jpeg");
  EXPECT_EQ(again->reply().etag, before->reply().etag);
  EXPECT_EQ(again->body(), contentOf(thumbnail(photo)));
  EXPECT_EQ(get("square", photo)->reply().status, 503) << "another file";
}

TEST_F(FileHandlersTest, looksForAThumbnailAgainInAnotherVersionOrWithoutARecentLook) {
  const Photo photo = first(isPlain);
  get("thumb", photo);
  library_->isBusy = true;
  EXPECT_EQ(get("thumb", photo)->reply().status, 503);
  library_->recent = "another";
  EXPECT_EQ(get("thumb", photo)->reply().status, 503);
}

TEST_F(FileHandlersTest, looksForAThumbnailAgainWhenItsFileWasReplaced) {
  const Photo photo = first(isPlain);
  get("thumb", photo);
  library_->recent = versionOfLibrary();
  before_.clear();
  fs::remove(thumbnail(photo));
  fs::create_symlink(thumbnail(photo, ".jpg"), thumbnail(photo));
  library_->isBusy = true;
  EXPECT_EQ(get("thumb", photo)->reply().status, 503);
}

TEST_F(FileHandlersTest, keepsNoThumbnailOfAHiddenPhoto) {
  for (std::size_t i = 0; i < plan_.photoCount(); ++i) {
    const Photo photo = plan_.photo(i);
    if (!photo.inTrash && !photo.hidden) continue;
    get("thumb", photo);
    library_->recent = versionOfLibrary();
    EXPECT_EQ(get("thumb", photo)->reply().status, 404);
  }
}

TEST_F(FileHandlersTest, keepsABoundedNumberOfThumbnails) {
  serve();
  KnownThumbnails known;
  const OpenFile file = openRegularFile(thumbnail(first(isPlain)));
  constexpr auto kEnd = static_cast<std::int64_t>(2 * KnownThumbnails::kMost);
  for (std::int64_t id = 0; id < kEnd; ++id) {
    known.keep(*library_, "9f3c", id, false, file);
    ASSERT_LE(known.size(), KnownThumbnails::kMost);
  }
  library_->recent = "9f3c";
  EXPECT_TRUE(known.open(*library_, kEnd - 1, false));
}

TEST_F(FileHandlersTest, keepsPicturesUnderTheLibrarysVersion) {
  const Photo photo = first(isPlain);
  using Cache = HttpReply::Cache;
  EXPECT_EQ(get("thumb", photo, {{"v", "9f3c"}})->reply().cache, Cache::Immutable);
  EXPECT_EQ(get("thumb", photo, {{"v", "older"}})->reply().cache, Cache::Private);
  EXPECT_EQ(get("preview", photo)->reply().cache, Cache::Private);
}

TEST_F(FileHandlersTest, knowsNoHiddenPhotosAndNoneInTheTrash) {
  int seen = 0;
  for (std::size_t i = 0; i < plan_.photoCount(); ++i) {
    const Photo photo = plan_.photo(i);
    if (!photo.inTrash && !photo.hidden) continue;
    ++seen;
    for (const char* what : {"thumb", "square", "preview", "large", "original", "edited"})
      EXPECT_EQ(get(what, photo)->reply().status, 404) << what;
    EXPECT_EQ(get({"face", std::to_string(photo.versionId), "0"})->reply().status, 404);
    EXPECT_EQ(get({"movie", std::to_string(photo.versionId) + ".mov"})->reply().status, 404);
    EXPECT_EQ(get({"api", "1", "movie", std::to_string(photo.versionId)})->reply().status, 404);
    // The hidden original beside each version.
    EXPECT_EQ(get({"thumb", std::to_string(photo.originalVersionId)})->reply().status, 404);
  }
  EXPECT_GE(seen, 2);
}

TEST_F(FileHandlersTest, knowsNoOtherAddresses) {
  const std::string id = std::to_string(first(isPlain).versionId);
  for (const std::vector<std::string>& segments :
       std::vector<std::vector<std::string>>{{"thumb"},
                                             {"thumb", ""},
                                             {"thumb", "x"},
                                             {"thumb", "-1"},
                                             {"thumb", "0" + id},
                                             {"thumb", "+" + id},
                                             {"thumb", id + " "},
                                             {"thumb", "99999999999999999999"},
                                             {"thumb", "9007199254740991"},
                                             {"thumb", id, "x"},
                                             {"face", id},
                                             {"face", id, "-1"},
                                             {"face", id, "99"},
                                             {"face", id, "../../x"},
                                             {"nothing", id},
                                             {"movie", id},
                                             {"movie", id + ".avi"},
                                             {"movie", id + ".mp4"},
                                             {"movie", ".mp4"},
                                             {"api", "1", "movie", "x"},
                                             {"api", "1", "other", id},
                                             {"zip", "album:99"},
                                             {"zip"},
                                             {}})
    EXPECT_EQ(get(segments)->reply().status, 404) << testing::PrintToString(segments);
  EXPECT_EQ(get({"zip", "all"}, {{"what", "everything"}})->reply().status, 400);
}

TEST_F(FileHandlersTest, refusesWhatALibraryCannotTake) {
  serve();
  library_->isBusy = true;
  const std::string id = std::to_string(first(isPlain).versionId);
  for (const std::vector<std::string>& segments :
       std::vector<std::vector<std::string>>{{"thumb", id},
                                             {"face", id, "0"},
                                             {"preview", id},
                                             {"original", id},
                                             {"edited", id},
                                             {"zip", "all"},
                                             {"movie", id + ".mov"},
                                             {"api", "1", "movie", id},
                                             {"api", "1", "zip", "all"}})
    EXPECT_EQ(get(segments)->reply().status, 503) << testing::PrintToString(segments);
}

TEST_F(FileHandlersTest, sendsAnOriginalThatIsSmallEnoughAsThePreview) {
  const Photo photo = first(isPlain);
  const Photo turned =
      first([](const Photo& p) { return p.kind == MasterKind::Jpeg && !p.adjusted && !p.upright(); });
  EXPECT_EQ(get("preview", photo)->body(), contentOf(master(photo)));
  // Its own Exif orientation is the right one.
  EXPECT_EQ(get("large", turned)->body(), contentOf(master(turned)));
}

TEST_F(FileHandlersTest, turnsAnOriginalThatTheUserTurnedByItsExifSegment) {
  const Photo photo = first(isPlain);
  execute("UPDATE RKVersion SET rotation = 90 WHERE modelId = " + std::to_string(photo.versionId));
  const Responder preview = get("preview", photo);
  EXPECT_EQ(headOf(preview).orientation(), 6);
  EXPECT_EQ(preview->body()->size(), fs::file_size(master(photo)));
  EXPECT_THAT(preview->reply().etag, EndsWith("-6"));
  const Responder upright = get("preview", photo, {{"upright", "1"}});
  EXPECT_EQ(headOf(upright).orientation(), 1);
  EXPECT_EQ(headOf(upright).width(), static_cast<std::uint32_t>(photo.height));
  EXPECT_EQ(headOf(upright).height(), static_cast<std::uint32_t>(photo.width));
  // From the cache.
  const Responder again = get("preview", photo, {{"upright", "1"}});
  EXPECT_TRUE(std::holds_alternative<FileBody>(again->reply().body));
  EXPECT_EQ(again->body(), upright->body());
  EXPECT_EQ(again->reply().etag, upright->reply().etag);
}

TEST_F(FileHandlersTest, showsTheEdits) {
  const Photo photo = first([](const Photo& p) { return p.kind == MasterKind::Jpeg && p.adjusted; });
  EXPECT_EQ(get("preview", photo)->body(), contentOf(preview(photo)));
  const Responder edited = get("edited", photo);
  EXPECT_EQ(edited->body(), contentOf(preview(photo)));
  EXPECT_EQ(edited->reply().downloadName, photo.baseName + ".jpg");
  EXPECT_EQ(get("edited", first(isPlain))->reply().status, 404);
  EXPECT_EQ(get("original", photo)->body(), contentOf(master(photo)));
}

TEST_F(FileHandlersTest, showsTheThumbnailOfAnEditedPhotoWithoutItsPreview) {
  const Photo photo = first([](const Photo& p) { return p.kind == MasterKind::Jpeg && p.adjusted; });
  fs::remove(preview(photo));
  EXPECT_EQ(get("preview", photo)->body(), contentOf(thumbnail(photo)));
}

TEST_F(FileHandlersTest, makesPreviewsOfOtherFormats) {
  const Photo photo = first(isPlain);
  for (const char* fixture : {"png-rgb.png", "heic.heic", "tiff-plain.tif", "raw-orientation-1.dng"}) {
    close();
    fs::copy_file(std::string(FIXTURES) + "/" + fixture, master(photo), fs::copy_options::overwrite_existing);
    serve();
    const Responder made = get("preview", photo);
    EXPECT_EQ(made->reply().type, "image/jpeg") << fixture;
    EXPECT_GT(pixelsOf(made).width, 50u) << fixture;
    // As it is.
    EXPECT_EQ(get("original", photo)->body(), contentOf(master(photo)));
  }
}

TEST_F(FileHandlersTest, isBusyWithoutFreeDescriptors) {
  const Photo photo = first(isPlain),
              movie = first([](const Photo&p) { return p.kind == MasterKind::Movie; });
  const Photo edited = first([](const Photo& p) { return p.kind == MasterKind::Jpeg && p.adjusted; });
  fs::copy_file(std::string(FIXTURES) + "/png-rgb.png", master(photo), fs::copy_options::overwrite_existing);
  serve(0);
  const std::vector<std::vector<std::string>> addresses{
      {"square", std::to_string(photo.versionId)},
      {"preview", std::to_string(photo.versionId)},
      {"large", std::to_string(edited.versionId)},
      {"original", std::to_string(photo.versionId)},
      {"edited", std::to_string(edited.versionId)},
      {"api", "1", "movie", std::to_string(movie.versionId)},
      {"zip", "all"}};
  // The databases are open then.
  for (const auto& address : addresses) EXPECT_EQ(get(address)->reply().status, 200) << address[0];
  // With five the picture is opened, but the helper is not started.
  for (const std::size_t free : {0u, 5u}) {
    const test::FewDescriptors few(free);
    EXPECT_EQ(json("nothing", "1"), R"({"error":"unknown"})");
    for (const auto& address : addresses) {
      const int expected = free == 0 || address[0] == "preview" ? 503 : 200;
      const Responder answer = get(address);
      EXPECT_EQ(answer->reply().status, expected) << address[0] << " with " << free;
    }
    EXPECT_EQ(get({"original", "999999"})->reply().status, 404);
  }
  for (const auto& address : addresses) EXPECT_EQ(get(address)->reply().status, 200) << address[0];
}

TEST_F(FileHandlersTest, isAwayWithItsLibrary) {
  const std::string photo = std::to_string(first(isPlain).versionId);
  fs::rename(root(), folder_.path() / "elsewhere");
  fs::create_directory(root());
  for (const char* what : {"square", "preview", "original", "edited"})
    EXPECT_EQ(get({what, photo})->body(), R"({"error":"away"})") << what;
}

TEST_F(FileHandlersTest, shrinksAPictureThatIsTooLarge) {
  const Photo photo = first(isPlain);
  PixelBuffer image{5000, 2500, PixelLayout::Gray, Bytes(5000 * 2500, 99), {}};
  PixelBufferSource source(image);
  const auto jpeg = jpegOf(source);
  std::ofstream(master(photo), std::ios::binary)
      .write(reinterpret_cast<const char*>(jpeg->data()), static_cast<std::streamsize>(jpeg->size()));
  EXPECT_EQ(headOf(get("preview", photo)).width(), 2048u);
  // Not much larger than asked for.
  EXPECT_EQ(headOf(get("large", photo)).width(), 5000u);
}

TEST_F(FileHandlersTest, makesAThumbnailThatIsMissing) {
  const Photo photo =
      first([](const Photo& p) { return p.kind == MasterKind::Jpeg && !p.adjusted && !p.upright(); });
  fs::remove(thumbnail(photo));
  fs::remove(thumbnail(photo, ".jpg"));
  EXPECT_EQ(get("thumb", photo)->body(), contentOf(master(photo)));
  const PixelBuffer small = pixelsOf(get("square", photo, {{"upright", "1"}}));
  EXPECT_EQ(small.width, static_cast<std::uint32_t>(photo.height));
}

TEST_F(FileHandlersTest, hasNothingForHostilePictures) {
  const Photo photo = first(isPlain);
  fs::remove(thumbnail(photo));
  for (const auto& file : fs::directory_iterator(FIXTURES)) {
    const std::string name = file.path().filename();
    if (!name.starts_with("broken-") && name != "bomb-png-size.png" && name != "no-picture.txt") continue;
    if (name.ends_with(".jpg")) continue;  // what its header says is sent as it is
    close();
    fs::copy_file(file.path(), master(photo), fs::copy_options::overwrite_existing);
    serve();
    EXPECT_EQ(get("preview", photo)->reply().status, 404) << name;
  }
}

TEST_F(FileHandlersTest, sendsFaceTilesOrCutsThemOut) {
  const Photo photo = first([](const Photo& p) { return !p.faces.empty() && p.kind == MasterKind::Jpeg; });
  const auto tile = thumbnail(photo, "_face0.jpg");
  const std::vector<std::string> address{"face", std::to_string(photo.versionId), "0"};
  EXPECT_EQ(get(address)->body(), contentOf(tile));
  close();
  fs::remove(tile);
  serve();
  const PixelBuffer cut = pixelsOf(get(address));
  EXPECT_GT(cut.width, 0u);
  EXPECT_EQ(cut.width, cut.height);
}

TEST_F(FileHandlersTest, sendsOriginalsAsAttachmentsWithTheirNames) {
  const Photo photo = first(isPlain);
  const Responder attached = get("original", photo);
  EXPECT_EQ(attached->reply().downloadName, photo.fileName);
  EXPECT_EQ(attached->reply().type, "image/jpeg");
  EXPECT_EQ(attached->body(), contentOf(master(photo)));
  const Responder shown = get("original", photo, {{"show", "1"}});
  EXPECT_EQ(shown->reply().downloadName, "");
  EXPECT_EQ(shown->body(), contentOf(master(photo)));
  EXPECT_THAT(shown->reply().headers.at(0).second, StartsWith("inline; filename*=UTF-8''"));
  const Photo tiff = first([](const Photo& p) { return p.kind == MasterKind::Tiff; });
  EXPECT_EQ(get("original", tiff, {{"show", "1"}})->reply().downloadName, tiff.fileName);
  EXPECT_EQ(get("original", tiff)->reply().type, "image/tiff");
}

TEST_F(FileHandlersTest, findsReferencedOriginalsOnlyWhereTheUserAllows) {
  const Photo photo = first(isPlain);
  fs::create_directories(folder_.path() / "disk/Photos");
  fs::rename(master(photo), folder_.path() / "disk/Photos/a.jpg");
  execute("UPDATE RKMaster SET fileIsReference = 1, imagePath = 'Photos/a.jpg' WHERE modelId = " +
          std::to_string(photo.masterId));
  EXPECT_EQ(get("original", photo)->reply().status, 404);
  EXPECT_EQ(get("preview", photo)->body(), contentOf(thumbnail(photo)));
  close();
  serve(100 << 20, folder_.path() / "disk");
  EXPECT_EQ(get("original", photo)->body(), contentOf(folder_.path() / "disk/Photos/a.jpg"));
  EXPECT_THAT(get({"zip", "all"})->body().value_or(""),
              HasSubstr(contentOf(folder_.path() / "disk/Photos/a.jpg")));
}

TEST_F(FileHandlersTest, playsMoviesThatBrowsersPlay) {
  const Photo photo = first([](const Photo& p) { return p.kind == MasterKind::Movie; });
  const std::string id = std::to_string(photo.versionId);
  fs::copy_file(movie("new.mov", {"-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:a", "aac"}), master(photo),
                fs::copy_options::overwrite_existing);
  EXPECT_EQ(json("movie", id), "{\"state\":\"ready\",\"url\":\"/l/k3jd82ha/movie/" + id + ".mov?s=s" +
                                   std::to_string(("/l/k3jd82ha/movie/" + id + ".mov").size()) + "\"}");
  const Responder file = get({"movie", id + ".mov"});
  EXPECT_EQ(file->reply().type, "video/quicktime");
  EXPECT_EQ(file->body(), contentOf(master(photo)));
  EXPECT_EQ(get({"movie", id + ".mp4"})->reply().status, 404);
  EXPECT_EQ(get("original", photo)->body(), contentOf(master(photo)));
}

class LivePhotoTest : public MovieTest {};

TEST_F(LivePhotoTest, playsTheMovieBesideThePicture) {
  makelibrary::MakeLibraryOptions made;
  made.folder = folder_.path() / "library";
  made.kind = makelibrary::LibraryKind::Photos11;
  made.photos = 60;
  made.images = makelibrary::Images::None;
  makelibrary::makeLibrary(made);
  const std::string root = made.folder;
  test::OtherProcess photos(root + "/database/Photos.sqlite");
  ASSERT_EQ(photos.execute("UPDATE ZASSET SET ZKINDSUBTYPE = 2 WHERE ZKIND = 0"), 0);
  const auto library = std::make_shared<TestWebLibrary>(root);
  std::vector<PhotoFacts> live;
  ASSERT_TRUE(library->post([&](OpenLibrary& open) {
    EXPECT_TRUE(open.facts().read(1, 60, [&](const PhotoFacts& photo) {
      if (!photo.livePath.empty() && !photo.isHidden && !photo.isInTrash) live.push_back(photo);
      return true;
    }));
  }));
  library->finish();
  ASSERT_GE(live.size(), 2U);
  fs::create_directories(fs::path(live[0].livePath).parent_path());
  fs::copy_file(movie("live.mov", {"-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:a", "aac"}),
                live[0].livePath);
  FakeSigner signer;
  SystemProcessRunner processes;
  FileHandlersOptions options;
  options.cacheFolder = folder_.path() / "cache";
  FileHandlers handlers(options, processes, signer);
  const auto get = [&](const std::vector<std::string>& segments) {
    auto responder = std::make_shared<RecordingResponder>();
    handlers.handle(library, HttpRequest(), segments, responder);
    responder->reply();
    return responder;
  };
  const std::string id = std::to_string(live[0].modelId);
  EXPECT_THAT(get({"api", "1", "movie", id})->body().value_or(""), HasSubstr("\"ready\",\"url\""));
  EXPECT_EQ(get({"movie", id + ".mov"})->reply().type, "video/quicktime");
  EXPECT_EQ(get({"movie", id + ".mov"})->body(), contentOf(live[0].livePath));
  // Its movie is only in the cloud.
  const std::string other = std::to_string(live[1].modelId);
  EXPECT_EQ(get({"api", "1", "movie", other})->body(), R"({"state":"none"})");
  EXPECT_EQ(get({"movie", other + ".mov"})->reply().status, 404);
  library->finish();
}

TEST_F(FileHandlersTest, saysWhetherPicturesCanBeDecoded) {
  serve();
  EXPECT_TRUE(handlers_->canDecode());
  FileHandlersOptions options;
  options.cacheFolder = folder_.path() / "cache";
  options.pictureDecoder = folder_.path() / "missing";
  EXPECT_FALSE(FileHandlers(options, processes_, signer_).canDecode());
}

TEST_F(FileHandlersTest, convertsMoviesOnRequest) {
  const Photo photo = first([](const Photo& p) { return p.kind == MasterKind::Movie; });
  const std::string id = std::to_string(photo.versionId);
  EXPECT_EQ(json("movie", id), R"({"state":"convert"})");
  EXPECT_EQ(get({"movie", id + ".mov"})->reply().status, 404);
  EXPECT_THAT(json("movie", id, {{"start", "1"}}),
              testing::AnyOf(HasSubstr("waiting"), HasSubstr("converting"), HasSubstr("ready")));
  std::string state;
  do {
    state = json("movie", id);
  } while (state.find("ready") == std::string::npos && state.find("none") == std::string::npos);
  EXPECT_THAT(state, HasSubstr(".mp4?made=1&s="));
  const Responder made = get({"movie", id + ".mp4"}, {{"made", "1"}});
  EXPECT_EQ(made->reply().type, "video/mp4");
  const std::string bytes = made->body().value_or("");
  properties::ByteSource source(properties::bytesOf(bytes));
  EXPECT_EQ(movieKindOf(source).plays, MovieKind::Plays::Everywhere);
}

TEST_F(FileHandlersTest, doesNotRepeatAConversionThatFailed) {
  const Photo photo = first([](const Photo& p) { return p.kind == MasterKind::Movie; });
  movieConverter_ = folder_.path() / "missing";
  std::string state;
  do {
    state = json("movie", std::to_string(photo.versionId), {{"start", "1"}});
  } while (state.find("waiting") != std::string::npos || state.find("converting") != std::string::npos);
  EXPECT_EQ(state, R"({"state":"none"})");
  EXPECT_EQ(json("movie", std::to_string(photo.versionId), {{"start", "1"}}), R"({"state":"none"})");
}

TEST_F(FileHandlersTest, convertsNothingWithoutACache) {
  const Photo photo = first([](const Photo& p) { return p.kind == MasterKind::Movie; });
  serve(0);
  EXPECT_EQ(json("movie", std::to_string(photo.versionId), {{"start", "1"}}), R"({"state":"none"})");
  EXPECT_EQ(json("movie", std::to_string(first(isPlain).versionId)), R"({"error":"unknown"})");
}

TEST_F(FileHandlersTest, writesTheFilesOfAListAsAZip) {
  const Responder zip = get({"zip", "all"});
  EXPECT_EQ(zip->reply().type, "application/zip");
  EXPECT_EQ(zip->reply().downloadName, "Sommer_ 2009.zip");
  const std::string bytes = zip->body().value_or("");
  EXPECT_THAT(json("zip", "all"), HasSubstr("\"bytes\":" + std::to_string(bytes.size()) + ","));
  std::ofstream(folder_.path() / "all.zip", std::ios::binary) << bytes;
  ProcessRequest request;
  request.program = "unzip";
  request.arguments = {"-Z1", folder_.path() / "all.zip"};
  const std::string names = processes_.run(request).output;
  request.arguments = {"-tqq", folder_.path() / "all.zip"};
  EXPECT_EQ(processes_.run(request).exitStatus, 0);
  std::size_t shown = 0;
  for (std::size_t i = 0; i < plan_.photoCount(); ++i)
    shown += !plan_.photo(i).inTrash && !plan_.photo(i).hidden;
  EXPECT_GE(static_cast<std::size_t>(std::count(names.begin(), names.end(), '\n')), shown);
  const Photo photo = first(isPlain);
  EXPECT_THAT(bytes, HasSubstr(contentOf(master(photo))));
}

TEST_F(FileHandlersTest, refusesTooLargeAndTooManyZips) {
  serve();
  library_->copies = 1000;
  EXPECT_EQ(get({"zip", "all"})->reply().status, 413);
  EXPECT_EQ(json("zip", "all"), R"({"error":"size"})");
  library_->copies = 1;
  std::vector<Responder> archives;
  for (int i = 0; i < 16; ++i) archives.push_back(get({"zip", "all"}));
  EXPECT_EQ(archives.back()->reply().status, 200);
  EXPECT_EQ(get({"zip", "all"})->reply().status, 503);
  archives.pop_back();
  library_->finish();
  EXPECT_EQ(get({"zip", "all"})->reply().status, 200);
}

TEST_F(FileHandlersTest, putsEditedPhotosIntoAZipOnRequest) {
  const Photo photo = first([](const Photo& p) { return p.kind == MasterKind::Jpeg && p.adjusted; });
  const std::string edited = contentOf(preview(photo)), original = contentOf(master(photo));
  const std::string onlyEdited = get({"zip", "all"}, {{"what", "edited"}})->body().value_or("");
  EXPECT_THAT(onlyEdited, HasSubstr(edited));
  EXPECT_THAT(onlyEdited, testing::Not(HasSubstr(original)));
  const std::string both = get({"zip", "all"}, {{"what", "both"}})->body().value_or("");
  EXPECT_THAT(both, HasSubstr(edited));
  EXPECT_THAT(both, HasSubstr(original));
  EXPECT_THAT(both, HasSubstr(" (edited).jpg"));
}

}  // namespace
}  // namespace moxtel
