// Where the platform keeps a user's files. Absolute paths without a slash at the end; the folders need not
// exist. Any thread.
#pragma once

#include <string>

namespace moxtel {

// XDG_CONFIG_HOME or ~/.config. For a service with a state folder, that folder: the first one in
// STATE_DIRECTORY, which the service manager sets.
std::string settingsFolder();

// XDG_DATA_HOME or ~/.local/share.
std::string applicationSupportFolder();

// XDG_CACHE_HOME or ~/.cache. For a service with a cache folder, that folder: the first one in
// CACHE_DIRECTORY, which the service manager sets.
std::string cacheFolder();

// The user's folder for pictures (XDG_PICTURES_DIR), or the home folder where there is no setting for it.
std::string picturesFolder();

// TMPDIR or /tmp.
std::string temporaryFolder();

}  // namespace moxtel
