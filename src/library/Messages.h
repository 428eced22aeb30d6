// What the library, the scripts and the commands report to the user. app/ connects it to the console.
#pragma once

#include <string>
#include <string_view>

namespace moxtel {

class Messages {
 public:
  virtual ~Messages() = default;
  // One message under a title, "Info" or "Error". Core thread.
  virtual void showTitle(std::string_view title, std::string_view info) = 0;

 protected:
  Messages() = default;
  Messages(const Messages&) = default;
  Messages& operator=(const Messages&) = default;
};

// The message about files of a photo application that cannot be read. The data is "iPhoto data", or the like;
// the reason follows it in quotes.
std::string unreadableDataMessage(std::string_view data, std::string_view reason);

// The data, the reason, and the other message, when the user has not chosen a library and no photo
// application names one.
inline constexpr std::string_view kPhotoApplicationData = "iPhoto or Aperture data";
inline constexpr std::string_view kNoLibraryPath = "no library path is known";
inline constexpr std::string_view kNoPhotoApplicationSettings = "Could not find iPhoto directory!";
// Whether an error only says that there is no library yet: that needs no attention, because the window and
// the console say how to choose one.
bool saysOnlyNoLibrary(std::string_view error);

}  // namespace moxtel
