#include "makelibrary/SamplePlan.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "makelibrary/Everything.h"
#include "makelibrary/Random.h"
#include "makelibrary/SampleNames.h"
#include "makelibrary/SmartAlbums.h"
#include "support/SampleLibrary.h"

namespace moxtel::makelibrary {

namespace {

constexpr double kDay = 86400;
constexpr double kFirstDay = 2571 * kDay;  // 2008-01-16

// The user's number, or else one that suits the number of photos.
std::size_t suitable(std::size_t asked, std::size_t photos, std::size_t each, std::size_t least,
                     std::size_t most) {
  return asked ? asked : std::clamp(photos / each, least, most);
}

std::string fourDigits(std::size_t number) {
  const std::string digits = std::to_string(number % 10000);
  return std::string(4 - digits.size(), '0') + digits;
}

// "2014/07/12/20140712-093015": the folder of an import at that time.
std::string importFolder(double date) {
  const CivilDate d = civilDate(date);
  char text[64];
  std::snprintf(text, sizeof text, "%04d/%02d/%02d/%04d%02d%02d-%02d%02d%02d", d.year, d.month, d.day, d.year,
                d.month, d.day, d.hour, d.minute, d.second);
  return text;
}

std::string_view extensionOf(MasterKind kind) {
  switch (kind) {
    case MasterKind::Raw:
      return "DNG";
    case MasterKind::Tiff:
      return "TIF";
    case MasterKind::Movie:
      return "MOV";
    case MasterKind::Jpeg:
      break;
  }
  return "JPG";
}

MasterKind kindFrom(std::size_t number) {
  if (number < 3) return MasterKind::Movie;
  if (number < 7) return MasterKind::Raw;
  if (number < 8) return MasterKind::Tiff;
  return MasterKind::Jpeg;
}

std::string baseNameFrom(Random& random, std::size_t index) {
  const std::string number = std::to_string(index);
  switch (random.below(16)) {
    case 0:
      return "DSC_" + fourDigits(index);
    case 1:
      return "Grandma's picture " + number;
    case 2:
      return "Été " + number;
    case 3:
      return "50% off (" + number + ")";
    case 4:
      return "富士山 " + number;
    case 5:
      return "img_" + number + " copy";
    default:
      return "IMG_" + fourDigits(index);
  }
}

}  // namespace

CivilDate civilDate(double date) {
  // Days to year, month and day after Howard Hinnant, "chrono-compatible low-level date algorithms".
  const auto seconds = static_cast<std::int64_t>(std::floor(date)) + 978307200;
  const std::int64_t z = (seconds >= 0 ? seconds : seconds - 86399) / 86400 + 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int64_t doe = z - era * 146097;
  const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const std::int64_t mp = (5 * doy + 2) / 153;
  const auto month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  const auto rest = static_cast<int>(((seconds % 86400) + 86400) % 86400);
  return {static_cast<int>(yoe + era * 400 + (month <= 2 ? 1 : 0)),
          month,
          static_cast<int>(doy - (153 * mp + 2) / 5 + 1),
          rest / 3600,
          rest / 60 % 60,
          rest % 60};
}

int exifOrientation(const Photo& photo) {
  switch (photo.rotation) {
    case 90:
      return 6;
    case 180:
      return 3;
    case 270:
      return 8;
    default:
      return 1;
  }
}

SamplePlan::SamplePlan(MakeLibraryOptions options) : options_(std::move(options)) {
  planFolders();
  planProjects();
  planAlbums();
  planBuiltInAlbums();
  if (options_.smartAlbums) {
    planSmartAlbums();
    planImplicitAlbums();
  }
  planPersons();
  planCaptions();
}

Container& SamplePlan::addFolder(std::string uuid, std::string name, std::string parent, int type) {
  Container folder;
  folder.modelId = static_cast<std::int64_t>(folders_.size() + 1);
  folder.uuid = std::move(uuid);
  folder.name = std::move(name);
  folder.parentUuid = std::move(parent);
  folder.type = type;
  folder.folderPath = std::to_string(folder.modelId) + "/";
  for (const Container& other : folders_)
    if (other.type == 1 && other.uuid == folder.parentUuid)
      folder.folderPath = other.folderPath + folder.folderPath;
  return folders_.emplace_back(std::move(folder));
}

void SamplePlan::planFolders() {
  addFolder("LibraryFolder", "", "", 1).magic = true;
  addFolder("AllProjectsItem", "Projects", "LibraryFolder", 1).magic = true;
  addFolder("TopLevelAlbums", "Albums", "LibraryFolder", 1).magic = true;
  addFolder(SampleLibrary::kFolderInProjectsUuid, "FolderInProjects", "AllProjectsItem", 1);
  addFolder(SampleLibrary::kFolderUuid, "Folder", "TopLevelAlbums", 1).note =
      "Albums for the frame in the hall";
  addFolder(uuidFor(options_.seed, Subject::Folder, 0), "Folder in Folder", SampleLibrary::kFolderUuid, 1);
  addFolder(uuidFor(options_.seed, Subject::Folder, 1), "Empty folder", "TopLevelAlbums", 1);
  addFolder(uuidFor(options_.seed, Subject::Folder, 2), "Hidden", "TopLevelAlbums", 1).hiddenWhenEmpty = true;
  addFolder(uuidFor(options_.seed, Subject::Folder, 3), "Thrown away", "TopLevelAlbums", 1).inTrash = true;
}

void SamplePlan::planProjects() {
  const std::size_t count = suitable(options_.projects, options_.photos, 12, 5, 5000);
  for (std::size_t i = 0; i < count; ++i) planProject(i, count);
  addFolder(uuidFor(options_.seed, Subject::Project, count), "Empty project", "AllProjectsItem", 2);
  addFolder(uuidFor(options_.seed, Subject::Project, count + 1), "", "AllProjectsItem", 2);
  addFolder(uuidFor(options_.seed, Subject::Project, count + 2), "Hidden project", "AllProjectsItem", 2)
      .hiddenWhenEmpty = true;
}

void SamplePlan::planProject(std::size_t number, std::size_t count) {
  Random random = randomFor(options_.seed, Subject::Project, number);
  const std::string uuid = uuidFrom(random);
  const bool inFolder = number == 0;
  std::string name(kPlaces[(number + options_.seed) % kPlaces.size()].name);
  if (random.oneIn(3)) name += ", " + std::string(random.pick(kOccasions));
  if (random.oneIn(4)) name.clear();
  if (inFolder) name = "1 Project in FolderInProjects";
  projects_.push_back(folders_.size());
  Container& project =
      addFolder(uuid, name, inFolder ? SampleLibrary::kFolderInProjectsUuid : "AllProjectsItem", 2);
  project.first = options_.photos * number / count;
  project.end = options_.photos * (number + 1) / count;
  if (random.oneIn(5)) project.note = "It rained on the way back, but nobody's camera got wet.";
  if (project.end > project.first && random.oneIn(2))
    project.posterUuid = uuidFor(options_.seed, Subject::Version, project.first * 4 + 1);
}

Container& SamplePlan::addAlbum(std::string uuid, std::string name, std::string parent, int subclass) {
  Container album;
  album.modelId = static_cast<std::int64_t>(albums_.size() + 1);
  album.uuid = std::move(uuid);
  album.name = std::move(name);
  album.parentUuid = std::move(parent);
  album.type = 1;
  album.subclass = subclass;
  return albums_.emplace_back(std::move(album));
}

void SamplePlan::planAlbums() {
  const std::size_t count = suitable(options_.albums, options_.photos, 25, 4, 500);
  for (std::size_t i = 0; i < count; ++i) {
    Random random = randomFor(options_.seed, Subject::Album, i);
    std::string name(kAlbumNames[i % kAlbumNames.size()]);
    if (i >= kAlbumNames.size()) name += " " + std::to_string(i / kAlbumNames.size() + 1);
    const char* parent = i % 3 == 2 ? SampleLibrary::kFolderUuid : "TopLevelAlbums";
    Container& album = addAlbum(uuidFrom(random), std::move(name), parent, 3);
    album.inTrash = count > 4 && random.oneIn(20);
    if (random.oneIn(3)) album.note = "Chosen on a long evening";
  }
  const auto album = [this](std::size_t number, const char* name, const std::string& parent, int subclass) {
    addAlbum(uuidFor(options_.seed, Subject::Album, 1'000'000 + number), name, parent, subclass);
  };
  album(0, "Deep inside", folders_[5].uuid, 3);
  album(1, "Best rated", "TopLevelAlbums", 2);
  album(2, "This year", SampleLibrary::kFolderUuid, 2);
  album(3, "Book", "TopLevelAlbums", 1);
  if (options_.bigAlbum) addAlbum(SampleLibrary::kBigAlbumUuid, "Everything", "TopLevelAlbums", 3);
}

void SamplePlan::planBuiltInAlbums() {
  addAlbum("allPhotosAlbum", "Photos", "TopLevelAlbums", 1).magic = true;
  for (const BuiltInAlbum& album : kBuiltInAlbums)
    addAlbum(std::string(album.uuid), std::string(album.name), "TopLevelAlbums", 2).magic = true;
}

void SamplePlan::planSmartAlbums() {
  std::size_t number = 2'000'000;
  for (const SmartAlbum& smart : smartAlbums())
    addAlbum(uuidFor(options_.seed, Subject::Album, number++), smart.name, "TopLevelAlbums", 2).smart =
        &smart;
}

// Behind each project there is an album that knows how its photos are sorted.
void SamplePlan::planImplicitAlbums() {
  for (const std::size_t project : projects_) {
    Container& folder = folders_[project];
    folder.implicitAlbumUuid = uuidFor(options_.seed, Subject::Album, 3'000'000 + project);
    addAlbum(folder.implicitAlbumUuid, "", folder.uuid, 1);
  }
}

void SamplePlan::planPersons() {
  const std::size_t count = suitable(options_.faces, options_.photos, 10, 3, 1000);
  for (std::size_t i = 0; i < count; ++i) {
    Person person;
    person.faceKey = static_cast<std::int64_t>(i + 1);
    person.uuid = uuidFor(options_.seed, Subject::Face, i);
    person.name = kPersonNames[i % kPersonNames.size()];
    if (i >= kPersonNames.size()) person.name += " " + std::to_string(i / kPersonNames.size() + 1);
    person.keyPhoto = options_.photos * i / count;
    persons_.push_back(std::move(person));
  }
}

void SamplePlan::planCaptions() {
  for (const std::string_view beginning : kCaptionBeginnings)
    for (const Place& place : kPlaces)
      captions_.push_back(std::string(beginning) + " " + std::string(place.name));
  captions_.emplace_back("Two lines:\nthe lake, and \"the\" 'boat' – 100 %");
}

std::size_t SamplePlan::projectOf(std::size_t index) const {
  const auto after = std::upper_bound(
      projects_.begin(), projects_.end(), index,
      [this](std::size_t value, std::size_t project) { return value < folders_[project].first; });
  return *(after - 1);
}

double SamplePlan::projectDate(std::size_t project) const {
  Random random = randomFor(options_.seed, Subject::Project, 1'000'000 + project);
  const double step =
      3600.0 / static_cast<double>(projects_.size());  // ten years over all projects, and any season
  return kFirstDay + std::floor(static_cast<double>(project - projects_.front()) * step) * kDay +
         std::floor(random.between(0, 365)) * kDay + std::floor(random.between(5, 21)) * 3600;
}

Photo SamplePlan::photo(std::size_t index) const {
  Random random = randomFor(options_.seed, Subject::Photo, index);
  Photo photo;
  photo.index = index;
  photo.masterId = static_cast<std::int64_t>(index + 1);
  photo.originalVersionId = static_cast<std::int64_t>(2 * index + 1);
  photo.versionId = photo.originalVersionId + 1;
  photo.masterUuid = uuidFor(options_.seed, Subject::Master, index);
  photo.originalVersionUuid = uuidFor(options_.seed, Subject::Version, index * 4);
  photo.versionUuid = uuidFor(options_.seed, Subject::Version, index * 4 + 1);
  if (random.oneIn(25)) {
    photo.duplicateUuid = uuidFor(options_.seed, Subject::Version, index * 4 + 2);
    photo.duplicateId = static_cast<std::int64_t>(2 * options_.photos + index + 1);
  }
  photo.project = projectOf(index);
  const double start = projectDate(photo.project);
  const auto within = static_cast<double>(index - folders_[photo.project].first);
  photo.date = start + within * 240 + std::floor(random.between(0, 200));
  photo.folder = importFolder(start);
  describeFile(photo, random);
  describeExposure(photo, random);
  describeFaces(photo, random);
  if (options_.everything) describeEverything(photo, options_);
  return photo;
}

void SamplePlan::describeFile(Photo& photo, Random& random) const {
  photo.kind = kindFrom(random.below(100));
  photo.baseName = baseNameFrom(random, photo.index + 1);
  photo.fileName = photo.baseName + "." + std::string(extensionOf(photo.kind));
  const bool small = options_.images == Images::Small;
  photo.width = small ? 96 : 1500;
  photo.height = small ? 64 : 1000;
  if (photo.kind == MasterKind::Jpeg && random.oneIn(6)) photo.rotation = random.oneIn(2) ? 90 : 270;
  photo.adjusted = photo.kind != MasterKind::Movie && random.oneIn(12);
  photo.inTrash = random.oneIn(40);
  photo.flagged = random.oneIn(10);
  photo.rating = static_cast<int>(random.below(6));
  photo.hidden = options_.smartAlbums && photo.index % 29 == 7;
  if (!random.oneIn(3)) {
    const Place& place = kPlaces[(photo.project + options_.seed) % kPlaces.size()];
    photo.position =
        Position{place.latitude + random.between(-0.05, 0.05), place.longitude + random.between(-0.05, 0.05)};
  }
  if (random.oneIn(3)) photo.caption = 1 + random.below(captions_.size());
  if (random.oneIn(5)) photo.comment = 1 + random.below(captions_.size());
}

void SamplePlan::describeExposure(Photo& photo, Random& random) const {
  static constexpr std::array kIso{50, 100, 100, 200, 400, 800};
  static constexpr std::array kAperture{2.8, 4.0, 5.6, 8.0, 11.0};
  static constexpr std::array kSpeed{30, 60, 125, 250, 500, 1000};
  static constexpr std::array kFocal{24.0, 35.0, 50.0, 85.0, 200.0};
  photo.iso = random.pick(kIso);
  photo.aperture = random.pick(kAperture);
  photo.exposureTime = 1.0 / random.pick(kSpeed);
  photo.focalLength = random.pick(kFocal);
  if (photo.kind == MasterKind::Movie) photo.duration = 2;
}

// Each person is on their key photo. Otherwise persons are random; sometimes one appears twice (a mirror) or
// is not named.
void SamplePlan::describeFaces(Photo& photo, Random& random) const {
  if (photo.kind == MasterKind::Movie) return;
  const std::size_t count = persons_.size();
  for (std::size_t p = photo.index * count / options_.photos; p < count; ++p) {
    if (persons_[p].keyPhoto > photo.index) break;
    if (persons_[p].keyPhoto == photo.index) photo.faces.push_back({p, true});
  }
  if (!random.oneIn(4)) return;
  for (std::size_t i = random.below(3) + 1; i > 0; --i)
    photo.faces.push_back({random.below(count), !random.oneIn(6)});
}

std::vector<std::size_t> SamplePlan::membersOf(const Container& album) const {
  std::vector<std::size_t> members;
  if (album.subclass != 3 || album.magic || options_.photos == 0) return members;
  if (album.uuid == SampleLibrary::kBigAlbumUuid) {
    for (std::size_t i = 0; i < options_.photos; ++i) members.push_back(i);
  } else {
    Random random = randomFor(options_.seed, Subject::Album, 2'000'000 + album.modelId);
    const std::size_t wanted = 1 + random.below(std::min<std::size_t>(options_.photos / 3 + 1, 300));
    for (std::size_t i = 0; i < wanted; ++i) members.push_back(random.below(options_.photos));
    std::sort(members.begin(), members.end());
    members.erase(std::unique(members.begin(), members.end()), members.end());
  }
  std::erase_if(members, [this](std::size_t index) { return photo(index).inTrash; });
  return members;
}

bool SamplePlan::isSaved(const Photo& photo) const {
  if (options_.savedLists == SavedLists::OutOfStep) return photo.index + 1 != options_.photos;
  return !photo.inTrash;
}

std::vector<std::int64_t> SamplePlan::savedList(const Container& container) const {
  std::vector<std::pair<double, std::int64_t>> found;
  const auto add = [&](std::size_t index) {
    const Photo p = photo(index);
    if (!isSaved(p) || (container.smart && !container.smart->shows(p))) return;
    const double place = placeIn(container, p);
    found.emplace_back(place, p.versionId);
    // The user put the first versions into regular albums, not the duplicates.
    if (!p.duplicateUuid.empty() && container.subclass != 3) found.emplace_back(place, p.duplicateId);
  };
  if (container.subclass == 3) {
    for (const std::size_t index : membersOf(container)) add(index);
  } else {
    const auto [first, end] = rangeOf(container);
    for (std::size_t i = first; i < end; ++i) add(i);
  }
  std::sort(found.begin(), found.end());
  std::vector<std::int64_t> ids;
  for (const auto& [place, id] : found) ids.push_back(id);
  return ids;
}

// The photos among which a container's members are.
std::pair<std::size_t, std::size_t> SamplePlan::rangeOf(const Container& container) const {
  if (container.smart && container.smart->scope == SmartScope::FirstProject) {
    return {firstProject().first, firstProject().end};
  }
  if (container.type == 2) return {container.first, container.end};
  return {0, options_.photos};
}

double SamplePlan::placeIn(const Container& container, const Photo& photo) {
  if (container.subclass == 3) return 0;
  switch (container.smart ? container.smart->order : SmartOrder::OldestFirst) {
    case SmartOrder::Rating:
      return photo.rating;
    case SmartOrder::NewestFirst:
      return -photo.date;
    case SmartOrder::OldestFirst:
      break;
  }
  return photo.date;
}

Season SamplePlan::seasonOf(const Photo& photo) const {
  int month = civilDate(photo.date).month;
  if (photo.position && photo.position->latitude < 0) month = (month + 5) % 12 + 1;
  if (month <= 2 || month == 12) return Season::Winter;
  if (month <= 5) return Season::Spring;
  return month <= 8 ? Season::Summer : Season::Autumn;
}

}  // namespace moxtel::makelibrary
