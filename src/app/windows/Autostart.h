// Whether the program starts when the user logs in: a file in the folder "autostart" of the XDG configuration
// folder. Any thread.
#pragma once

#include <string>

namespace moxtel {

class Autostart final {
 public:
  // The folder of the settings, and the absolute path of the program.
  explicit Autostart(std::string settings = usualSettings(), std::string program = thisProgram());

  static std::string usualSettings();
  static std::string thisProgram();

  bool isOn() const;
  // Writes or removes the file. Returns an empty text, or why it cannot, for the user.
  [[nodiscard]] std::string set(bool on) const;

 private:
  std::string path() const;
  std::string text() const;

  const std::string settings_;
  const std::string program_;
};

}  // namespace moxtel
