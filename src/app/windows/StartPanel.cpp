#include "app/windows/StartPanel.h"

#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

#include "console/window/WindowText.h"

namespace moxtel {

namespace {

constexpr QSize kPictureShown{96, 72};
constexpr QSize kPicture = 2 * kPictureShown;  // for screens at 200 %
constexpr int kWidth = 620;
constexpr double kLarger = 1.3;

QString photosText(const OfferedLibrary& library) {
  if (!library.photos) return WindowText::tr("cannot be read");
  const QString number = QLocale().toString(static_cast<qlonglong>(*library.photos));
  return *library.photos == 1 ? WindowText::tr("1 photo") : WindowText::tr("%1 photos").arg(number);
}

QString yearsText(const OfferedLibrary& library) {
  if (!library.first || !library.last) return {};
  const QString first = QString::number(*library.first);
  return *library.first == *library.last ? ", " + first : ", " + first + "–" + QString::number(*library.last);
}

// A gray area where there is no picture, so that the texts stay below each other.
QIcon iconOf(const Bytes& jpeg) {
  QPixmap area(kPicture);
  area.fill(Qt::lightGray);
  QPixmap picture;
  if (picture.loadFromData(jpeg.data(), static_cast<uint>(jpeg.size()), "JPEG")) {
    const QPixmap scaled = picture.scaled(kPicture, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    area = scaled.copy((scaled.width() - kPicture.width()) / 2, (scaled.height() - kPicture.height()) / 2,
                       kPicture.width(), kPicture.height());
  }
  return QIcon(area);
}

QListWidgetItem* itemFor(const OfferedLibrary& library) {
  const QString text =
      shown(library.name) + "\n" + photosText(library) + yearsText(library) + "\n" + shown(library.path);
  auto* item = new QListWidgetItem(iconOf(library.picture), text);
  // The bytes of the path, which need not be UTF-8.
  item->setData(Qt::UserRole, QByteArray::fromStdString(library.path));
  return item;
}

}  // namespace

StartPanel::StartPanel(std::function<void()> choose, std::function<void(const std::string& path)> serve,
                       QWidget* parent)
    : QWidget(parent), serve_(std::move(serve)) {
  auto* sentence =
      new QLabel(WindowText::tr("Choose the photo library for the phones and computers in your house."));
  sentence->setObjectName("startSentence");
  sentence->setWordWrap(true);
  sentence->setAlignment(Qt::AlignCenter);
  QFont larger = sentence->font();
  larger.setPointSizeF(larger.pointSizeF() * kLarger);
  sentence->setFont(larger);
  choose_ = new QPushButton(WindowText::tr("Ch&oose Library…"));
  choose_->setObjectName("startChoose");
  connect(choose_, &QPushButton::clicked, this, [choose = std::move(choose)] { choose(); });
  foundTitle_ = new QLabel;
  foundTitle_->setObjectName("foundTitle");
  found_ = new QListWidget;
  found_->setObjectName("foundLibraries");
  found_->setIconSize(kPictureShown);
  found_->setAccessibleName(WindowText::tr("Found on this computer"));
  connect(found_, &QListWidget::itemActivated, this, [this] { serveCurrent(); });
  serveFound_ = new QPushButton(WindowText::tr("Ser&ve This One"));
  serveFound_->setObjectName("serveFound");
  connect(serveFound_, &QPushButton::clicked, this, [this] { serveCurrent(); });
  auto* column = new QVBoxLayout;
  column->addStretch(1);
  column->addWidget(sentence);
  column->addWidget(choose_, 0, Qt::AlignHCenter);
  column->addWidget(foundTitle_);
  column->addWidget(found_, 4);
  column->addWidget(serveFound_, 0, Qt::AlignRight);
  column->addStretch(1);
  auto* middle = new QWidget;
  middle->setLayout(column);
  middle->setMaximumWidth(kWidth);
  auto* row = new QHBoxLayout(this);
  row->addWidget(middle);
  showFound({}, false);
}

void StartPanel::serveCurrent() {
  if (const QListWidgetItem* item = found_->currentItem())
    serve_(item->data(Qt::UserRole).toByteArray().toStdString());
}

void StartPanel::showFound(const std::vector<OfferedLibrary>& libraries, bool isSearching) {
  const QListWidgetItem* current = found_->currentItem();
  const QVariant chosen = current ? current->data(Qt::UserRole) : QVariant();
  found_->clear();
  for (const OfferedLibrary& library : libraries) {
    auto* item = itemFor(library);
    found_->addItem(item);
    if (chosen.isValid() && item->data(Qt::UserRole) == chosen) found_->setCurrentItem(item);
  }
  if (!found_->currentItem() && found_->count() > 0) found_->setCurrentRow(0);
  foundTitle_->setText(isSearching ? WindowText::tr("Looking for libraries on this computer …")
                                   : WindowText::tr("Found on this computer"));
  foundTitle_->setVisible(isSearching || !libraries.empty());
  found_->setVisible(!libraries.empty());
  serveFound_->setVisible(!libraries.empty());
}

}  // namespace moxtel
