// Writes the facts of a photo for other programs: as a sidecar, or into a copy of the file. Implemented by
// what knows the formats; the export asks only this. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "export/ExportState.h"
#include "library/facts/PhotoFacts.h"
#include "value/Value.h"

namespace moxtel {

struct SidecarInput {
  const PhotoFacts& facts;
  // Each the names of its folders and its own, from the root down. Events are not among them.
  const std::vector<std::vector<std::string>>& albums;
  // Which file the facts are for: Original, Edited, Alternate or LiveMovie. The pixels of an Edited one are
  // turned and cropped, those of the others are as stored.
  FileRole role = FileRole::Original;
  // Pixels of the file; 0 unknown.
  std::int32_t width = 0;
  std::int32_t height = 0;
};

class SidecarWriter {
 public:
  virtual ~SidecarWriter() = default;

  // Another text whenever the same input gives other bytes: then existing sidecars are written again.
  virtual std::string_view version() const = 0;
  // The contents of the sidecar. Appends to `lacks` what the library knows and the sidecar cannot hold, for
  // the report. Empty if it could not be made; then lacks says why.
  virtual std::string encode(const SidecarInput& input, std::vector<std::string>& lacks) = 0;
  // The file with the facts in it, its pixels as before; nothing if that is impossible, and why.
  virtual std::optional<Bytes> embed(const SidecarInput& input, Bytes file, std::string& why) = 0;

 protected:
  SidecarWriter() = default;
  SidecarWriter(const SidecarWriter&) = default;
  SidecarWriter& operator=(const SidecarWriter&) = default;
};

}  // namespace moxtel
