#include "value/Pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace moxtel {

namespace {

std::size_t wholeHugePages(std::size_t bytes) {
  if (bytes > SIZE_MAX / 2) throw std::bad_alloc();
  return (bytes + kHugePage - 1) / kHugePage * kHugePage;
}

void* mapPages(std::size_t bytes) {
  void* pages = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  return pages;
}

// Moves what stands in huge pages to others, page tables instead of bytes where the system can. False when
// the system failed half-way: nobody knows then whether the target is still there.
bool moveHugePages(void* from, std::size_t bytes, void* to, std::size_t room) {
#ifdef MREMAP_FIXED
  if (::mremap(from, bytes, room, MREMAP_MAYMOVE | MREMAP_FIXED, to) != MAP_FAILED) return true;
  if (errno != ENOSYS && errno != EPERM) return false;
#else
  static_cast<void>(room);
#endif
  std::memcpy(to, from, bytes);
  freeHugePages(from, bytes);
  return true;
}

}  // namespace

std::size_t wholePages(std::size_t bytes) noexcept {
  static const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  return (bytes + page - 1) / page * page;
}

void* allocatePages(std::size_t bytes) { return mapPages(wholePages(bytes)); }

void freePages(void* pages, std::size_t bytes) noexcept { ::munmap(pages, wholePages(bytes)); }

void* allocateHugePages(std::size_t bytes) {
  // The system aligns to small pages: one huge page more, and what is too much goes back.
  auto* mapped = static_cast<std::uint8_t*>(mapPages(bytes + kHugePage));
  const std::size_t before = -reinterpret_cast<std::uintptr_t>(mapped) % kHugePage;
  if (before > 0) ::munmap(mapped, before);
  ::munmap(mapped + before + bytes, kHugePage - before);
#ifdef MADV_HUGEPAGE
  ::madvise(mapped + before, bytes, MADV_HUGEPAGE);
#endif
  return mapped + before;
}

void freeHugePages(void* pages, std::size_t bytes) noexcept { ::munmap(pages, bytes); }

Block::Block(std::size_t bytes) {
  if (bytes >= kHugePage) bytes = wholeHugePages(bytes);
  start_ = bytes >= kHugePage ? allocateHugePages(bytes) : std::calloc(1, bytes);
  if (!start_ && bytes > 0) throw std::bad_alloc();
  size_ = bytes;
}

Block::~Block() {
  if (isPaged()) {
    freeHugePages(start_, size_);
  } else {
    std::free(start_);
  }
}

void Block::grow(std::size_t bytes) {
  if (bytes < kHugePage) {
    void* moved = std::realloc(start_, bytes);
    if (!moved) throw std::bad_alloc();
    start_ = moved;
    size_ = bytes;
    return;
  }
  Block larger(bytes);
  if (isPaged()) {
    if (!moveHugePages(start_, size_, larger.start_, larger.size_)) {
      larger.start_ = nullptr;  // given up: its addresses may have become another's
      larger.size_ = 0;
      throw std::bad_alloc();
    }
    start_ = nullptr;
    size_ = 0;
  } else if (size_ > 0) {
    std::memcpy(larger.start_, start_, size_);
  }
  std::swap(start_, larger.start_);
  std::swap(size_, larger.size_);
}

}  // namespace moxtel
