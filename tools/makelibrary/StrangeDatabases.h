// A library that no photo application should write: missing values wherever the tables allow NULL, ties,
// duplicates, trash, hostile texts, numbers of any size and type in any column. For tests of listings with
// unexpected data; small enough to make hundreds in seconds.
#pragma once

#include <cstdint>
#include <filesystem>

namespace moxtel::makelibrary {

class LibraryFolder;

// rows: about how many rows a table gets. Throws WriteError.
void writeStrangeDatabases(std::uint64_t seed, std::size_t rows, const LibraryFolder& folder);

}  // namespace moxtel::makelibrary
