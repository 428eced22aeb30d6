#include "app/windows/HelpDialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScreen>
#include <QSignalBlocker>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "console/window/WindowText.h"

namespace moxtel {

namespace {
constexpr QSize kUsualSize{560, 560};
constexpr double kPartOfScreen = 0.9;
}  // namespace

HelpDialog::HelpDialog(std::function<void(bool hidden)> hideAtStart, QWidget* parent)
    : QDialog(parent),
      text_(new QTextBrowser),
      hide_(new QCheckBox(WindowText::tr("Don't show this help at s&tartup"))) {
  setWindowTitle(WindowText::tr("Help"));
  text_->setObjectName("helpText");
  text_->setOpenLinks(false);
  text_->setTabChangesFocus(true);
  text_->setAccessibleName(WindowText::tr("Help"));
  hide_->setObjectName("dontShowHelp");
  connect(hide_, &QCheckBox::toggled, this,
          [hideAtStart = std::move(hideAtStart)](bool on) { hideAtStart(on); });
  auto* buttons = new QDialogButtonBox;
  QPushButton* close = buttons->addButton(WindowText::tr("Close"), QDialogButtonBox::RejectRole);
  close->setDefault(true);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* row = new QHBoxLayout;
  row->addWidget(hide_, 1);
  row->addWidget(buttons);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(text_, 1);
  layout->addLayout(row);
  resize(kUsualSize.boundedTo(screen()->availableSize() * kPartOfScreen));
}

void HelpDialog::setHelp(const QString& html, bool hidden) {
  text_->setHtml(html);
  const QSignalBlocker blocker(hide_);
  hide_->setChecked(hidden);
}

}  // namespace moxtel
