// A library as no photo application should write it: values missing wherever the tables allow it, ties,
// duplicates, trash, hostile texts, numbers of every size and kind in every column. For tests that look for
// what a listing does not expect; small enough that some hundred can be made in seconds.
#pragma once

#include <cstdint>
#include <filesystem>

namespace moxtel::makelibrary {

class LibraryFolder;

// rows: about how many rows a table gets. Throws WriteError.
void writeStrangeDatabases(std::uint64_t seed, std::size_t rows, const LibraryFolder& folder);

}  // namespace moxtel::makelibrary
