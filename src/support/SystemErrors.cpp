#include "support/SystemErrors.h"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "support/Localization.h"

namespace moxtel {

namespace {

// Those that a user can meet, and do something about. The system translates them only where its own
// translations are installed.
constexpr std::array kTexts{
    std::pair(EACCES, UserText::later("Permission denied")),
    std::pair(EADDRINUSE, UserText::later("Address already in use")),
    std::pair(EADDRNOTAVAIL, UserText::later("Cannot assign requested address")),
    std::pair(EBUSY, UserText::later("Device or resource busy")),
    std::pair(EDQUOT, UserText::later("Disk quota exceeded")),
    std::pair(EFBIG, UserText::later("File too large")),
    std::pair(EIO, UserText::later("Input/output error")),
    std::pair(ELOOP, UserText::later("Too many levels of symbolic links")),
    std::pair(EMFILE, UserText::later("Too many open files")),
    std::pair(ENAMETOOLONG, UserText::later("File name too long")),
    std::pair(ENODEV, UserText::later("No such device")),
    std::pair(ENOENT, UserText::later("No such file or directory")),
    std::pair(ENOMEM, UserText::later("Cannot allocate memory")),
    std::pair(ENOSPC, UserText::later("No space left on device")),
    std::pair(ENOTCONN, UserText::later("Transport endpoint is not connected")),
    std::pair(ENOTDIR, UserText::later("Not a directory")),
    std::pair(EPERM, UserText::later("Operation not permitted")),
    std::pair(EROFS, UserText::later("Read-only file system")),
    std::pair(ESTALE, UserText::later("Stale file handle")),
};

}  // namespace

std::string systemErrorText(int error) {
  for (const auto& [number, text] : kTexts)
    if (number == error) return localizedString(text);
  return std::generic_category().message(error);
}

}  // namespace moxtel
