#include "app/windows/PagePanel.h"

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

constexpr int kModule = 3;     // pixels on each side of a module
constexpr int kQuietZone = 3;  // modules

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

QLabel* makeText(const char* name) {
  auto* label = new QLabel;
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  label->setWordWrap(true);
  label->setMinimumWidth(1);
  return label;
}

}  // namespace

PagePanel::PagePanel(std::function<void()> renewKey, QWidget* parent)
    : QGroupBox(WindowText::tr("Page for browsers"), parent) {
  code_ = new QLabel;
  code_->setObjectName("pageCode");
  address_ = makeText("pageAddress");
  digits_ = makeText("pageDigits");
  renew_ = new QPushButton(WindowText::tr("New &Key"));
  renew_->setObjectName("renewWebKey");
  renew_->setToolTip(WindowText::tr("Every phone and computer then needs the new code."));
  connect(renew_, &QPushButton::clicked, this, [renewKey = std::move(renewKey)] { renewKey(); });
  auto* texts = new QVBoxLayout;
  texts->addWidget(address_);
  texts->addWidget(digits_);
  texts->addWidget(renew_);
  texts->addStretch();
  auto* row = new QHBoxLayout(this);
  row->addWidget(code_);
  row->addLayout(texts, 1);
  showStatus({});
}

void PagePanel::showStatus(const WebStatus& status) {
  if (!status.problem.empty()) {
    address_->setText(WindowText::tr("Not listening: %1").arg(QString::fromStdString(status.problem)));
  } else if (status.places.empty()) {
    address_->setText(WindowText::tr("none"));
  } else {
    address_->setText(QString::fromStdString(status.places.front()));
  }
  digits_->setText(status.digits.empty()
                       ? QString()
                       : WindowText::tr("Six digits: %1").arg(QString::fromStdString(status.digits)));
  renew_->setEnabled(!status.digits.empty());
  showCode(!status.keyAddress.empty() || status.places.empty() ? status.keyAddress : status.places.front());
}

void PagePanel::showCode(const std::string& address) {
  if (address == shownCode_) return;
  shownCode_ = address;
  const auto code = address.empty() ? std::nullopt : QrCode::of(address);
  code_->setPixmap(code ? QPixmap::fromImage(imageOf(*code)) : QPixmap());
  code_->setAccessibleName(code ? WindowText::tr("QR code of %1").arg(address_->text()) : QString());
}

}  // namespace moxtel
