// The role objects of one server and their connections. Core thread.
#pragma once

#include <algorithm>
#include <atomic>
#include <optional>

#include "app/ConsoleMessages.h"
#include "app/MXPAppDelegate.h"
#include "commands/CommandHandler.h"
#include "commands/EditingCommands.h"
#include "commands/ImageCommands.h"
#include "commands/LibraryCommandScope.h"
#include "commands/LibraryListingSource.h"
#include "commands/MetadataCommands.h"
#include "library/ImageFiles.h"
#include "library/LibraryChanges.h"
#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/LoadedLibrary.h"
#include "library/PictureCheck.h"
#include "library/answers/LibraryAnswers.h"
#include "library/answers/SmartAlbums.h"
#include "pictures/codec/PictureDecoder.h"
#include "pictures/properties/ImageProperties.h"
#include "scripting/ApplicationMonitor.h"
#include "scripting/ScriptQueries.h"
#include "scripting/ScriptQueue.h"
#include "support/Localization.h"
#include "support/MXSVersion.h"
#include "support/QVAppSupport.h"
#include "value/Format.h"

namespace moxtel {

// Prepares the library and the scripts for each command: each gets its own time limit.
class DelegateCommandScope final : public LibraryCommandScope {
 public:
  DelegateCommandScope(LibraryDatabases& databases, ScriptRunner& scripts, Messages& messages)
      : LibraryCommandScope(databases), scripts_(scripts), messages_(messages) {}
  void beginCommand() override {
    LibraryCommandScope::beginCommand();
    scripts_.beginCommand(kTimeForQuestions);
  }
  void rejectedReply(std::string_view command) override {
    messages_.showTitle(
        "Error",
        formatRuntime(UserText::tr("The reply to '%@' would have more than 1 GB: it is not sent."), command));
  }

 private:
  ScriptRunner& scripts_;
  Messages& messages_;
};

// Owns the role objects. Members are in the order of their dependencies.
class ServerRoles final {
 public:
  ServerRoles(const ServerEnvironment& environment, PhotoApplicationFlags& flags,
              std::atomic<bool>& iPhotoWasEdited)
      : messages(environment.console),
        support(environment.processes),
        location(environment.defaults, environment.processes, messages, flags),
        files(messages,
              ReferencedFolders(environment.defaults.stringForKey("ReferencedFolders").value_or(""))),
        databases(environment.loop, messages, seamsFor(environment)),
        library(location, databases, messages),
        albumData(location, files, messages),
        changes(location, databases, library, albumData),
        scriptQueue(environment.loop, environment.scripts, messages, flags, environment.applications,
                    support),
        savedLists(databases, albumData, files, location),
        smartAlbums(databases, savedLists, messages, environment.defaults, systemClock()),
        libraryAnswers(databases, smartAlbums),
        scriptQueries(location, databases, albumData, environment.scripts, messages, flags, libraryAnswers),
        monitor(environment.loop, environment.applications, library, albumData, messages, flags),
        containerTree(databases, scriptQueries, environment.defaults),
        photoRecords(databases, albumData, scriptQueries),
        faces(databases),
        listingSource(library, changes, containerTree, photoRecords, faces, albumData),
        listingCommands(listingSource),
        editingCommands(location, photoRecords, scriptQueue, messages, environment.defaults, library, flags,
                        iPhotoWasEdited),
        imageFiles(location, databases, faces, files),
        pictureCheck(environment.loop, location, databases, files, messages),
        pictureDecoder(environment.processes, PictureDecoder::installedHelper(),
                       &QVSocketServer::isClientGone),
        imageCommands(imageFiles, pictureDecoder, messages),
        propertyReader(environment.processes, ImagePropertyReader::installedHelper(),
                       &QVSocketServer::isClientGone),
        metadataCommands(databases, imageFiles, photoRecords, propertyReader),
        commandScope(databases, environment.scripts, messages) {}

  // Creates the command handler, which replies through the channel. Call once, after construction: the
  // channel is made after the roles.
  void connectTo(EventLoop& loop, ReplyChannel& channel) {
    handler.emplace(loop, channel, commandScope,
                    ProductVersion{MXSVersion::majorVersion(), MXSVersion::minorVersion()});
    listingCommands.addTo(*handler);
    editingCommands.addTo(*handler);
    imageCommands.addTo(*handler);
    metadataCommands.addTo(*handler);
  }

  LibrarySeams seamsFor(const ServerEnvironment& environment) {
    LibrarySeams seams;
    const std::int64_t megabytes = environment.defaults.integerForKey("PrivateCopyLimit");
    seams.copyLimit = static_cast<std::uint64_t>(std::clamp<std::int64_t>(megabytes, 0, INT32_MAX)) << 20;
    seams.run = [&processes = environment.processes](const ProcessRequest& request) {
      return processes.run(request);
    };
    seams.isEnding = environment.isEnding;
    seams.permits = [this](const std::string& path) {
      return !location.libraryPath() || files.permits(*location.libraryPath(), path);
    };
    return seams;
  }

  ConsoleMessages messages;
  QVAppSupport support;
  LibraryLocation location;
  LibraryFiles files;
  LibraryDatabases databases;
  LoadedLibrary library;
  AlbumData albumData;
  LibraryChanges changes;
  ScriptQueue scriptQueue;
  SavedLists savedLists;
  SmartAlbums smartAlbums;
  LibraryAnswers libraryAnswers;
  ScriptQueries scriptQueries;
  ApplicationMonitor monitor;
  ContainerTree containerTree;
  PhotoRecords photoRecords;
  Faces faces;
  LibraryListingSource listingSource;
  ListingCommands listingCommands;
  EditingCommands editingCommands;
  ImageFiles imageFiles;
  PictureCheck pictureCheck;
  PictureDecoder pictureDecoder;
  ImageCommands imageCommands;
  ImagePropertyReader propertyReader;
  MetadataCommands metadataCommands;
  DelegateCommandScope commandScope;
  std::optional<CommandHandler> handler;
};

}  // namespace moxtel
