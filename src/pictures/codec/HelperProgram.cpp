#include "pictures/codec/HelperProgram.h"

#include <filesystem>
#include <system_error>

#include "platform/process/ThisProcess.h"

namespace moxtel {

std::string installedProgram(std::string_view name) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path folder = programFolder();
  const fs::path beside = folder / name;
  if (fs::exists(beside, error)) return beside;
  return folder.parent_path() / "libexec/moxtel" / name;
}

}  // namespace moxtel
