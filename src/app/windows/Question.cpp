#include "app/windows/Question.h"

#include <QMessageBox>
#include <QPushButton>

namespace moxtel {

Ask askOn(QWidget& window) {
  return [&window](const Question& question, std::function<void()> then) {
    auto* box =
        new QMessageBox(QMessageBox::Question, question.title, question.text, QMessageBox::Cancel, &window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    const QPushButton* yes = box->addButton(question.yes, QMessageBox::AcceptRole);
    box->setDefaultButton(QMessageBox::Cancel);
    QObject::connect(yes, &QPushButton::clicked, box, [then = std::move(then)] { then(); });
    box->open();
  };
}

}  // namespace moxtel
