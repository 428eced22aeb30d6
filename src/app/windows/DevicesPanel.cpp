#include "app/windows/DevicesPanel.h"

#include <QDateTime>
#include <QHeaderView>
#include <QLocale>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "console/window/WindowText.h"

namespace moxtel {

namespace {

// The time, and the day unless it is today.
QString momentText(std::int64_t secondsSince1970) {
  const auto moment = QDateTime::fromSecsSinceEpoch(secondsSince1970);
  return moment.date() == QDate::currentDate() ? QLocale().toString(moment.time(), QLocale::ShortFormat)
                                               : QLocale().toString(moment, QLocale::ShortFormat);
}

}  // namespace

DevicesPanel::DevicesPanel(QWidget* parent)
    : QGroupBox(WindowText::tr("Connected devices"), parent), list_(new QTreeWidget) {
  list_->setObjectName("devices");
  list_->setAccessibleName(WindowText::tr("Connected devices"));
  list_->setRootIsDecorated(false);
  list_->setSelectionMode(QAbstractItemView::NoSelection);
  list_->setHeaderLabels(
      {WindowText::tr("Device"), WindowText::tr("by"), WindowText::tr("looks at"), WindowText::tr("since")});
  list_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
  constexpr int kRows = 4;
  list_->setFixedHeight(list_->fontMetrics().height() * (kRows + 2));
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(list_);
}

void DevicesPanel::showDevices(const std::vector<ConnectedDevice>& devices) {
  if (devices == shown_) return;
  shown_ = devices;
  list_->clear();
  for (const ConnectedDevice& each : devices) {
    list_->addTopLevelItem(new QTreeWidgetItem(
        {shown(each.name), each.kind == ConnectedDevice::Kind::Handheld ? "Moxtel" : "Browser",
         each.library.empty() ? QStringLiteral("–") : shown(each.library), momentText(each.since)}));
  }
}

}  // namespace moxtel
