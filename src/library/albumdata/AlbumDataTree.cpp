#include "library/albumdata/AlbumDataTree.h"

namespace moxtel {

bool AlbumDataTree::wantsNext() const {
  const std::size_t depth = openCollections();
  if (depth == 0) return true;
  const Text* list = keyAt(0);
  if (!list) return false;
  if (depth == 1) return *list == kListOfAlbums || *list == kListOfRolls || *list == kListOfFaces;
  // An entry of the albums or rolls: top dictionary, list, entry.
  const Text* key = keyAt(depth - 1);
  return !(depth == 3 && key && *key == "KeyList" && *list != kListOfFaces);
}

}  // namespace moxtel
