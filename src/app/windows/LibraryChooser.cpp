#include "app/windows/LibraryChooser.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "console/window/WindowText.h"

namespace moxtel {

namespace {

enum Column : std::uint8_t { kName, kPhotos, kNewest, kFolder };
constexpr qint64 kReferenceDate = 978307200;  // 2001-01-01 UTC in seconds since 1970
constexpr double kFarthest = 1e11;            // seconds; some 3,000 years
constexpr QSize kUsualSize{720, 300};

QString dayText(const std::optional<Date>& date) {
  if (!date) return QStringLiteral("–");
  const double seconds = std::clamp(date->seconds, -kFarthest, kFarthest);
  const auto moment = QDateTime::fromSecsSinceEpoch(kReferenceDate + static_cast<qint64>(seconds));
  return QLocale().toString(moment.date(), QLocale::ShortFormat);
}

bool isOlder(const FoundLibrary& a, const FoundLibrary& b) {
  return (a.newest ? a.newest->seconds : -1e18) < (b.newest ? b.newest->seconds : -1e18);
}

}  // namespace

LibraryChooser::LibraryChooser(const std::vector<FoundLibrary>& libraries, QWidget* parent)
    : QDialog(parent), list_(new QTreeWidget), buttons_(new QDialogButtonBox(QDialogButtonBox::Cancel)) {
  setWindowTitle(WindowText::tr("Library"));
  auto* question = new QLabel(
      libraries.size() == 1
          ? WindowText::tr(
                "The folder that you chose is not a library itself. Do you want to serve this one?")
          : WindowText::tr("The folder that you chose is not a library itself. Which of these do you want to "
                           "serve?"));
  question->setWordWrap(true);
  list_->setObjectName("libraries");
  list_->setRootIsDecorated(false);
  list_->setAccessibleName(WindowText::tr("Library"));
  list_->setHeaderLabels({WindowText::tr("Name"), WindowText::tr("Photos"), WindowText::tr("Newest event"),
                          WindowText::tr("Folder")});
  for (const FoundLibrary& library : libraries) addLibrary(library);
  for (int column = kName; column < kFolder; ++column) list_->resizeColumnToContents(column);
  const auto newest = std::max_element(libraries.begin(), libraries.end(), isOlder);
  list_->setCurrentItem(list_->topLevelItem(static_cast<int>(newest - libraries.begin())));
  QPushButton* serve = buttons_->addButton(WindowText::tr("&Serve"), QDialogButtonBox::AcceptRole);
  connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(list_, &QTreeWidget::itemActivated, this, &QDialog::accept);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(question);
  layout->addWidget(list_);
  layout->addWidget(buttons_);
  serve->setDefault(true);
  list_->setFocus();
  resize(kUsualSize);
}

void LibraryChooser::onChooseAnother(std::function<void()> chooseAnother) {
  QPushButton* another = buttons_->addButton(WindowText::tr("Choose &Another…"), QDialogButtonBox::ResetRole);
  connect(another, &QPushButton::clicked, this,
          [chooseAnother = std::move(chooseAnother)] { chooseAnother(); });
}

void LibraryChooser::addLibrary(const FoundLibrary& library) {
  const QFileInfo path(QString::fromStdString(library.path));
  const QString photos =
      library.photos ? QLocale().toString(static_cast<qlonglong>(*library.photos)) : QStringLiteral("–");
  auto* item = new QTreeWidgetItem({path.fileName(), photos, dayText(library.newest), path.path()});
  item->setTextAlignment(kPhotos, Qt::AlignRight);
  // The bytes of the path, which need not be UTF-8.
  item->setData(kName, Qt::UserRole, QByteArray::fromStdString(library.path));
  list_->addTopLevelItem(item);
}

std::string LibraryChooser::chosenPath() const {
  const QTreeWidgetItem* item = list_->currentItem();
  return item ? item->data(kName, Qt::UserRole).toByteArray().toStdString() : std::string();
}

}  // namespace moxtel
