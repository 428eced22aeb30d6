#include "app/windows/AboutDialog.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "console/window/WindowText.h"
#include "support/MXSVersion.h"

namespace moxtel {

namespace {

constexpr int kIconSize = 64;  // pixels
constexpr int kTextWidth = 360;

QLabel* paragraph(const char* name, const QString& text) {
  auto* label = new QLabel(text);
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setMinimumWidth(kTextWidth);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  return label;
}

}  // namespace

QDialog* makeAboutDialog(QWidget* parent) {
  auto* dialog = new QDialog(parent);
  dialog->setWindowTitle(WindowText::tr("About MoxtelServer"));
  auto* texts = new QVBoxLayout;
  QLabel* name = paragraph("version", shown(MXSVersion::shortVersionString()));
  QFont font = name->font();
  font.setBold(true);
  name->setFont(font);
  texts->addWidget(name);
  texts->addWidget(
      paragraph("purpose", WindowText::tr("Shows a photo library on phones, tablets and computers of "
                                          "the house. The library is never changed.")));
  texts->addWidget(paragraph(
      "license",
      WindowText::tr("Free software under the GNU General Public License, version 3 or later, without "
                     "any warranty. © The MoxtelServer authors")));
  texts->addWidget(paragraph(
      "libraries",
      WindowText::tr("It uses %1.")
          .arg(QStringLiteral("Qt %1, SQLite, Expat, Avahi, libmicrohttpd, libqrencode, zlib, libjpeg-turbo, "
                              "libvips, LibRaw, libheif, Exiv2, OpenSSL")
                   .arg(QLatin1String(qVersion())))));
  auto* icon = new QLabel;
  icon->setPixmap(QApplication::windowIcon().pixmap(kIconSize));
  auto* row = new QHBoxLayout;
  row->addWidget(icon, 0, Qt::AlignTop);
  row->addLayout(texts, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(dialog);
  layout->addLayout(row);
  layout->addStretch();
  layout->addWidget(buttons);
  return dialog;
}

}  // namespace moxtel
