// The console's window: shows the console's lines, each with date, bold title (red for errors) and text.
//
// The window lives on the windows' thread. Its view is called on the core thread and queues the lines, in
// order and without waiting; the window shows all queued lines at once, so 50,000 lines cost one repaint. It
// keeps the newest lines.
#pragma once

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextCharFormat>
#include <QWidget>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "console/MXSConsole.h"

class QVBoxLayout;

namespace moxtel {

// The described font if it is installed; else the system's fixed-pitch or default font in that size and
// weight.
QFont fontFor(const FontDescription& description);

class ConsoleWindow final : public QWidget {
 public:
  // Lines that the window keeps. A text of several lines counts as several.
  static constexpr int kMostLines = 50'000;

  explicit ConsoleWindow(QWidget* parent = nullptr);
  ~ConsoleWindow() override;

  // The view for MXSConsole::addView. Valid while the window exists; remove it from the console before that.
  ConsoleView& view();

  // Sets a function that is called with each batch of lines after it has been shown.
  void setLinesObserver(std::function<void(const std::vector<ConsoleLine>&)> observer) {
    observer_ = std::move(observer);
  }
  // Red, readable on the window's light or dark text background.
  QColor errorColor() const;
  QPlainTextEdit& textView() { return *textView_; }
  // Selects the next match of the search field's text after the selection, and wraps around at the end.
  bool findNext(bool backwards = false);
  QLineEdit& searchField() { return *search_; }
  // Shows the window in front of the others and activates it.
  void raiseWindow();

 protected:
  void changeEvent(QEvent* event) override;

 private:
  class Feed;
  void appendLines(const std::vector<ConsoleLine>& lines);
  void recolorErrors();
  void makeSearchBar(QVBoxLayout& layout);

  QPlainTextEdit* textView_;
  QLineEdit* search_;
  QTextCharFormat plain_;
  QTextCharFormat title_;
  QTextCharFormat error_;
  std::function<void(const std::vector<ConsoleLine>&)> observer_;
  std::shared_ptr<Feed> feed_;
};

}  // namespace moxtel
