#include "library/PathNames.h"

#include <algorithm>

#include "platform/files/Files.h"
#include "value/Utf.h"

namespace moxtel {

std::string appendingPathComponent(std::string_view base, std::string_view component) {
  if (base.empty()) return std::string(component);
  while (!base.empty() && base.back() == '/') base.remove_suffix(1);
  while (!component.empty() && component.front() == '/') component.remove_prefix(1);
  std::string path(base);
  path += '/';
  path += component;
  return path;
}

std::string expandingTilde(std::string_view path) {
  if (path.empty() || path.front() != '~') return std::string(path);
  const std::size_t end = std::min(path.find('/'), path.size());
  const auto home = homeFolder(std::string(path.substr(1, end - 1)));
  if (!home) return std::string(path);
  return *home + std::string(path.substr(end));
}

bool isUtf8Path(std::string_view path) {
  return path.find('\0') == std::string_view::npos && isValidUtf8(path);
}

}  // namespace moxtel
