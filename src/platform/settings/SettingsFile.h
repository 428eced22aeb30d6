// A settings store in a text file of lines "Key=value".
//
// The value is the rest of the line after the equals sign, without white space at both ends. Commas,
// backslashes, percent signs and bytes that are not UTF-8 are literal, so that a path can be written by hand.
// A value that this form cannot hold is written in double quotes with \" \\ \n \r \t and
// \xHH inside. A line that starts with # or ; is a comment (lost when the file is written), [General] is the
// section of all keys; keys of other sections are "Section/Key".
//
// Each read checks whether another process, or an editor, has changed the file. Writing replaces the whole
// file. If that fails, the value is kept in memory for the life of the store, and the system log gets a line.
#pragma once

#include <memory>
#include <string>

#include "platform/settings/UserDefaults.h"

namespace moxtel {

// The file and its folder are created by the first write.
std::unique_ptr<SettingsStore> makeSettingsFile(const std::string& path);

}  // namespace moxtel
