// The names in a Photos.sqlite that change from version to version, read from its schema: the numbers of
// Core Data's entities are part of the names of join tables.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "makelibrary/MakeLibraryOptions.h"

namespace moxtel::makelibrary {

class PhotosModel final {
 public:
  // kind: Photos5, Photos8 or Photos11.
  explicit PhotosModel(LibraryKind kind);

  std::string_view schema() const { return schema_; }
  // By Core Data's name: "Album".
  std::int64_t entity(std::string_view name) const { return entities_.find(name)->second; }
  const std::map<std::string, std::int64_t, std::less<>>& entities() const { return entities_; }

  std::string assets;       // the table of photos
  std::string albumAssets;  // joins albums and photos
  std::string albumColumn;  // its columns
  std::string assetColumn;
  std::string orderColumn;
  std::string keywordColumn;  // of Z_1KEYWORDS
  std::string keyAssets;      // the table of key photos; empty where they are a column of the album
  std::string keyAssetsAlbum;
  std::string keyAssetsAsset;
  std::string faceAsset;  // columns of detected faces
  std::string facePerson;
  std::string adjusted;  // columns of photos
  std::string shared;

 private:
  std::string_view schema_;
  std::map<std::string, std::int64_t, std::less<>> entities_;
};

}  // namespace moxtel::makelibrary
