// The console's window: shows the console's lines, with date, bold title (red for errors) and text.
//
// A window lives on the windows' thread. As a view it is called on the core thread; what it is told there is
// handed over without waiting, in order, so that a hundred thousand lines at once cost one repaint.
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

// The console's fonts where the machine has them; else its fixed-pitch font, and a bold sans.
QFont fontFor(const FontDescription& description);

class ConsoleWindow final : public QWidget {
 public:
  explicit ConsoleWindow(QWidget* parent = nullptr);
  ~ConsoleWindow() override;

  // What the core hands its lines to. Outlives neither the window nor the console.
  ConsoleView& view();

  // Also called with each batch of lines that has been shown.
  void setLinesObserver(std::function<void(const std::vector<ConsoleLine>&)> observer) {
    observer_ = std::move(observer);
  }
  // Readable on the window's background of texts, light or dark.
  QColor errorColour() const;
  QPlainTextEdit& textView() { return *textView_; }
  // Selects the next place of the text that is searched for, from the selection on, round at the end.
  bool findNext(bool backwards = false);
  QLineEdit& searchField() { return *search_; }
  // Visible, in front, active.
  void raiseWindow();

 protected:
  void changeEvent(QEvent* event) override;

 private:
  class Feed;
  void appendLines(const std::vector<ConsoleLine>& lines);
  void recolourErrors();
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
