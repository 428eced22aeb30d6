// The help, in a window of its own beside the main window. Windows' thread.
#pragma once

#include <QDialog>
#include <functional>

class QCheckBox;
class QTextBrowser;

namespace moxtel {

class HelpDialog final : public QDialog {
 public:
  // Calls the function when the user wants the help at the next start, or does not want it.
  explicit HelpDialog(std::function<void(bool hidden)> hideAtStart, QWidget* parent = nullptr);

  // The text as HTML; hidden: the user does not want it at the start.
  void setHelp(const QString& html, bool hidden);

 private:
  QTextBrowser* text_;
  QCheckBox* hide_;
};

}  // namespace moxtel
