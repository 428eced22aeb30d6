#include "app/windows/PagePanel.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

#include "console/window/WindowText.h"
#include "web/QrCode.h"

namespace moxtel {

namespace {

constexpr int kModule = 3;            // pixels on each side of a module
constexpr int kQuietZone = 3;         // modules
constexpr double kAddressSize = 1.4;  // of the usual letters
constexpr double kDigitsSize = 1.2;

QImage imageOf(const QrCode& code) {
  const int side = code.size() + 2 * kQuietZone;
  QImage image(side, side, QImage::Format_RGB32);
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      image.setPixel(x, y, code.isDark(x - kQuietZone, y - kQuietZone) ? qRgb(0, 0, 0) : qRgb(255, 255, 255));
    }
  }
  return image.scaled(side * kModule, side * kModule);
}

QLabel* makeText(const char* name, double size) {
  auto* label = new QLabel;
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  label->setWordWrap(true);
  label->setMinimumWidth(1);
  QFont font = label->font();
  font.setPointSizeF(font.pointSizeF() * size);
  label->setFont(font);
  return label;
}

}  // namespace

PagePanel::PagePanel(Actions actions, Ask& ask, QWidget* parent)
    : QGroupBox(WindowText::tr("Page for browsers"), parent), actions_(std::move(actions)), ask_(ask) {
  code_ = new QLabel;
  code_->setObjectName("pageCode");
  address_ = makeText("pageAddress", 1);
  auto* texts = new QVBoxLayout;
  texts->addWidget(address_);
  texts->addWidget(makeDigitsRow());
  texts->addWidget(makeAccessRow());
  texts->addStretch();
  auto* row = new QHBoxLayout(this);
  row->addWidget(code_);
  row->addLayout(texts, 1);
  showStatus({});
}

// The address has a row of its own, in which it is whole.
QWidget* PagePanel::makeDigitsRow() {
  digits_ = makeText("pageDigits", kDigitsSize);
  copy_ = new QPushButton(WindowText::tr("Cop&y"));
  copy_->setObjectName("copyAddress");
  copy_->setToolTip(WindowText::tr("Copy the address of the page"));
  connect(copy_, &QPushButton::clicked, this,
          [this] { QApplication::clipboard()->setText(address_->text()); });
  auto* box = new QWidget;
  auto* row = new QHBoxLayout(box);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(digits_, 1);
  row->addWidget(copy_, 0, Qt::AlignRight);
  return box;
}

QWidget* PagePanel::makeAccessRow() {
  access_ = new QComboBox;
  access_->setObjectName("pageAccess");
  access_->setAccessibleName(WindowText::tr("Who may look"));
  access_->setToolTip(WindowText::tr("Who may look"));
  access_->addItem(WindowText::tr("Devices with the key"), "key");
  access_->addItem(WindowText::tr("Everyone in the house"), "open");
  access_->addItem(WindowText::tr("No page"), "off");
  connect(access_, &QComboBox::activated, this,
          [this] { actions_.setAccess(access_->currentData().toString().toStdString()); });
  renew_ = new QPushButton(WindowText::tr("New &Key…"));
  renew_->setObjectName("renewWebKey");
  renew_->setToolTip(WindowText::tr("Every phone and computer then needs the new code."));
  connect(renew_, &QPushButton::clicked, this, [this] { askForNewKey(); });
  auto* box = new QWidget;
  auto* row = new QHBoxLayout(box);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(access_);
  row->addStretch(1);
  row->addWidget(renew_);
  return box;
}

void PagePanel::askForNewKey() {
  ask_({WindowText::tr("New key"),
        WindowText::tr("Make a new key? Every phone and computer that may look now then needs the new code."),
        WindowText::tr("New Key")},
       [this] { actions_.renewKey(); });
}

// A sentence may have several lines and letters of the usual size; an address is large, and in one line.
void PagePanel::showAddress(const QString& text, bool isAddress) {
  QFont letters = font();
  if (isAddress) letters.setPointSizeF(letters.pointSizeF() * kAddressSize);
  address_->setFont(letters);
  address_->setWordWrap(!isAddress);
  address_->setMinimumWidth(isAddress ? 0 : 1);
  address_->setText(text);
}

void PagePanel::showStatus(const WebStatus& status) {
  const bool hasAddress = status.problem.empty() && !status.places.empty();
  if (hasAddress) {
    showAddress(shown(status.places.front()), true);
  } else if (!status.problem.empty()) {
    showAddress(WindowText::tr("Not listening: %1").arg(shown(status.problem)), false);
  } else {
    showAddress(status.isOn ? WindowText::tr("no network") : WindowText::tr("There is no page"), false);
  }
  copy_->setEnabled(hasAddress);
  digits_->setText(status.digits.empty() ? QString()
                                         : WindowText::tr("Six digits: %1").arg(shown(status.digits)));
  digits_->setVisible(!status.digits.empty());
  // Unknown until the server has started.
  const int access = access_->findData(shown(status.access));
  access_->setEnabled(access >= 0);
  if (access >= 0) access_->setCurrentIndex(access);
  renew_->setEnabled(!status.digits.empty());
  showCode(!status.keyAddress.empty() || status.places.empty() ? status.keyAddress : status.places.front());
}

void PagePanel::showCode(const std::string& address) {
  if (address == shownCode_) return;
  shownCode_ = address;
  const auto code = address.empty() ? std::nullopt : QrCode::of(address);
  code_->setPixmap(code ? QPixmap::fromImage(imageOf(*code)) : QPixmap());
  code_->setVisible(code.has_value());
  code_->setAccessibleName(code ? WindowText::tr("QR code of %1").arg(address_->text()) : QString());
}

}  // namespace moxtel
