#include "app/windows/MainWindow.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLocale>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QStatusBar>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "app/windows/LibraryChooser.h"
#include "app/windows/PagePanel.h"
#include "console/window/ConsoleWindow.h"
#include "console/window/WindowText.h"

namespace moxtel {

namespace {

constexpr QSize kUsualSize{980, 620};
constexpr int kVisibleLines = 5;
constexpr const char* kRowName = "rowName";

QString unknownValue() { return QStringLiteral("…"); }

QString numberText(const std::optional<std::int64_t>& number) {
  return number ? QLocale().toString(static_cast<qlonglong>(*number)) : QStringLiteral("–");
}

QString photosText(const LibraryCounts& counts) {
  const QString all = numberText(counts.photos);
  return counts.onlyInCloud
             ? WindowText::tr("%1, %2 only in the cloud").arg(all, numberText(counts.onlyInCloud))
             : all;
}

// The last component of a path.
QString nameOfFolder(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return shown(path.substr(path.find_last_of('/') + 1));
}

// Empty without a problem.
QString databaseText(const ServerStatus& status) {
  using Kind = DatabaseProblem::Kind;
  const QString name = shown(status.databaseName);
  switch (status.databaseProblem.kind) {
    case Kind::Missing:
    case Kind::NoFile:
      return WindowText::tr("The file %1 is missing.").arg(name);
    case Kind::NotPermitted:
      return WindowText::tr("This user is not permitted to read the file %1.").arg(name);
    case Kind::Damaged:
      return WindowText::tr("The file %1 is damaged.").arg(name);
    case Kind::WithoutTables:
      return WindowText::tr("The file %1 has no tables of a photo library.").arg(name);
    case Kind::Incomplete:
      return WindowText::tr("The file %1 lacks what the server reads: %2.")
          .arg(name, shown(status.databaseProblem.detail));
    case Kind::NotServed:
      return WindowText::tr("Libraries of %1 are not served.").arg(shown(status.databaseProblem.detail));
    case Kind::None:
      break;
  }
  return {};
}

// Screen readers read the accessible name: the row's name with its value.
void setValue(QLabel& value, const QString& text) {
  value.setText(text);
  value.setAccessibleName(value.property(kRowName).toString() + ": " + text);
}

// Sets a box to the server's state without starting the action of a click.
void setChecked(QCheckBox& box, bool checked) {
  const QSignalBlocker blocker(box);
  box.setChecked(checked);
}

}  // namespace

MainWindow::MainWindow(MainWindowActions actions, QWidget* parent)
    : QMainWindow(parent), actions_(std::move(actions)) {
  setWindowTitle(QStringLiteral("MoxtelServer"));
  askForFolder = [this](const QString& begin) {
    return QFileDialog::getExistingDirectory(this, WindowText::tr("Choose the library folder"), begin);
  };
  showMessage = [this](const QString& title, const QString& text) {
    auto* box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
  };
  auto* left = new QVBoxLayout;
  left->addWidget(makeLibraryGroup());
  auto* network = new QHBoxLayout;
  network->addWidget(makeNetworkGroup(), 3);
  page_ = new PagePanel([this] { actions_.renewWebKey(); });
  network->addWidget(page_, 2);
  left->addLayout(network);
  left->addWidget(makeButtons());
  left->addWidget(makeLastLines(), 1);
  auto* row = new QHBoxLayout;
  row->addLayout(left, 3);
  row->addWidget(makeHelp(), 2);
  auto* center = new QWidget;
  center->setLayout(row);
  setCentralWidget(center);
  busy_ = new QLabel(WindowText::tr("Ready"));
  busy_->setObjectName("busy");
  statusBar()->addWidget(busy_);
  makeShortcuts();
  resize(kUsualSize.boundedTo(screen()->availableSize()));
}

void MainWindow::makeShortcuts() {
  const auto shortcut = [this](QKeySequence::StandardKey key, auto action) {
    connect(new QShortcut(key, this), &QShortcut::activated, this, action);
  };
  shortcut(QKeySequence::Quit, [this] { close(); });
  shortcut(QKeySequence::Open, [this] { chooseLibrary(); });
  shortcut(QKeySequence::Refresh, [this] { actions_.reload(); });
  shortcut(QKeySequence::HelpContents, [this] { helpButton_->click(); });
}

QLabel* MainWindow::addRow(QFormLayout& form, const QString& name, const char* objectName) {
  auto* value = new QLabel;
  value->setObjectName(objectName);
  value->setTextFormat(Qt::PlainText);  // names come from files and from other machines
  value->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  value->setWordWrap(true);
  // A path without spaces cannot wrap; a minimum width of 1 keeps it from widening the window.
  value->setMinimumWidth(1);
  value->setProperty(kRowName, name);
  setValue(*value, unknownValue());
  form.addRow(name + ":", value);
  return value;
}

QWidget* MainWindow::makeLibraryGroup() {
  auto* group = new QGroupBox(WindowText::tr("Library"));
  auto* form = new QFormLayout(group);
  library_ = addRow(*form, WindowText::tr("Library"), "library");
  path_ = addRow(*form, WindowText::tr("Path"), "path");
  application_ = addRow(*form, WindowText::tr("Photo application"), "application");
  photos_ = addRow(*form, WindowText::tr("Photos"), "photos");
  albums_ = addRow(*form, WindowText::tr("Albums"), "albums");
  events_ = addRow(*form, WindowText::tr("Events"), "events");
  faces_ = addRow(*form, WindowText::tr("Faces"), "faces");
  return group;
}

QWidget* MainWindow::makeNetworkGroup() {
  auto* group = new QGroupBox(WindowText::tr("Network"));
  auto* form = new QFormLayout(group);
  published_ = addRow(*form, WindowText::tr("Visible to phones as"), "published");
  addresses_ = addRow(*form, WindowText::tr("Addresses"), "addresses");
  port_ = addRow(*form, WindowText::tr("Port"), "port");
  client_ = addRow(*form, WindowText::tr("Client"), "client");
  return group;
}

QWidget* MainWindow::makeButtons() {
  auto* box = new QWidget;
  auto* layout = new QVBoxLayout(box);
  layout->setContentsMargins(0, 0, 0, 0);
  auto* row = new QHBoxLayout;
  const auto button = [&](const QString& text, const char* objectName, auto action) {
    auto* made = new QPushButton(text);
    made->setObjectName(objectName);
    connect(made, &QPushButton::clicked, this, action);
    row->addWidget(made);
    return made;
  };
  button(WindowText::tr("Choose &Library…"), "chooseLibrary", [this] { chooseLibrary(); });
  button(WindowText::tr("&Console"), "console", [this] { actions_.showConsole(); });
  button(WindowText::tr("&Reload"), "reload", [this] { actions_.reload(); });
  disconnect_ =
      button(WindowText::tr("&Disconnect Client"), "disconnect", [this] { actions_.disconnectClient(); });
  disconnect_->setEnabled(false);
  helpButton_ =
      button(WindowText::tr("&Help"), "help", [this] { helpBox_->setVisible(!helpBox_->isVisible()); });
  layout->addLayout(row);
  preferAperture_ = new QCheckBox(WindowText::tr("Prefer &Aperture's library"));
  preferAperture_->setObjectName("preferAperture");
  connect(preferAperture_, &QCheckBox::toggled, this, [this](bool on) { actions_.preferAperture(on); });
  revealPhoto_ = new QCheckBox(WindowText::tr("Clients may &show photos in the photo application"));
  revealPhoto_->setObjectName("revealPhoto");
  connect(revealPhoto_, &QCheckBox::toggled, this, [this](bool on) { actions_.revealPhoto(on); });
  for (QCheckBox* check : {preferAperture_, revealPhoto_}) {
    // The server's setting is unknown until it has started, which a slow script can delay.
    check->setEnabled(false);
    layout->addWidget(check);
  }
  return box;
}

QWidget* MainWindow::makeLastLines() {
  auto* group = new QGroupBox(WindowText::tr("Last messages"));
  lastLines_ = new QPlainTextEdit;
  lastLines_->setObjectName("lastLines");
  lastLines_->setReadOnly(true);
  lastLines_->setMaximumBlockCount(kVisibleLines);
  lastLines_->setAccessibleName(WindowText::tr("Last messages"));
  lastLines_->setTabChangesFocus(true);
  auto* layout = new QVBoxLayout(group);
  layout->addWidget(lastLines_);
  return group;
}

QWidget* MainWindow::makeHelp() {
  helpBox_ = new QWidget;
  auto* layout = new QVBoxLayout(helpBox_);
  layout->setContentsMargins(0, 0, 0, 0);
  help_ = new QTextBrowser;
  help_->setObjectName("helpText");
  help_->setOpenLinks(false);
  help_->setTabChangesFocus(true);
  help_->setAccessibleName(WindowText::tr("&Help").remove('&'));
  dontShowHelp_ = new QCheckBox(WindowText::tr("Don't show this help at s&tartup"));
  dontShowHelp_->setObjectName("dontShowHelp");
  connect(dontShowHelp_, &QCheckBox::toggled, this, [this](bool on) { actions_.dontShowHelp(on); });
  layout->addWidget(help_);
  layout->addWidget(dontShowHelp_);
  helpBox_->hide();
  return helpBox_;
}

void MainWindow::setHelp(const QString& html, bool hidden) {
  help_->setHtml(html);
  setChecked(*dontShowHelp_, hidden);
  helpBox_->setVisible(!hidden && !html.isEmpty());
  helpButton_->setEnabled(!html.isEmpty());
}

void MainWindow::chooseLibrary() {
  const QString folder = askForFolder(path_->text() == unknownValue() ? QString() : path_->text());
  if (!folder.isEmpty()) actions_.chooseLibrary(folder.toStdString());
}

void MainWindow::refuseLibrary(const std::string& why, const std::vector<FoundLibrary>& found) {
  if (!found.empty()) {
    auto* chooser = new LibraryChooser(found, this);
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    connect(chooser, &QDialog::accepted, this,
            [this, chooser] { actions_.chooseLibrary(chooser->chosenPath()); });
    chooser->open();
    return;
  }
  showMessage(WindowText::tr("Cannot serve this folder"), WindowText::of(why));
}

void MainWindow::showStatus(const ServerStatus& status) {
  showLibrary(status);
  showNetwork(status);
  page_->showStatus(status.web);
  setChecked(*preferAperture_, status.preferAperture);
  setChecked(*revealPhoto_, status.revealPhoto);
  for (QCheckBox* box : {preferAperture_, revealPhoto_}) box->setEnabled(true);
  disconnect_->setEnabled(status.client.has_value());
}

void MainWindow::showLibrary(const ServerStatus& status) {
  const bool none = status.runningApplication == "<none>";
  setValue(*application_, none ? WindowText::tr("none") : shown(status.runningApplication));
  setValue(*path_, shown(status.libraryPath.value_or("")));
  path_->setToolTip(path_->text());
  if (!status.libraryPath) {
    setValue(*library_, WindowText::tr("No library yet. Choose its folder."));
  } else if (!status.libraryProblem.empty()) {
    setValue(*library_,
             WindowText::tr("This library cannot be read. %1").arg(WindowText::of(status.libraryProblem)));
  } else {
    const QString problem = databaseText(status);
    const std::string& kind = status.counts.name;
    setValue(*library_, nameOfFolder(*status.libraryPath) +
                            (kind.empty() ? "" : "\n" + WindowText::of(kind)) +
                            (problem.isEmpty() ? "" : "\n" + problem));
  }
  setValue(*photos_, photosText(status.counts));
  setValue(*albums_, numberText(status.counts.albums));
  setValue(*events_, numberText(status.counts.events));
  setValue(*faces_, numberText(status.counts.faces));
}

void MainWindow::showNetwork(const ServerStatus& status) {
  QStringList addresses;
  for (const std::string& address : status.addresses) addresses << shown(address);
  setValue(*addresses_, addresses.join(", "));
  setValue(*port_, status.port != 0 ? QString::number(status.port)
                                    : WindowText::tr("Not listening: %1").arg(shown(status.listenFailure)));
  if (!status.publishedName.empty()) {
    setValue(*published_, shown(status.publishedName));
  } else if (status.publicationProblem.empty()) {
    setValue(*published_, WindowText::tr("(announcing, a few seconds)"));
  } else {
    setValue(*published_, WindowText::tr("Not visible: %1").arg(WindowText::of(status.publicationProblem)));
  }
  setValue(*client_, status.client ? WindowText::tr("Connected: %1").arg(shown(*status.client))
                                   : WindowText::tr("No client is connected"));
}

void MainWindow::showLines(const std::vector<ConsoleLine>& lines) {
  const std::size_t first = lines.size() > kVisibleLines ? lines.size() - kVisibleLines : 0;
  for (std::size_t i = first; i < lines.size(); ++i) {
    lastLines_->appendPlainText(shown(lines[i].titleRun() + lines[i].text));
  }
}

void MainWindow::showBusy(bool busy) {
  busy_->setText(busy ? WindowText::tr("Busy …") : WindowText::tr("Ready"));
  busy_->setToolTip(busy ? WindowText::tr("A long reply or a script is running.") : QString());
}

}  // namespace moxtel
