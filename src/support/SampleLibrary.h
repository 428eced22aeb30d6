// Records with a fixed name in every library that moxtel-make-library writes, so that diagnostics and tests
// can name them. They have no meaning in other libraries.
#pragma once

namespace moxtel::SampleLibrary {

// A folder among the projects; its one project is called "1 Project in FolderInProjects".
inline constexpr const char* kFolderInProjectsUuid = "FoLd%InPrOjEcTs+000001";
// A folder called "Folder" among the albums, with albums and a folder inside.
inline constexpr const char* kFolderUuid = "FoLd%InAlBuMs+00000001";
// A regular album that holds every photo which is not in the trash; only in libraries made with --big-album.
inline constexpr const char* kBigAlbumUuid = "BiG%AlBuM+000000000001";

}  // namespace moxtel::SampleLibrary
