#include "app/windows/MainWindow.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLocale>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTextDocument>
#include <QVBoxLayout>

#include "app/ConnectedDevices.h"
#include "app/windows/ColumnArea.h"
#include "app/windows/DevicesPanel.h"
#include "app/windows/MainMenu.h"
#include "app/windows/PagePanel.h"
#include "app/windows/StartPanel.h"
#include "console/window/ConsoleWindow.h"
#include "console/window/WindowText.h"
#include "library/LibrarySummary.h"

namespace moxtel {

namespace {

constexpr QSize kUsualSize{980, 620};
constexpr QSize kFrame{16, 56};  // of the desktop around a window, at most
constexpr int kVisibleLines = 5;
constexpr const char* kRowName = "rowName";
enum View : std::uint8_t { kServedView, kStartView };

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
    : QMainWindow(parent),
      ask(askOn(*this)),
      askClosing(askClosingOn(*this)),
      actions_(std::move(actions)),
      choice_(*this, [this](const std::string& path) { actions_.chooseLibrary(path); }) {
  setWindowTitle(QStringLiteral("MoxtelServer"));
  setAcceptDrops(true);
  start_ =
      new StartPanel([this] { chooseLibrary(); }, [this](const std::string& path) { choice_.take(path); });
  views_ = new QStackedWidget;
  views_->addWidget(makeServedView());
  views_->addWidget(start_);
  setCentralWidget(views_);
  busy_ = new QLabel(WindowText::tr("Ready"));
  busy_->setObjectName("busy");
  statusBar()->addWidget(busy_);
  makeMenu();
  resize(kUsualSize.boundedTo(screen()->availableSize() - kFrame));
}

void MainWindow::makeMenu() {
  menu_ = new MainMenu({[this] { chooseLibrary(); }, [this](const std::string& path) { choice_.take(path); },
                        [this] { reload(); }, [this] { actions_.quit(); }});
  setMenuBar(menu_);
}

QWidget* MainWindow::makeServedView() {
  page_ = new PagePanel({[this] { actions_.renewWebKey(); },
                         [this](const std::string& access) { actions_.setWebAccess(access); }},
                        ask);
  devices_ = new DevicesPanel;
  auto* library = makeLibraryGroup();
  auto* network = makeNetworkGroup();
  auto* buttons = makeButtons();
  return new ColumnArea({page_, library, network, devices_}, {buttons, makeLastLines()});
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
  button(WindowText::tr("&Reload"), "reload", [this] { reload(); })
      ->setToolTip(WindowText::tr(
          "Reads the library again, and tries the ports again if one was taken. Disconnects the handheld."));
  disconnect_ =
      button(WindowText::tr("&Disconnect Client"), "disconnect", [this] { actions_.disconnectClient(); });
  disconnect_->setEnabled(false);
  layout->addLayout(row);
  preferAperture_ = new QCheckBox(WindowText::tr("Prefer &Aperture's library"));
  preferAperture_->setObjectName("preferAperture");
  connect(preferAperture_, &QCheckBox::toggled, this, [this](bool on) { actions_.preferAperture(on); });
  revealPhoto_ = new QCheckBox(WindowText::tr("Clients may &show photos in the photo application"));
  revealPhoto_->setObjectName("revealPhoto");
  connect(revealPhoto_, &QCheckBox::toggled, this, [this](bool on) { actions_.revealPhoto(on); });
  for (QCheckBox* check : {preferAperture_, revealPhoto_}) {
    check->hide();  // until the server has started and says that it does something
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
  // Its usual height, of some ten lines, would need a scroll bar in a window of the usual size.
  const auto margins =
      static_cast<int>(2 * lastLines_->document()->documentMargin()) + 2 * lastLines_->frameWidth();
  lastLines_->setMinimumHeight(kVisibleLines * lastLines_->fontMetrics().lineSpacing() + margins);
  lastLines_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored);
  auto* layout = new QVBoxLayout(group);
  layout->addWidget(lastLines_);
  return group;
}

void MainWindow::chooseLibrary() {
  choice_.choose(path_->text() == unknownValue() ? QString() : path_->text());
}

void MainWindow::showFound(const std::vector<OfferedLibrary>& libraries, bool isSearching) {
  start_->showFound(libraries, isSearching);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (LibraryChoice::isAcceptable(*event->mimeData())) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  if (choice_.takeDropped(*event->mimeData())) event->acceptProposedAction();
}

void MainWindow::closeEvent(QCloseEvent* event) {
  event->ignore();
  const OnClose choice = actions_.onClose();
  if (choice != OnClose::Ask) return closeAs(choice);
  if (connected_.empty()) return closeAs(OnClose::Quit);
  askClosing(shown(connected_), [this](OnClose chosen, bool isKept) {
    if (isKept) actions_.setOnClose(chosen);
    closeAs(chosen);
  });
}

void MainWindow::closeAs(OnClose choice) {
  hide();
  if (choice == OnClose::Quit) actions_.quit();
}

void MainWindow::bringToFront() {
  setWindowState(windowState() & ~Qt::WindowMinimized);
  show();
  raise();
  activateWindow();
}

// Browsers stay connected.
void MainWindow::reload() {
  if (handheld_.empty()) return actions_.reload();
  ask({WindowText::tr("Reload"),
       WindowText::tr("Read the library again? This disconnects %1.").arg(shown(handheld_)),
       WindowText::tr("Reload")},
      [this] { actions_.reload(); });
}

void MainWindow::showStatus(const ServerStatus& status) {
  const auto devices = connectedDevices(status);
  connected_ = namesOf(devices);
  handheld_ = status.client.value_or("");
  devices_->showDevices(devices);
  views_->setCurrentIndex(status.libraryPath ? kServedView : kStartView);
  showLibrary(status);
  showNetwork(status);
  page_->showStatus(status.web);
  setChecked(*preferAperture_, status.preferAperture);
  setChecked(*revealPhoto_, status.revealPhoto);
  preferAperture_->setVisible(status.canPreferAperture);
  revealPhoto_->setVisible(status.canRevealPhoto);
  disconnect_->setEnabled(status.client.has_value());
}

void MainWindow::showLibrary(const ServerStatus& status) {
  const bool none = status.runningApplication == "<none>";
  setValue(*application_, none ? WindowText::tr("none") : shown(status.runningApplication));
  setValue(*path_, shown(status.libraryPath.value_or("")));
  path_->setToolTip(path_->text());
  if (!status.libraryPath) {
    setValue(*library_, WindowText::tr("No library yet. Choose its folder."));
  } else if (status.libraryProblem == kNoSuchFolder) {
    setValue(*library_,
             WindowText::tr("This library is not there. Connect its disk, or choose another library."));
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
  } else if (status.port == 0 && status.publicationProblem.empty()) {
    setValue(*published_, WindowText::tr("Not visible"));
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
