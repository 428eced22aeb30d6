// MXSConsole: the activity log that the user reads. This is the line model; windows and standard output are
// its views.
//
// showTitle(…) may be called on any thread: on the core thread a line appears at once, from any other it is
// handed to the core thread without waiting, and lines of one thread keep their order. Views are added,
// removed and called on the core thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/loop/Clock.h"
#include "platform/loop/EventLoop.h"
#include "platform/settings/UserDefaults.h"

namespace moxtel {

// The core speaks of fonts as name and size; views fall back to what the machine has.
struct FontDescription {
  std::string_view name;
  int points = 0;
  bool bold = false;
  bool fixedPitch = false;
};

// One line: "date  title:  text\n", of which the title alone is bold, and red when it is "Error".
struct ConsoleLine {
  std::string date;   // "yyyy-MM-dd HH:mm:ss.SSS", local time
  std::string title;  // "Info", "Error"
  std::string text;
  bool isError() const { return title == "Error"; }
  // The three runs as they are shown.
  std::string dateRun() const { return date + "  "; }
  std::string titleRun() const { return title + ":  "; }
  std::string textRun() const { return text + "\n"; }
};

class ConsoleView {
 public:
  virtual ~ConsoleView() = default;
  virtual void appendLine(const ConsoleLine& line) = 0;
  // Makes the view visible and brings it to the front; a view without a window does nothing.
  virtual void raise() {}

 protected:
  ConsoleView() = default;
  ConsoleView(const ConsoleView&) = default;
  ConsoleView& operator=(const ConsoleView&) = default;
};

class MXSConsole final {
 public:
  static FontDescription fixedFont() { return {"Monaco", 12, false, true}; }
  static FontDescription boldFont() { return {"Lucida Grande Bold", 12, true, false}; }
  static FontDescription defaultFont() { return {"Lucida Grande", 12, false, false}; }

  // Borrows all three. Made and destroyed on the core thread, or before the loop runs; lines that are still
  // on their way when it goes are dropped. The banner's two lines are its first. With keepLines the lines so
  // far are kept, for a view that is added later; without, they are dropped once shown.
  MXSConsole(EventLoop& loop, const UserDefaults& defaults, const Clock& clock = systemClock(),
             bool keepLines = false);

  // The current local time as the date run shows it.
  std::string dateString() const;

  void showTitle(std::string_view title, std::string_view info);
  // Raises the views. Core thread.
  void showConsoleWindow();

  // A view sees every line from the banner on: those kept so far at once.
  void addView(ConsoleView& view);
  void removeView(ConsoleView& view);

 private:
  void awakeFromNib();
  void appendLine(std::string_view title, std::string_view info);

  EventLoop& loop_;
  const UserDefaults& defaults_;
  const Clock& clock_;
  const bool keepLines_;
  std::vector<ConsoleLine> lines_;
  std::vector<ConsoleView*> views_;
  const std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace moxtel
