// Memory in whole pages of its own: it goes back to the system when it is freed. Any thread.
#pragma once

#include <cstddef>
#include <utility>

namespace moxtel {

// Buffers from this size on, in bytes. The C library too takes such from the system one by one.
inline constexpr std::size_t kOwnPagesFrom = std::size_t{32} << 20;

// For large byte buffers: nothing else lies in the pages, so that a file may be mapped over them. Begins at a
// page's start and ends at a page's end. Throws std::bad_alloc.
void* allocatePages(std::size_t bytes);
// With the size that was asked for. What was mapped over the memory goes with it.
void freePages(void* pages, std::size_t bytes) noexcept;
// The bytes of the pages that hold so many.
std::size_t wholePages(std::size_t bytes) noexcept;

// Of huge pages, in bytes: what x86-64 and ARM have beside pages of 4 KB.
inline constexpr std::size_t kHugePage = std::size_t{2} << 20;

// Memory that is soon written from end to end. Touching a page for the first time costs as much as writing it
// several times, so a large block asks for huge pages, which a system without them simply does not give.
// Moves, does not copy. One thread at a time.
class Block final {
 public:
  Block() noexcept = default;
  // Filled with zeroes. Throws std::bad_alloc.
  explicit Block(std::size_t bytes);
  Block(Block&& other) noexcept
      : start_(std::exchange(other.start_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  Block& operator=(Block&& other) noexcept {
    std::swap(start_, other.start_);
    std::swap(size_, other.size_);
    return *this;
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block();

  void* get() const noexcept { return start_; }
  std::size_t size() const noexcept { return size_; }
  // Larger and perhaps elsewhere, with the same contents; what is added is undefined. Throws std::bad_alloc,
  // and is then as it was.
  void grow(std::size_t bytes);

 private:
  bool isPaged() const noexcept { return size_ >= kHugePage; }

  void* start_ = nullptr;
  std::size_t size_ = 0;
};

// Begins at a multiple of kHugePage, filled with zeroes; the size is one. Throws std::bad_alloc.
void* allocateHugePages(std::size_t bytes);
void freeHugePages(void* pages, std::size_t bytes) noexcept;

}  // namespace moxtel
