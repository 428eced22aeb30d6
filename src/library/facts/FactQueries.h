// The queries of PhotoFactsReader. Those of a range of versions take its first and last model id and have
// rows with the version's id in the first column; each finds them along an index, which a test checks.
#pragma once

#include "library/database/Query.h"

namespace moxtel::fact_query {

// Of Library.apdb.
inline constexpr SqlText kVersions =
    "SELECT modelId,uuid,masterUuid,masterId,versionNumber,name,fileName,imageDate,imageTimeZoneName,"
    "mainRating,isHidden,isFlagged,colorLabelIndex,masterWidth,masterHeight,processedWidth,processedHeight,"
    "rotation,hasEnabledAdjustments,isInTrash,exifLatitude,exifLongitude,videoPosterFramePoint,projectUuid "
    "FROM RKVersion WHERE modelId >= %lld AND modelId <= %lld AND +versionNumber IS NOT 0 AND +showInLibrary "
    "= "
    "1 ORDER BY modelId";
inline constexpr SqlText kKeywords =
    "SELECT versionId,keywordId FROM RKKeywordForVersion WHERE versionId >= %lld AND versionId <= %lld";
inline constexpr SqlText kPlaces =
    "SELECT versionId,placeId FROM RKPlaceForVersion WHERE versionId >= %lld AND versionId <= %lld";
// Only of Photos 5 and later.
inline constexpr SqlText kLivePhotos =
    "SELECT modelId,path FROM MoxtelLivePhotos WHERE modelId >= %lld AND modelId <= %lld";
// By its uuid.
inline constexpr SqlText kMaster =
    "SELECT imagePath,fileName,originalFileName,type,isTrulyRaw,isMissing,isInTrash,duration,fileIsReference,"
    "fileVolumeUuid,alternateMasterUuid FROM RKMaster WHERE uuid = '%@'";
// By the least model id.
inline constexpr SqlText kNext =
    "SELECT modelId FROM RKVersion WHERE modelId >= %lld ORDER BY modelId LIMIT 1";
// Of ImageProxies.apdb.
inline constexpr SqlText kPreviews =
    "SELECT versionId,fullSizePreviewPath,fullSizePreviewUpToDate FROM RKImageProxyState WHERE versionId >= "
    "%lld AND versionId <= %lld";
// Of Properties.apdb. CROSS JOIN: the properties of the range first, then their texts.
inline constexpr SqlText kIptc =
    "SELECT p.versionId,p.propertyKey,s.stringProperty FROM RKIptcProperty p CROSS JOIN RKUniqueString s "
    "WHERE "
    "p.versionId >= %lld AND p.versionId <= %lld AND s.modelId = p.stringId";
inline constexpr SqlText kExifTexts =
    "SELECT p.versionId,p.propertyKey,s.stringProperty FROM RKExifStringProperty p CROSS JOIN RKUniqueString "
    "s WHERE p.versionId >= %lld AND p.versionId <= %lld AND s.modelId = p.stringId";
inline constexpr SqlText kExifNumbers =
    "SELECT versionId,propertyKey,numberProperty FROM RKExifNumberProperty WHERE versionId >= %lld AND "
    "versionId <= %lld";
// Of Library.apdb or Faces.db.
inline constexpr SqlText kInEdited =
    "SELECT versionId,faceKey,faceRectLeft,faceRectTop,faceRectWidth,faceRectHeight FROM "
    "RKVersionFaceContent WHERE versionId >= %lld AND versionId <= %lld";
// Of Faces.db, by the master's uuid: in iPhoto, in Photos, and in AlbumData.xml.
inline constexpr SqlText kCorners =
    "SELECT faceKey,faceIndex,rejected,ignore,topLeftX,topRightX,bottomLeftX,bottomRightX,topLeftY,topRightY,"
    "bottomLeftY,bottomRightY FROM RKDetectedFace WHERE masterUuid = '%@'";
inline constexpr SqlText kSquares =
    "SELECT faceKey,faceIndex,centerX,centerY,size FROM RKDetectedFace WHERE masterUuid = '%@'";
inline constexpr SqlText kKeys = "SELECT faceKey,faceIndex FROM RKDetectedFace WHERE masterUuid = '%@'";

}  // namespace moxtel::fact_query
