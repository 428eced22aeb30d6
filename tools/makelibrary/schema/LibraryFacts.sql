-- Tables and indexes of Library.apdb for facts that not every library has.
CREATE TABLE RKKeyword (modelId integer primary key, uuid varchar, name varchar, searchName varchar, parentId integer, hasChildren integer, shortcut varchar);
CREATE INDEX RKKeyword_uuid_index on RKKeyword(uuid);
CREATE INDEX RKKeyword_parentId_index on RKKeyword(parentId);
CREATE TABLE RKKeywordForVersion (modelId integer primary key, versionId integer, keywordId integer);
CREATE INDEX RKKeywordForVersion_versionId_index on RKKeywordForVersion(versionId);
CREATE INDEX RKKeywordForVersion_keywordId_index on RKKeywordForVersion(keywordId);
CREATE TABLE RKPlaceForVersion (modelId integer primary key, placeId integer, versionId integer);
CREATE INDEX RKPlaceForVersion_versionId_index on RKPlaceForVersion(versionId);
CREATE TABLE RKVersionFaceContent (modelId integer primary key, versionId integer, faceKey integer, isNamed integer, faceRectLeft decimal, faceRectTop decimal, faceRectWidth decimal, faceRectHeight decimal);
CREATE INDEX RKVersionFaceContent_versionId_index on RKVersionFaceContent(versionId);
CREATE INDEX RKVersionFaceContent_faceKey_index on RKVersionFaceContent(faceKey);
CREATE TABLE RKVolume (modelId integer primary key, uuid varchar, name varchar);
CREATE INDEX RKVolume_uuid_index on RKVolume(uuid);
