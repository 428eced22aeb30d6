// Asks the user before something that cannot be undone. Windows' thread.
#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace moxtel {

struct Question {
  QString title;
  QString text;
  QString yes;  // the button that does it
};

// Called with what to do if the user agrees. Tests replace it.
using Ask = std::function<void(const Question& question, std::function<void()> then)>;

// Shows the question on a sheet of the window and returns at once. Cancel is the default button.
Ask askOn(QWidget& window);

}  // namespace moxtel
