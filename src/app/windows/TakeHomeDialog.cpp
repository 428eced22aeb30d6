#include "app/windows/TakeHomeDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QStorageInfo>
#include <QVBoxLayout>
#include <algorithm>

#include "console/window/WindowText.h"

namespace moxtel {

namespace {

constexpr int kMeasureDelay = 400;  // milliseconds after the last change of a choice
constexpr int kBarSteps = 1000;
constexpr int kWidth = 560;  // pixels

enum Page : std::uint8_t { kChoices, kProgress, kReport };

QString numberText(const QJsonValue& number) {
  return QLocale().toString(static_cast<qlonglong>(number.toDouble()));
}

QString sizeText(double bytes) {
  return QLocale().formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeSIFormat);
}

QString durationText(double seconds) {
  const int minutes = static_cast<int>(seconds / 60);
  if (minutes < 1) return WindowText::tr("less than a minute left");
  if (minutes < 60) return WindowText::tr("about %1 min left").arg(minutes);
  return WindowText::tr("about %1 h %2 min left").arg(minutes / 60).arg(minutes % 60);
}

QLabel* makeLabel(const char* name) {
  auto* label = new QLabel;
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  return label;
}

bool isInside(const QString& path, const QString& folder) {
  if (path.isEmpty() || folder.isEmpty()) return false;
  const QString inner = QDir::cleanPath(path) + '/', outer = QDir::cleanPath(folder) + '/';
  return inner.startsWith(outer);
}

// Of the disk on which the folder will be; negative if unknown.
double freeBytesAt(QString path) {
  while (!QFileInfo::exists(path) && QFileInfo(path).path() != path) path = QFileInfo(path).path();
  const QStorageInfo disk(path);
  return disk.isValid() ? static_cast<double>(disk.bytesAvailable()) : -1;
}

QString stepText(const QJsonObject& progress) {
  const QString step = progress["step"].toString();
  if (step == "planning")
    return WindowText::tr("Looking at the library: %1 photos").arg(numberText(progress["photos"]));
  if (step == "copying") {
    return WindowText::tr("Copying: %1 of %2 files, %3 of %4")
        .arg(numberText(progress["files"]), numberText(progress["ofFiles"]),
             sizeText(progress["bytes"].toDouble()), sizeText(progress["ofBytes"].toDouble()));
  }
  if (step == "finishing") return WindowText::tr("Writing the checksums and the report");
  return {};
}

QString rateText(const QJsonObject& progress) {
  if (!progress.contains("bytesPerSecond")) return {};
  return WindowText::tr("%1 per second, %2")
      .arg(sizeText(progress["bytesPerSecond"].toDouble()), durationText(progress["secondsLeft"].toDouble()));
}

QString countsText(const QJsonObject& counts) {
  QStringList lines;
  lines << WindowText::tr("Photos and movies in the library: %1").arg(numberText(counts["photos"]));
  lines << WindowText::tr("Files copied: %1 (%2)")
               .arg(numberText(counts["copied"]), sizeText(counts["copiedBytes"].toDouble()));
  if (counts["unchanged"].toDouble() > 0)
    lines << WindowText::tr("Files that were there already: %1").arg(numberText(counts["unchanged"]));
  lines << WindowText::tr("Albums: %1").arg(numberText(counts["albums"]));
  return lines.join('\n');
}

QString resultText(const ExportProcess::End& end, bool isCanceled) {
  const QString failure = end.report["failure"].toString();
  if (!failure.isEmpty()) return WindowText::tr("The photos could not be copied: %1").arg(failure);
  if (isCanceled || end.report["interrupted"].toBool())
    return WindowText::tr("Canceled. What was copied stays. Choose the same folder again to continue.");
  if (end.report.isEmpty()) return WindowText::tr("The photos could not be copied: %1").arg(end.messages);
  return end.report["complete"].toBool()
             ? WindowText::tr("Everything is there.")
             : WindowText::tr("Some photos are missing. The report says which, and why.");
}

}  // namespace

TakeHomeDialog::TakeHomeDialog(std::string library, QString program, QWidget* parent)
    : QDialog(parent),
      askForFolder([this](const QString& begin) {
        return QFileDialog::getExistingDirectory(this, WindowText::tr("Choose a folder for the photos"),
                                                 begin);
      }),
      open([](const QUrl& url) { QDesktopServices::openUrl(url); }),
      library_(std::move(library)),
      program_(std::move(program)) {
  setWindowTitle(WindowText::tr("Take photos home"));
  pages_ = new QStackedWidget;
  pages_->addWidget(makeChoices());
  pages_->addWidget(makeProgress());
  pages_->addWidget(makeReport());
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(pages_, 1);
  layout->addWidget(makeButtons());
  measureSoon_.setSingleShot(true);
  connect(&measureSoon_, &QTimer::timeout, this, [this] { measure(); });
  choicesChanged();
  resize(kWidth, sizeHint().height());
}

// A text of more lines makes the dialog higher, so that no other text is cut off.
bool TakeHomeDialog::event(QEvent* event) {
  const bool isHandled = QDialog::event(event);
  if (event->type() == QEvent::LayoutRequest)
    resize(width(), std::max(height(), layout()->totalHeightForWidth(width())));
  return isHandled;
}

QWidget* TakeHomeDialog::makeChoices() {
  auto* page = new QWidget;
  auto* form = new QFormLayout(page);
  auto* introduction = makeLabel("introduction");
  introduction->setText(WindowText::tr(
      "Copies the photos into plain folders that every program can read. The library is not changed."));
  form->addRow(introduction);
  auto* name = makeLabel("exportedLibrary");
  name->setText(QFileInfo(QString::fromStdString(library_)).fileName());
  form->addRow(WindowText::tr("Library:"), name);
  target_ = new QLineEdit;
  target_->setObjectName("target");
  auto* choose = new QPushButton(WindowText::tr("C&hoose…"));
  choose->setObjectName("chooseTarget");
  auto* row = new QHBoxLayout;
  row->addWidget(target_, 1);
  row->addWidget(choose);
  form->addRow(WindowText::tr("&To the folder:"), row);
  qobject_cast<QLabel*>(form->labelForField(row))->setBuddy(target_);
  only_ = new QLineEdit;
  only_->setObjectName("only");
  only_->setPlaceholderText(WindowText::tr("everything, or names separated by semicolons"));
  form->addRow(WindowText::tr("&Albums, events, people:"), only_);
  versions_ = new QComboBox;
  versions_->setObjectName("versions");
  versions_->addItems({WindowText::tr("edited and original"),
                       WindowText::tr("edited; original if not edited"), WindowText::tr("originals only")});
  form->addRow(WindowText::tr("&Pictures:"), versions_);
  layout_ = new QComboBox;
  layout_->setObjectName("layout");
  layout_->addItems({WindowText::tr("events or projects"), WindowText::tr("years and days")});
  form->addRow(WindowText::tr("&Folders by:"), layout_);
  sidecars_ =
      new QCheckBox(WindowText::tr("Titles, &keywords, faces and places in XMP files beside the photos"));
  sidecars_->setObjectName("sidecars");
  sidecars_->setChecked(true);
  hidden_ = new QCheckBox(WindowText::tr("Hi&dden photos, too, in a folder of their own"));
  hidden_->setObjectName("hidden");
  hidden_->setChecked(true);
  form->addRow(sidecars_);
  form->addRow(hidden_);
  size_ = makeLabel("size");
  form->addRow(size_);
  connect(choose, &QPushButton::clicked, this, [this] { chooseTarget(); });
  for (QLineEdit* edit : {target_, only_})
    connect(edit, &QLineEdit::textChanged, this, [this] { choicesChanged(); });
  for (QComboBox* box : {versions_, layout_})
    connect(box, &QComboBox::currentIndexChanged, this, [this] { choicesChanged(); });
  for (QCheckBox* box : {sidecars_, hidden_})
    connect(box, &QCheckBox::toggled, this, [this] { choicesChanged(); });
  return page;
}

QWidget* TakeHomeDialog::makeProgress() {
  auto* page = new QWidget;
  auto* layout = new QVBoxLayout(page);
  step_ = makeLabel("step");
  bar_ = new QProgressBar;
  bar_->setObjectName("bar");
  rate_ = makeLabel("rate");
  auto* hint = makeLabel("hint");
  hint->setText(WindowText::tr(
      "You can cancel at any time: what was copied stays, and the same folder continues later."));
  layout->addWidget(step_);
  layout->addWidget(bar_);
  layout->addWidget(rate_);
  layout->addStretch();
  layout->addWidget(hint);
  return page;
}

QWidget* TakeHomeDialog::makeReport() {
  auto* page = new QWidget;
  auto* layout = new QVBoxLayout(page);
  result_ = makeLabel("result");
  QFont font = result_->font();
  font.setBold(true);
  result_->setFont(font);
  counts_ = makeLabel("counts");
  openReport_ = new QPushButton(WindowText::tr("Open the &Report"));
  openReport_->setObjectName("openReport");
  openFolder_ = new QPushButton(WindowText::tr("Open the &Folder"));
  openFolder_->setObjectName("openFolder");
  connect(openReport_, &QPushButton::clicked, this, [this] { open(page_); });
  connect(openFolder_, &QPushButton::clicked, this, [this] { open(QUrl::fromLocalFile(choices().target)); });
  auto* row = new QHBoxLayout;
  row->addWidget(openReport_);
  row->addWidget(openFolder_);
  row->addStretch();
  layout->addWidget(result_);
  layout->addWidget(counts_);
  layout->addLayout(row);
  layout->addStretch();
  return page;
}

QWidget* TakeHomeDialog::makeButtons() {
  auto* buttons = new QDialogButtonBox;
  start_ = buttons->addButton(WindowText::tr("&Start"), QDialogButtonBox::AcceptRole);
  start_->setObjectName("start");
  close_ = buttons->addButton(QDialogButtonBox::Cancel);
  close_->setObjectName("close");
  close_->setText(WindowText::tr("Cancel"));
  connect(buttons, &QDialogButtonBox::accepted, this, [this] { start(); });
  connect(buttons, &QDialogButtonBox::rejected, this, [this] { reject(); });
  return buttons;
}

ExportChoices TakeHomeDialog::choices() const {
  ExportChoices chosen;
  chosen.library = library_;
  chosen.target = target_->text().trimmed();
  chosen.versions = static_cast<ExportChoices::Versions>(versions_->currentIndex());
  chosen.byDates = layout_->currentIndex() == 1;
  chosen.sidecars = sidecars_->isChecked();
  chosen.hidden = hidden_->isChecked();
  for (const QString& name : only_->text().split(';', Qt::SkipEmptyParts)) {
    if (!name.trimmed().isEmpty()) chosen.only << name.trimmed();
  }
  return chosen;
}

void TakeHomeDialog::chooseTarget() {
  const QString begin = target_->text().isEmpty() ? QDir::homePath() : target_->text();
  const QString folder = askForFolder(begin);
  if (!folder.isEmpty()) target_->setText(folder);
}

void TakeHomeDialog::choicesChanged() {
  process_.reset();
  measureSoon_.stop();
  isMeasured_ = false;
  const QString target = choices().target;
  const QString library = QString::fromStdString(library_);
  QString problem;
  if (target.isEmpty()) {
    problem = WindowText::tr("Choose a folder, for example on a disk or on the NAS.");
  } else if (!QDir::isAbsolutePath(target)) {
    problem = WindowText::tr("The folder's path must begin with \"/\".");
  } else if (isInside(target, library)) {
    problem = WindowText::tr("This folder is in the library, which is never changed. Choose another one.");
  } else if (isInside(library, target)) {
    problem = WindowText::tr("The library is in this folder. Choose another one.");
  }
  size_->setText(problem.isEmpty() ? WindowText::tr("Determining the size …") : problem);
  start_->setEnabled(problem.isEmpty());
  if (problem.isEmpty()) measureSoon_.start(kMeasureDelay);
}

void TakeHomeDialog::measure() {
  QStringList arguments = exportArguments(choices());
  arguments.prepend("--dry-run");
  process_ = std::make_unique<ExportProcess>(
      program_, arguments,
      ExportProcess::Observer{[this](const QJsonObject& progress) {
                                if (progress["step"].toString() == "planned") showSize(progress);
                              },
                              [this](const ExportProcess::End& end) { endOfMeasuring(end); }});
}

void TakeHomeDialog::showSize(const QJsonObject& planned) {
  isMeasured_ = true;
  process_->cancel();
  const double needed = planned["ofBytes"].toDouble();
  QString text = WindowText::tr("%1 files, %2").arg(numberText(planned["ofFiles"]), sizeText(needed));
  // A folder that does not exist yet has no number of its own.
  const double free =
      planned.contains("freeBytes") ? planned["freeBytes"].toDouble() : freeBytesAt(choices().target);
  if (free >= 0) {
    const bool fits = needed <= free;
    text += "; " + (fits ? WindowText::tr("%1 are free there") : WindowText::tr("only %1 are free there"))
                       .arg(sizeText(free));
    start_->setEnabled(fits);
  }
  size_->setText(text + '.');
}

// Without a size, the reason why there is none.
void TakeHomeDialog::endOfMeasuring(const ExportProcess::End& end) {
  if (isMeasured_) return;
  const QString failure = end.report["failure"].toString();
  size_->setText(
      WindowText::tr("The photos cannot be copied: %1").arg(failure.isEmpty() ? end.messages : failure));
  start_->setEnabled(false);
}

void TakeHomeDialog::start() {
  measureSoon_.stop();
  process_.reset();
  isCanceled_ = false;
  pages_->setCurrentIndex(kProgress);
  start_->hide();
  close_->setDefault(true);
  step_->setText(WindowText::tr("Looking at the library …"));
  rate_->clear();
  bar_->setRange(0, 0);
  process_ = std::make_unique<ExportProcess>(
      program_, exportArguments(choices()),
      ExportProcess::Observer{[this](const QJsonObject& progress) { showProgress(progress); },
                              [this](const ExportProcess::End& end) { showEnd(end); }});
}

void TakeHomeDialog::showProgress(const QJsonObject& progress) {
  const QString text = stepText(progress);
  if (!text.isEmpty() && !isCanceled_) step_->setText(text);
  rate_->setText(rateText(progress));
  const double all = progress["ofBytes"].toDouble();
  const bool isKnown = progress["step"].toString() == "copying" && all > 0;
  bar_->setRange(0, isKnown ? kBarSteps : 0);
  if (isKnown) bar_->setValue(static_cast<int>(progress["bytes"].toDouble() / all * kBarSteps));
}

void TakeHomeDialog::showEnd(const ExportProcess::End& end) {
  pages_->setCurrentIndex(kReport);
  result_->setText(resultText(end, isCanceled_));
  const QJsonObject counts = end.report["counts"].toObject();
  // An export that failed at once counted nothing, and may have made no folder.
  const bool hasCounted = end.report["failure"].toString().isEmpty() || counts["photos"].toDouble() > 0;
  counts_->setText(hasCounted && !counts.isEmpty() ? countsText(counts) : QString());
  openFolder_->setVisible(QFileInfo::exists(choices().target));
  page_ = QUrl::fromLocalFile(end.report["page"].toString());
  openReport_->setVisible(!end.report["page"].toString().isEmpty());
  close_->setText(WindowText::tr("Close"));
  close_->setEnabled(true);
}

void TakeHomeDialog::reject() {
  if (pages_->currentIndex() != kProgress) {
    QDialog::reject();
    return;
  }
  if (isCanceled_) return;
  isCanceled_ = true;
  step_->setText(WindowText::tr("Canceling …"));
  close_->setEnabled(false);
  process_->cancel();
}

}  // namespace moxtel
