// Shows the messages of the library, the scripts and the commands in the console. Core thread.
#pragma once

#include "console/MXSConsole.h"
#include "library/Messages.h"

namespace moxtel {

class ConsoleMessages final : public Messages {
 public:
  // Borrows it.
  explicit ConsoleMessages(MXSConsole& console) : console_(console) {}
  // An error that only says that there is no library yet does not raise the console: at the first start the
  // main window is in front.
  void showTitle(std::string_view title, std::string_view info) override {
    console_.showTitle(title, info, saysOnlyNoLibrary(info) ? OnError::StayBehind : OnError::Raise);
  }

 private:
  MXSConsole& console_;
};

}  // namespace moxtel
