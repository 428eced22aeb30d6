#include "value/Pages.h"

#include <gtest/gtest.h>
#ifdef __linux__
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <span>
#include <utility>

namespace moxtel {
namespace {

constexpr std::size_t kSmall = 4096;

std::span<std::uint8_t> bytesOf(const Block& block) {
  return {static_cast<std::uint8_t*>(block.get()), block.size()};
}

bool isFilledWith(std::span<const std::uint8_t> bytes, std::uint8_t wanted) {
  return std::all_of(bytes.begin(), bytes.end(), [wanted](std::uint8_t byte) { return byte == wanted; });
}

bool isAtHugePage(const void* place) { return reinterpret_cast<std::uintptr_t>(place) % kHugePage == 0; }

TEST(Block, HoldsNothingAtFirst) {
  const Block block;
  EXPECT_EQ(block.get(), nullptr);
  EXPECT_EQ(block.size(), 0u);
}

TEST(Block, IsZeroed) {
  const Block small(kSmall);
  EXPECT_EQ(small.size(), kSmall);
  EXPECT_TRUE(isFilledWith(bytesOf(small), 0));
  const Block large(kHugePage + 1);
  EXPECT_EQ(large.size(), 2 * kHugePage);
  EXPECT_TRUE(isAtHugePage(large.get()));
  EXPECT_TRUE(isFilledWith(bytesOf(large), 0));
}

TEST(Block, KeepsItsContentsWhileItGrows) {
  Block block;
  std::size_t filled = 0;
  std::uint8_t mark = 0;
  for (const std::size_t size : {kSmall, 5 * kSmall, kHugePage, 3 * kHugePage, 8 * kHugePage}) {
    block.grow(size);
    ASSERT_EQ(block.size(), size);
    EXPECT_TRUE(isFilledWith(bytesOf(block).first(filled), mark));
    std::memset(block.get(), ++mark, size);
    filled = size;
  }
  EXPECT_TRUE(isAtHugePage(block.get()));
}

TEST(Block, GivesItsMemoryAway) {
  for (const std::size_t size : {kSmall, 2 * kHugePage}) {
    Block first(size);
    std::memset(first.get(), 7, size);
    const void* place = first.get();
    Block second = std::move(first);
    EXPECT_EQ(second.get(), place);
    EXPECT_EQ(first.get(), nullptr);  // NOLINT(bugprone-use-after-move): what is left is told
    Block third(kSmall);
    third = std::move(second);
    EXPECT_EQ(third.get(), place);
    EXPECT_TRUE(isFilledWith(bytesOf(third), 7));
  }
}

TEST(Block, RefusesWhatNoMachineHas) {
  EXPECT_THROW(Block(SIZE_MAX / 2), std::bad_alloc);
  EXPECT_THROW(Block(SIZE_MAX - 5), std::bad_alloc);
  Block block(kSmall);
  std::memset(block.get(), 7, kSmall);
  EXPECT_THROW(block.grow(SIZE_MAX / 2), std::bad_alloc);
  EXPECT_EQ(block.size(), kSmall);
  EXPECT_TRUE(isFilledWith(bytesOf(block), 7));
}

#ifdef __linux__
// From here on the system refuses to move pages, for this process.
void refuseToMovePages(int error) {
  sock_filter program[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_mremap, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog filter = {std::size(program), program};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
    std::exit(2);
  }
}

Block filledBlock() {
  Block block(2 * kHugePage);
  std::memset(block.get(), 7, block.size());
  return block;
}

TEST(Block, CopiesWhereItMayNotMovePages) {
  const auto grow = [] {
    refuseToMovePages(EPERM);
    Block block = filledBlock();
    block.grow(4 * kHugePage);
    std::exit(isFilledWith(bytesOf(block).first(2 * kHugePage), 7) ? 0 : 1);
  };
  EXPECT_EXIT(grow(), ::testing::ExitedWithCode(0), "");
}

TEST(Block, StaysAsItIsWhenPagesCannotBeMoved) {
  const auto grow = [] {
    refuseToMovePages(ENOMEM);
    Block block = filledBlock();
    try {
      block.grow(4 * kHugePage);
    } catch (const std::bad_alloc&) {
      std::exit(block.size() == 2 * kHugePage && isFilledWith(bytesOf(block), 7) ? 0 : 1);
    }
    std::exit(3);
  };
  EXPECT_EXIT(grow(), ::testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
}  // namespace moxtel
