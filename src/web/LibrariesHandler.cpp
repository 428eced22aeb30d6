#include "web/LibrariesHandler.h"

#include "platform/process/ChildProcess.h"
#include "platform/system/HostNames.h"
#include "web/LibraryRoutes.h"
#include "web/WebLibraries.h"
#include "web/files/FileHandlers.h"

namespace moxtel {

// In the order of their dependencies: the libraries' threads end before what their tasks use.
struct LibrariesHandler::Parts {
  Parts(const WebSettings& settings, const std::string& cacheFolder, HttpHandler& page,
        const AddressSigner& signer)
      : files({.cacheFolder = cacheFolder, .cacheBytes = settings.cacheBytes}, processes, signer),
        libraries({.serverName = currentHostName(),
                   .others = settings.libraries,
                   .referencedFolders = settings.referencedFolders,
                   .cacheFolder = cacheFolder,
                   .privateCopyLimit = settings.privateCopyLimit}),
        routes(libraries, files, page) {}

  SystemProcessRunner processes;
  FileHandlers files;
  WebLibraries libraries;
  LibraryRoutes routes;
};

LibrariesHandler::LibrariesHandler(const WebSettings& settings, const std::string& cacheFolder,
                                   HttpHandler& page, const AddressSigner& signer)
    : parts_(std::make_unique<Parts>(settings, cacheFolder, page, signer)) {}

// A helper that is busy must not delay the end.
LibrariesHandler::~LibrariesHandler() { parts_->processes.end(); }

void LibrariesHandler::setServed(const std::optional<std::string>& path) {
  parts_->libraries.setServed(path);
}

bool LibrariesHandler::canDecode() const { return parts_->files.canDecode(); }

std::string LibrariesHandler::nameOf(const std::string& id) const { return parts_->libraries.nameOf(id); }

void LibrariesHandler::handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) {
  parts_->routes.handle(request, std::move(responder));
}

}  // namespace moxtel
