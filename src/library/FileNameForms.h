// The forms in which one file name is written on different file systems. The names of a library's databases
// are the names of a Mac, whose file systems ignore letter case and Unicode normal form. A copy on another
// file system may write them otherwise:
//
// - A Windows file system allows none of " * : < > ? \ | and no blank or dot at the end of a name. Servers
// for
//   SMB and drivers for exFAT and NTFS replace them by characters of the private use area, in one of two
//   ways: U+F000 plus the ASCII code (also for control characters); or U+F020 to U+F029 for " * : < > ? \ | ,
//   a blank and a dot.
// - A slash in a name as the Mac shows it is a colon on the disk, and either of the two in a database.
//
// Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace moxtel {

// The form in which two names that differ only in case and normal form are equal. A name that is not
// UTF-8 is returned unchanged.
std::string foldedFileName(std::string_view name);

// The folded names that a name may mean: one, or one for each of the two ways if it has such replacements. A
// name on disk is the one of a database if one of its meanings is equal to one of the other's.
std::vector<std::string> fileNameMeanings(std::string_view name);

}  // namespace moxtel
