// A settings store in a text file of lines "Key=value".
//
// What stands between the equals sign and the end of the line is the value, white space at both ends cut:
// commas, backslashes, percent signs and bytes that are no UTF-8 stand for themselves, so that a path can be
// written by hand. A value that this form cannot hold is written in double quotes with \" \\ \n \r \t and
// \xHH inside. A line that starts with # or ; is a comment (lost when the file is written), [General] is the
// section of all keys; keys of other sections are "Section/Key".
//
// Each read looks whether another process, or an editor, has changed the file. Writing replaces the file as a
// whole; a file that cannot be written keeps the value in memory for the life of the store, with one line in
// the system log.
#pragma once

#include <memory>
#include <string>

#include "platform/settings/UserDefaults.h"

namespace moxtel {

// The file and its folder come into being with the first write.
std::unique_ptr<SettingsStore> makeSettingsFile(const std::string& path);

}  // namespace moxtel
