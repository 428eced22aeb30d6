#include "app/windows/FolderList.h"

#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "console/window/WindowText.h"

namespace moxtel {

namespace {
constexpr QChar kSeparator = ':';
constexpr int kVisibleEntries = 3;
}  // namespace

FolderList::FolderList(const QString& name, QWidget* parent)
    : QWidget(parent),
      askForFolder([this] {
        return QFileDialog::getExistingDirectory(this, WindowText::tr("Choose a folder"), QDir::homePath());
      }),
      entries_(new QListWidget) {
  entries_->setAccessibleName(name);
  entries_->setMinimumHeight(kVisibleEntries * entries_->fontMetrics().height());
  auto* add = new QPushButton(WindowText::tr("Add…"));
  add->setObjectName("add");
  auto* remove = new QPushButton(WindowText::tr("Remove"));
  remove->setObjectName("remove");
  remove->setEnabled(false);
  connect(add, &QPushButton::clicked, this, [this] { this->add(); });
  connect(remove, &QPushButton::clicked, this, [this] { delete entries_->currentItem(); });
  connect(entries_, &QListWidget::currentRowChanged, this,
          [remove](int row) { remove->setEnabled(row >= 0); });
  auto* buttons = new QVBoxLayout;
  buttons->addWidget(add);
  buttons->addWidget(remove);
  buttons->addStretch();
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(entries_, 1);
  row->addLayout(buttons);
}

void FolderList::setSetting(const std::string& setting) {
  entries_->clear();
  for (const QString& entry : shown(setting).split(kSeparator, Qt::SkipEmptyParts)) addEntry(entry);
}

std::string FolderList::setting() const {
  QStringList entries;
  for (int i = 0; i < entries_->count(); ++i) {
    const QString entry = entries_->item(i)->text().trimmed();
    if (!entry.isEmpty()) entries << entry;
  }
  return entries.join(kSeparator).toStdString();
}

void FolderList::add() {
  const QString folder = askForFolder();
  if (!folder.isEmpty()) addEntry(folder);
}

void FolderList::addEntry(const QString& entry) {
  auto* item = new QListWidgetItem(entry);
  item->setFlags(item->flags() | Qt::ItemIsEditable);
  entries_->addItem(item);
  entries_->setCurrentItem(item);
}

}  // namespace moxtel
