#include "makelibrary/PhotosModel.h"

#include <sstream>

#include "makelibrary/LibrarySchema.h"

namespace moxtel::makelibrary {

namespace {

std::string_view schemaOf(LibraryKind kind) {
  switch (kind) {
    case LibraryKind::Photos11:
      return kPhotos11Schema;
    case LibraryKind::Photos8:
      return kPhotos8Schema;
    default:
      return kPhotos5Schema;
  }
}

// The schema's comments say "-- Z_PRIMARYKEY: entity 26 Album".
std::map<std::string, std::int64_t, std::less<>> entitiesOf(std::string_view schema) {
  std::map<std::string, std::int64_t, std::less<>> entities;
  std::istringstream lines{std::string(schema)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string dashes, table, entity, name;
    std::int64_t number = 0;
    if (words >> dashes >> table >> entity >> number >> name && table == "Z_PRIMARYKEY:")
      entities[name] = number;
  }
  return entities;
}

}  // namespace

PhotosModel::PhotosModel(LibraryKind kind) : schema_(schemaOf(kind)), entities_(entitiesOf(schema_)) {
  const bool oldNames = entities_.contains("GenericAsset");
  const std::string asset = std::to_string(entity(oldNames ? "GenericAsset" : "Asset"));
  const std::string album = "Z_" + std::to_string(entity("Album"));
  assets = oldNames ? "ZGENERICASSET" : "ZASSET";
  albumAssets = album + "ASSETS";
  albumColumn = album + "ALBUMS";
  assetColumn = "Z_" + asset + "ASSETS";
  orderColumn = "Z_FOK_" + asset + "ASSETS";
  keywordColumn = "Z_" + std::to_string(entity("Keyword")) + "KEYWORDS";
  shared = oldNames ? "ZCLOUDBATCHPUBLISHDATE" : "ZBUNDLESCOPE";
  const bool newest = kind == LibraryKind::Photos11;
  faceAsset = newest ? "ZASSETFORFACE" : "ZASSET";
  facePerson = newest ? "ZPERSONFORFACE" : "ZPERSON";
  adjusted = newest ? "ZADJUSTMENTSSTATE" : "ZHASADJUSTMENTS";
  if (!newest) return;
  const std::string anyAlbum = "Z_" + std::to_string(entity("GenericAlbum"));
  keyAssets = anyAlbum + "KEYASSETS";
  keyAssetsAlbum = anyAlbum + "ALBUMSBEINGKEYASSETS";
  keyAssetsAsset = "Z_" + asset + "KEYASSETS";
}

}  // namespace moxtel::makelibrary
