// The commands that describe one photo: its record, and the metadata of its file or, for a movie, of the
// library. Core thread.
//
// "Metadata of Photo" of a movie is a mutable dictionary with the known values of: "CreationDate",
// "ModificationDate" (dates), "Caption", "Comment", "MediaType", "Filesize (KB)" (bytes / 1024, never 0),
// "Filename", "Pixel Height", "Pixel Width", "Creation Date" (a date, from the database), "Datarate
// (kbit/s)", "Frames per Second", "Duration (s)" (reals, as stored in the library), "Codec", "Audio Sample
// Rate", "Aspect Ratio", "Pixel Size" (texts). For a still image, ImageProperties.h describes it.
#pragma once

#include <cstdint>
#include <string>

#include "commands/CommandHandler.h"

namespace moxtel {

class ImageFiles;
class ImagePropertyReader;
class LibraryDatabases;
class PhotoRecords;

class MetadataCommands final {
 public:
  // Borrows everything.
  MetadataCommands(LibraryDatabases& databases, ImageFiles& files, PhotoRecords& photos,
                   ImagePropertyReader& properties);

  // Adds the handlers of the two commands, which borrow this object.
  void addTo(CommandHandler& handler);

 private:
  void infosOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void metadataOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void sendProperties(const std::string& path, ReplyChannel& reply);
  Dictionary movieMetadata(const Value& key, const std::string& path, const Dictionary& photo);
  // Returns the version's model id, 0 without a version.
  std::int32_t addVersionFacts(const Value& key, Dictionary& movie);
  void addNumberProperties(std::int32_t modelId, Dictionary& movie);
  void addTextProperties(std::int32_t modelId, Dictionary& movie);

  LibraryDatabases& databases_;
  ImageFiles& files_;
  PhotoRecords& photos_;
  ImagePropertyReader& properties_;
};

}  // namespace moxtel
