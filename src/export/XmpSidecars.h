// Writes the facts of photos as XMP: sidecars, and packets in copies of JPEG files. One thread.
//
// The form is the one that digiKam, darktable, Immich, PhotoPrism and Lightroom all read. Dates have no
// offset: they are what the camera's clock showed. No orientation is written: the file has it.
#pragma once

#include "export/SidecarWriter.h"

namespace moxtel {

class XmpSidecars final : public SidecarWriter {
 public:
  // Bytes of text in one sidecar; what is longer is left out and reported.
  static constexpr std::size_t kMostText = 1 << 20;

  XmpSidecars();
  std::string_view version() const override { return "2"; }
  std::string encode(const SidecarInput& input, std::vector<std::string>& lacks) override;
  std::optional<Bytes> embed(const SidecarInput& input, Bytes file, std::string& why) override;
};

}  // namespace moxtel
