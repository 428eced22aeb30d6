// What is looked at before an export begins. Any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/files/TargetFolder.h"

namespace moxtel {

class PrivateFolder;

// For the user: why this target cannot be used for a library: one lies in the other. Empty if it can. Looks
// through links. The target need not exist.
std::string whyTargetOverlaps(const std::string& target, const std::string& library);

// Why an export could not write there, for the user; empty if it could. The target need not exist, nor the
// folders above it. Changes nothing.
std::string whyNotWritable(const std::string& target);

// The folders of a target that do not exist, the target first.
std::vector<std::string> missingFolders(const std::string& target);

// What a target that need not exist has free, by the folder in which it will be; 0 if unknown.
std::uint64_t freeBytesFor(const std::string& target);

// A copy of the target's state, which a dry run may change. The folder holds it. Empty if the target has
// none.
std::string copiedState(TargetFolder& target, const std::string& state,
                        std::unique_ptr<PrivateFolder>& folder);

}  // namespace moxtel
