// Restricts which files the calling process may open, with the kernel's Landlock (landlock(7)).
#pragma once

#include <string>
#include <vector>

namespace moxtel {

// Files and folders with all that is in them. Names that do not exist are ignored.
struct FileRights {
  std::vector<std::string> readable;
  std::string writable;  // a folder: files in it may also be made, changed and deleted; empty: none
  // Programs, and the folders of the libraries that load them: the process may be replaced by such a program.
  std::vector<std::string> runnable = {};
};

// The newest version whose rights are used: 1 is without moving files between folders and 2 without
// shortening a file by its name.
inline constexpr int kNewestLandlock = 3;

// From now on the process opens no other files; what is open stays open. Not raised again. Needs
// PR_SET_NO_NEW_PRIVS, and holds for this thread and those that it starts. Returns the version in force, at
// most `newest`; 0 where the kernel has no Landlock or does not permit it: then nothing is restricted.
int restrictFiles(const FileRights& rights, int newest = kNewestLandlock);

// The folders of the shared libraries that the process has loaded; their plug-ins lie below these.
std::vector<std::string> sharedLibraryFolders();

}  // namespace moxtel
