// The facts of a photo as one JSON object: for --dry-run --json, and hashed to see whether a sidecar is up to
// date. docs/export-json.md describes it. Any thread.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "library/facts/PhotoFacts.h"

namespace moxtel {

// Facts that are missing are left out. No paths.
std::string factsAsJson(const PhotoFacts& photo, const std::vector<std::vector<std::string>>& albums);

}  // namespace moxtel
