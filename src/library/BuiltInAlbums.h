// The uuids of albums that the photo application uses internally, and that no list of albums shows. The album
// of all photos ("allPhotosAlbum") is not among them.
#pragma once

#include <array>
#include <string_view>

namespace moxtel {

inline constexpr std::array<std::string_view, 14> kBuiltInAlbums = {"libraryFolderImplicitAlbum",
                                                                    "allProjectsAlbum",
                                                                    "trashAlbum",
                                                                    "flaggedAlbum",
                                                                    "lastImportAlbum",
                                                                    "rejectedAlbum",
                                                                    "lastNMonthsAlbum",
                                                                    "eventFilterBarAlbum",
                                                                    "allPlacedPhotosAlbum",
                                                                    "peopleAlbum",
                                                                    "peopleFilterBarAlbum",
                                                                    "placesFilterBarAlbum",
                                                                    "rotationAlbum",
                                                                    "Faces"};

}  // namespace moxtel
