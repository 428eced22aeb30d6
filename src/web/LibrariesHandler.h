// Answers the addresses of all libraries of the page: owns them, and what makes their lists and files. Any
// thread, except where it says core thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "web/WebSettings.h"
#include "web/http/AddressSigner.h"
#include "web/http/HttpHandler.h"

namespace moxtel {

class LibrariesHandler final : public HttpHandler {
 public:
  // Borrows page and signer. What it makes is kept in the cache folder. Core thread.
  LibrariesHandler(const WebSettings& settings, const std::string& cacheFolder, HttpHandler& page,
                   const AddressSigner& signer);
  // Ends the threads and helper programs.
  ~LibrariesHandler() override;

  // The library that is served to the handheld: its folder, or nothing. Core thread.
  void setServed(const std::optional<std::string>& path);
  // Whether pictures that are no JPEGs can be shown.
  bool canDecode() const;
  // The name of a library that the page shows, by the id in its addresses; empty if it is unknown. Any
  // thread.
  std::string nameOf(const std::string& id) const;
  void handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) override;

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

}  // namespace moxtel
