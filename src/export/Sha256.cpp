#include "export/Sha256.h"

#include <openssl/evp.h>

#include <array>
#include <new>

namespace moxtel {

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
  if (!context_ || EVP_DigestInit_ex(context_, EVP_sha256(), nullptr) != 1) throw std::bad_alloc();
}

Sha256::~Sha256() { EVP_MD_CTX_free(context_); }

void Sha256::add(std::span<const std::uint8_t> bytes) {
  EVP_DigestUpdate(context_, bytes.data(), bytes.size());
}

std::string Sha256::finish() {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  EVP_DigestFinal_ex(context_, digest.data(), &size);
  EVP_DigestInit_ex(context_, nullptr, nullptr);
  std::string text;
  for (unsigned int i = 0; i < size; ++i) {
    text += "0123456789abcdef"[digest[i] >> 4];
    text += "0123456789abcdef"[digest[i] & 15];
  }
  return text;
}

std::string sha256Of(std::string_view text) {
  Sha256 hash;
  hash.add({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  return hash.finish();
}

std::string checksumOf(const OpenFile& file, const std::function<void(std::uint64_t)>& read) {
  Sha256 hash;
  Bytes buffer(std::size_t{1} << 20);
  for (std::uint64_t at = 0; at < file.size;) {
    const std::size_t count = readAt(file, at, buffer);
    if (count == 0) return {};
    hash.add(std::span(buffer).first(count));
    if (read) read(count);
    at += count;
  }
  return hash.finish();
}

}  // namespace moxtel
