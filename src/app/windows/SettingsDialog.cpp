#include "app/windows/SettingsDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <variant>

#include "app/windows/FolderList.h"
#include "console/window/WindowText.h"
#include "library/ReferencedFolders.h"
#include "net/AddressList.h"
#include "platform/settings/UserDefaults.h"

namespace moxtel {

namespace {

constexpr int kUsualPort = 4250;
constexpr int kUsualWebPort = 4251;
constexpr int kLargestPort = 65535;
constexpr QSize kUsualSize{560, 420};
constexpr QSize kFrame{16, 56};  // of the desktop around a window, at most
constexpr const char* kUsualAccess = "key";

enum Tab : std::uint8_t { kNetwork, kPage, kFolders, kLogs };

QLabel* explanation(const QString& text) {
  auto* label = new QLabel(text);
  label->setWordWrap(true);
  return label;
}

QSpinBox* makePort(const char* name, int smallest) {
  auto* box = new QSpinBox;
  box->setObjectName(name);
  box->setRange(smallest, kLargestPort);
  return box;
}

int numberOr(const UserDefaults& defaults, const char* key, int otherwise) {
  if (!defaults.stringForKey(key)) return otherwise;
  return static_cast<int>(std::clamp<std::int64_t>(defaults.integerForKey(key), 0, kLargestPort));
}

QLineEdit* makeEdit(const UserDefaults& defaults, const char* key) {
  auto* edit = new QLineEdit(shown(defaults.stringForKey(key).value_or("")));
  edit->setObjectName(key);
  return edit;
}

std::string textOf(const QLineEdit& edit) { return edit.text().trimmed().toStdString(); }

// Empty, or why no log can be written to this file.
QString whyNoLog(const QString& path) {
  if (path.isEmpty()) return {};
  const QFileInfo file(path);
  if (!file.isAbsolute())
    return WindowText::tr("\"%1\" is no path of a file: it must begin with \"/\".").arg(path);
  if (file.isDir()) return WindowText::tr("\"%1\" is a folder. Add the name of a file.").arg(path);
  if (!QFileInfo(file.path()).isDir()) return WindowText::tr("There is no folder \"%1\".").arg(file.path());
  return {};
}

// Small screens show a part of it.
QWidget* scrolled(QWidget* content) {
  auto* area = new QScrollArea;
  area->setWidget(content);
  area->setWidgetResizable(true);
  area->setFrameShape(QFrame::NoFrame);
  return area;
}

}  // namespace

SettingsDialog::SettingsDialog(UserDefaults& defaults, std::function<void()> changed, QWidget* parent)
    : QDialog(parent), defaults_(defaults), changed_(std::move(changed)), tabs_(new QTabWidget) {
  setWindowTitle(WindowText::tr("Settings"));
  tabs_->addTab(scrolled(makeNetwork()), WindowText::tr("&Network"));
  tabs_->addTab(scrolled(makePage()), WindowText::tr("&Page for browsers"));
  tabs_->addTab(scrolled(makeFolders()), WindowText::tr("&Folders"));
  tabs_->addTab(scrolled(makeLogs()), WindowText::tr("&Logs"));
  problem_ = explanation({});
  problem_->setObjectName("problem");
  problem_->setTextFormat(Qt::PlainText);
  problem_->hide();
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  connect(buttons, &QDialogButtonBox::accepted, this, [this] { accept(); });
  connect(buttons, &QDialogButtonBox::rejected, this, [this] { reject(); });
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(tabs_, 1);
  layout->addWidget(problem_);
  layout->addWidget(explanation(WindowText::tr(
      "A change restarts the server: connected devices are disconnected, and can connect again.")));
  layout->addWidget(buttons);
  enableFields();
  resize(sizeHint().expandedTo(kUsualSize).boundedTo(screen()->availableSize() - kFrame));
}

QWidget* SettingsDialog::makeNetwork() {
  auto* page = new QWidget;
  auto* form = new QFormLayout(page);
  port_ = makePort("Port", 0);
  port_->setSpecialValueText(WindowText::tr("any free port"));
  port_->setValue(numberOr(defaults_, "Port", kUsualPort));
  form->addRow(WindowText::tr("P&ort for Moxtel:"), port_);
  allowedClients_ = makeEdit(defaults_, "AllowedClients");
  allowedClients_->setPlaceholderText(WindowText::tr("all devices of the network"));
  form->addRow(WindowText::tr("Allowed &devices:"), allowedClients_);
  form->addRow(explanation(WindowText::tr(
      "Addresses and networks, for example 192.168.1.0/24, 10.0.0.7. They count for Moxtel and for "
      "the page.")));
  return page;
}

QWidget* SettingsDialog::makePage() {
  auto* page = new QWidget;
  auto* form = new QFormLayout(page);
  webAccess_ = new QComboBox;
  webAccess_->setObjectName("WebAccess");
  webAccess_->addItem(WindowText::tr("whoever has the key"), kUsualAccess);
  webAccess_->addItem(WindowText::tr("everybody in the network"), "open");
  webAccess_->addItem(WindowText::tr("there is no page"), "off");
  const bool isOff = numberOr(defaults_, "WebPort", kUsualWebPort) == 0;
  const QString access = isOff ? "off" : shown(defaults_.stringForKey("WebAccess").value_or(kUsualAccess));
  webAccess_->setCurrentIndex(std::max(0, webAccess_->findData(access)));
  form->addRow(WindowText::tr("&Who may look:"), webAccess_);
  webPort_ = makePort("WebPort", 1);
  webPort_->setValue(isOff ? kUsualWebPort : numberOr(defaults_, "WebPort", kUsualWebPort));
  form->addRow(WindowText::tr("P&ort of the page:"), webPort_);
  webLibraries_ = new FolderList(WindowText::tr("Further libraries"));
  webLibraries_->setObjectName("WebLibraries");
  webLibraries_->setSetting(defaults_.stringForKey("WebLibraries").value_or(""));
  form->addRow(
      explanation(WindowText::tr("Further libraries on the page, or folders that are searched for them:")));
  form->addRow(webLibraries_);
  connect(webAccess_, &QComboBox::currentIndexChanged, this, [this] { enableFields(); });
  return page;
}

QWidget* SettingsDialog::makeFolders() {
  auto* page = new QWidget;
  auto* form = new QFormLayout(page);
  form->addRow(explanation(WindowText::tr(
      "Folders with photos that a library only refers to. The server reads files outside the library "
      "only there. For the files of one disk, write its name before the folder: Photos "
      "2011=/media/disk")));
  referencedFolders_ = new FolderList(WindowText::tr("Folders outside the library"));
  referencedFolders_->setObjectName("ReferencedFolders");
  referencedFolders_->setSetting(defaults_.stringForKey("ReferencedFolders").value_or(""));
  form->addRow(referencedFolders_);
  return page;
}

QWidget* SettingsDialog::makeLogs() {
  auto* page = new QWidget;
  auto* form = new QFormLayout(page);
  errorLog_ = makeEdit(defaults_, "ErrorLogPath");
  errorLog_->setPlaceholderText(WindowText::tr("no file"));
  form->addRow(WindowText::tr("&Errors into the file:"), errorLog_);
  debug_ = new QCheckBox(WindowText::tr("&Write debug messages"));
  debug_->setObjectName("DebugLevel");
  debug_->setChecked(defaults_.integerForKey("DebugLevel") > 0);
  form->addRow(debug_);
  debugLog_ = makeEdit(defaults_, "DebugLogPath");
  form->addRow(WindowText::tr("&Debug messages into the file:"), debugLog_);
  connect(debug_, &QCheckBox::toggled, this, [this] { enableFields(); });
  return page;
}

void SettingsDialog::enableFields() {
  const bool hasPage = webAccess_->currentData() != "off";
  webPort_->setEnabled(hasPage);
  webLibraries_->setEnabled(hasPage);
  debugLog_->setEnabled(debug_->isChecked());
}

bool SettingsDialog::refuse(int tab, QWidget* field, const QString& why) {
  tabs_->setCurrentIndex(tab);
  field->setFocus();
  problem_->setText(why);
  problem_->show();
  return false;
}

bool SettingsDialog::isRight() {
  const auto clients = AddressList::parse(textOf(*allowedClients_));
  if (const auto* wrong = std::get_if<std::string>(&clients)) {
    return refuse(kNetwork, allowedClients_,
                  WindowText::tr("\"%1\" is neither an IPv4 address nor a network such as 192.168.1.0/24.")
                      .arg(shown(*wrong)));
  }
  if (webPort_->isEnabled() && port_->value() == webPort_->value()) {
    return refuse(
        kPage, webPort_,
        WindowText::tr("The page needs another port than Moxtel, which has %1.").arg(port_->value()));
  }
  const ReferencedFolders folders(referencedFolders_->setting());
  if (!folders.rejected().empty()) {
    return refuse(kFolders, referencedFolders_,
                  WindowText::tr("\"%1\" is neither a path that begins with \"/\" nor NAME=/PATH.")
                      .arg(shown(folders.rejected().front())));
  }
  for (QLineEdit* log : {errorLog_, debugLog_}) {
    const QString why = log->isEnabled() ? whyNoLog(log->text().trimmed()) : QString();
    if (!why.isEmpty()) return refuse(kLogs, log, why);
  }
  if (debug_->isChecked() && debugLog_->text().trimmed().isEmpty())
    return refuse(kLogs, debugLog_, WindowText::tr("Enter the file for the debug messages."));
  return true;
}

// What is as usual is not stored, so that a later version may have another usual value. True if it changed.
bool SettingsDialog::storeText(const char* key, const std::string& text, const std::string& usual) {
  const std::string before = defaults_.stringForKey(key).value_or(usual);
  if ((before.empty() ? usual : before) == text) return false;
  if (text == usual) {
    defaults_.remove(key);
  } else {
    defaults_.setString(key, text);
  }
  return true;
}

bool SettingsDialog::store() {
  bool isChanged = storeText("Port", std::to_string(port_->value()), std::to_string(kUsualPort));
  isChanged |= storeText("AllowedClients", textOf(*allowedClients_));
  isChanged |= storeText("WebAccess", webAccess_->currentData().toString().toStdString(), kUsualAccess);
  if (webPort_->isEnabled())
    isChanged |= storeText("WebPort", std::to_string(webPort_->value()), std::to_string(kUsualWebPort));
  isChanged |= storeText("WebLibraries", webLibraries_->setting());
  isChanged |= storeText("ReferencedFolders", referencedFolders_->setting());
  isChanged |= storeText("ErrorLogPath", textOf(*errorLog_));
  isChanged |= storeText("DebugLogPath", textOf(*debugLog_));
  const std::int64_t level = defaults_.integerForKey("DebugLevel");
  if (debug_->isChecked() != (level > 0))
    isChanged |= storeText("DebugLevel", debug_->isChecked() ? "1" : "0", "0");
  return isChanged;
}

void SettingsDialog::accept() {
  if (!isRight()) return;
  const bool isChanged = store();
  QDialog::accept();
  if (isChanged) changed_();
}

}  // namespace moxtel
