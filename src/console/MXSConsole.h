// MXSConsole: the activity log for the user. It makes the lines; its views, a window or standard output, show
// them.
//
// showTitle may be called on any thread. On the core thread it shows the line at once; on other threads it
// queues the line for the core thread and does not wait. Lines from one thread keep their order. Views are
// added, removed and called on the core thread.
//
// Control characters are escaped (printableText). At debug level 0, lines that are equal or too many are
// counted instead (LineLimiter). Lines titled "Error" also go to the error log, if its path is set.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/loop/Clock.h"
#include "platform/loop/EventLoop.h"
#include "platform/settings/UserDefaults.h"
#include "platform/system/LineLimiter.h"

namespace moxtel {

// A font by name and size. Views use another font where this one is not installed.
struct FontDescription {
  std::string_view name;
  int points = 0;
  bool bold = false;
  bool fixedPitch = false;
};

// One line, "date  title:  text\n". Only the title is bold; the title "Error" is red.
struct ConsoleLine {
  std::string date;   // "yyyy-MM-dd HH:mm:ss.SSS", local time
  std::string title;  // "Info", "Error"
  std::string text;
  bool isError() const { return title == "Error"; }
  // The three parts of the line as views show them.
  std::string dateRun() const { return date + "  "; }
  std::string titleRun() const { return title + ":  "; }
  std::string textRun() const { return text + "\n"; }
};

// Whether an error brings the views to the front.
enum class OnError : std::uint8_t { Raise, StayBehind };

class ConsoleView {
 public:
  virtual ~ConsoleView() = default;
  virtual void appendLine(const ConsoleLine& line) = 0;
  // Shows a picture made of characters and escape sequences for a terminal, in lines with their newlines;
  // other views leave it out.
  virtual void showTerminalPicture(std::string_view /*lines*/) {}
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

  // Borrows all three. Create and destroy it on the core thread, or while the loop does not run; lines still
  // queued when it is destroyed are dropped. The first two lines are the banner.
  MXSConsole(EventLoop& loop, const UserDefaults& defaults, const Clock& clock = systemClock());

  // The current local time in the format of ConsoleLine::date.
  std::string dateString() const;

  void showTitle(std::string_view title, std::string_view info, OnError onError = OnError::Raise);
  // Raises all views. Core thread.
  void showConsoleWindow();

  // The first view gets all lines so far; each view gets every line from then on.
  void addView(ConsoleView& view);
  void removeView(ConsoleView& view);

  // Shows the counts of lines left out since the last line. To be called from time to time, and at the end.
  // Core thread.
  void showPendingNotes(AtEnd atEnd);

 private:
  void awakeFromNib();
  void appendLine(std::string_view title, std::string_view info, OnError onError = OnError::Raise);
  bool isShown(const ConsoleLine& line);
  void show(const ConsoleLine& line);
  void showNotes(const std::vector<std::string>& notes);
  void appendToErrorLog(std::string_view text);

  EventLoop& loop_;
  const UserDefaults& defaults_;
  const Clock& clock_;
  std::vector<ConsoleLine> lines_;  // those before the first view
  std::vector<ConsoleView*> views_;
  LineLimiter limiter_;
  const std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace moxtel
