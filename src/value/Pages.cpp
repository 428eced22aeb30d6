#include "value/Pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace moxtel {

std::size_t wholePages(std::size_t bytes) noexcept {
  static const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  return (bytes + page - 1) / page * page;
}

void* allocatePages(std::size_t bytes) {
  void* pages =
      ::mmap(nullptr, wholePages(bytes), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  return pages;
}

void freePages(void* pages, std::size_t bytes) noexcept { ::munmap(pages, wholePages(bytes)); }

}  // namespace moxtel
