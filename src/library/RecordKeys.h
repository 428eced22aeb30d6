// The keys and the fixed texts of the records that a client receives: container, face album and photo
// dictionaries.
//
// Each is one Text for the whole process, so a list of a million photos shares their storage. The spelling is
// the client's: "latitude" is lower case, "PhotoKey" is not. Any thread.
#pragma once

#include <utility>

#include "value/Description.h"
#include "value/Value.h"

namespace moxtel::record {

inline const Text kAlbumType{"AlbumType"};
inline const Text kAlbumName{"AlbumName"};
inline const Text kAlbumId{"AlbumId"};
inline const Text kModelId{"ModelId"};
inline const Text kPhotoCount{"PhotoCount"};
inline const Text kIPAlbumType{"IPAlbumType"};
inline const Text kKeyPhotoKey{"KeyPhotoKey"};
inline const Text kNote{"Note"};
inline const Text kOrderNumber{"OrderNumber"};

inline const Text kFaceKey{"FaceKey"};
inline const Text kMasterKey{"MasterKey"};
inline const Text kFaceIndex{"FaceIndex"};

inline const Text kPhotoKey{"PhotoKey"};
inline const Text kMediaType{"MediaType"};
inline const Text kFoundBy{"FoundBy"};
inline const Text kLatitude{"latitude"};
inline const Text kLongitude{"longitude"};
inline const Text kFileName{"FileName"};
inline const Text kRotation{"Rotation"};
inline const Text kCaption{"Caption"};
inline const Text kComment{"Comment"};

inline const Text kFolder{"Folder"};
inline const Text kProject{"Project"};
inline const Text kAlbum{"Album"};
inline const Text kFace{"Face"};
inline const Text kRegular{"Regular"};
inline const Text kSmart{"Smart"};
inline const Text kImage{"Image"};
inline const Text kMovie{"Movie"};
inline const Text kSQL{"SQL"};
inline const Text kAppleScript{"AppleScript"};

// Adds an entry that the record does not have yet; nil (a NULL column) leaves the key out.
inline void appendNonNil(Dictionary& record, const Text& key, Value value) {
  if (!value.isNil()) record.append(key, std::move(value));
}

// A request's id where a uuid is wanted: a number counts as its text, nil stays nil.
inline Value uuidText(const Value& id) { return id.isNil() || id.isString() ? id : Value(describe(id)); }

}  // namespace moxtel::record
