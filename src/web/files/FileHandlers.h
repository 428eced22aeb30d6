// The files below /l/LIB/: pictures, movies, archives, and the JSON about movies and archives. Any thread.
#pragma once

#include <memory>

#include "pictures/codec/HelperProgram.h"
#include "web/LibraryRoutes.h"
#include "web/http/AddressSigner.h"

namespace moxtel {

class ProcessRunner;

struct FileHandlersOptions {
  std::string cacheFolder;       // made when needed
  std::uint64_t cacheBytes = 0;  // 0: nothing is kept, and no movie is converted
  // The absolute paths of the helpers.
  std::string pictureDecoder = installedProgram("moxtel-picture-decoder");
  std::string movieConverter = installedProgram("moxtel-movie-converter");
};

class FileHandlers final : public LibraryFileHandler {
 public:
  // Borrows runner and signer. The runner's processes serve only this object.
  FileHandlers(const FileHandlersOptions& options, ProcessRunner& processes, const AddressSigner& signer);
  // Ends what is being made. No library may run a task of this object any more.
  ~FileHandlers() override;

  void handle(const std::shared_ptr<WebLibrary>& library, const HttpRequest& request,
              std::span<const std::string> segments, std::shared_ptr<HttpResponder> responder) override;
  std::string movieJson(WebLibrary& library, OpenLibrary& open, const PhotoFacts& movie) override;
  bool canDecode() const override;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace moxtel
