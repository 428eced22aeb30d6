#include "app/windows/CloseQuestion.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>

#include "console/window/WindowText.h"

namespace moxtel {

AskClosing askClosingOn(QWidget& window) {
  return [&window](const QString& devices, TakeClosing take) {
    auto* box =
        new QMessageBox(QMessageBox::Question, WindowText::tr("A device is connected"),
                        WindowText::tr("Connected: %1. Keep serving without the window?").arg(devices),
                        QMessageBox::Cancel, &window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setObjectName("closeQuestion");
    box->setInformativeText(WindowText::tr(
        "To see the window again, use the icon in the panel, or start MoxtelServer once more."));
    auto* keep = new QCheckBox(WindowText::tr("Do not ask &again"));
    box->setCheckBox(keep);
    const auto add = [&](const QString& text, QMessageBox::ButtonRole role, OnClose choice) {
      QPushButton* button = box->addButton(text, role);
      QObject::connect(button, &QPushButton::clicked, box,
                       [take, keep, choice] { take(choice, keep->isChecked()); });
      return button;
    };
    box->setDefaultButton(add(WindowText::tr("Keep &Serving"), QMessageBox::AcceptRole, OnClose::Background));
    add(WindowText::tr("&Quit"), QMessageBox::DestructiveRole, OnClose::Quit);
    box->open();
  };
}

}  // namespace moxtel
