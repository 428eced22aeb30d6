// SHA-256, by OpenSSL: it uses the processor's instructions for it. One thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "platform/files/FileReader.h"

struct evp_md_ctx_st;

namespace moxtel {

class Sha256 final {
 public:
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void add(std::span<const std::uint8_t> bytes);
  // 64 hexadecimal digits. Afterwards the next text begins.
  std::string finish();

 private:
  evp_md_ctx_st* context_;
};

std::string sha256Of(std::string_view text);

// Of a whole file; empty if it cannot be read to its end. Calls `read` with the number of bytes of each part.
std::string checksumOf(const OpenFile& file, const std::function<void(std::uint64_t)>& read = {});

}  // namespace moxtel
