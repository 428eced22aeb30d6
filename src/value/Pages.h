// Memory in whole pages of its own, for large byte buffers: it goes back to the system when it is freed, and
// nothing else lies in its pages, so that a file may be mapped over it. Any thread.
#pragma once

#include <cstddef>

namespace moxtel {

// Buffers from this size on, in bytes. The C library too takes such from the system one by one.
inline constexpr std::size_t kOwnPagesFrom = std::size_t{32} << 20;

// Begins at a page's start and ends at a page's end. Throws std::bad_alloc.
void* allocatePages(std::size_t bytes);
// With the size that was asked for. What was mapped over the memory goes with it.
void freePages(void* pages, std::size_t bytes) noexcept;
// The bytes of the pages that hold so many.
std::size_t wholePages(std::size_t bytes) noexcept;

}  // namespace moxtel
