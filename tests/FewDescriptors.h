// Leaves this process a few free descriptors as long as it lives.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <vector>

#include "platform/files/FileDescriptor.h"

namespace moxtel::test {

class FewDescriptors final {
 public:
  explicit FewDescriptors(std::size_t free) {
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
    const rlimit small{256, before_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &small), 0);
    while (FileDescriptor one{::open("/dev/null", O_RDONLY | O_CLOEXEC)}) taken_.push_back(std::move(one));
    EXPECT_GE(taken_.size(), free);
    if (taken_.size() >= free) taken_.resize(taken_.size() - free);
  }
  ~FewDescriptors() { EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before_), 0); }
  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

 private:
  rlimit before_{};
  std::vector<FileDescriptor> taken_;
};

}  // namespace moxtel::test
