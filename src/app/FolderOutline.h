// `moxtelserverd --print-folders`: the events, albums and folders of a library as a tree for people. Core
// thread.
#pragma once

#include <string>

namespace moxtel {

class ContainerTree;

// Lines, each with a line feed: the library's path, its events, and its albums in their folders, with numbers
// of photos. Empty if the library cannot be read.
std::string folderOutline(const std::string& path, ContainerTree& tree);

}  // namespace moxtel
