#include "app/windows/Autostart.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <filesystem>

#include "platform/files/UserFolders.h"

namespace moxtel {

namespace {

// A word of the key "Exec":
// https://specifications.freedesktop.org/desktop-entry-spec/latest/exec-variables.html. The backslash is
// special once more in the value of a key.
std::string quoted(const std::string& word) {
  std::string text = "\"";
  for (const char c : word) {
    if (c == '\\') {
      text += "\\\\\\\\";
    } else if (c == '"' || c == '`' || c == '$') {
      text += std::string("\\\\") + c;
    } else if (c == '%') {
      text += "%%";
    } else {
      text += c;
    }
  }
  return text + '"';
}

}  // namespace

Autostart::Autostart(std::string settings, std::string program)
    : settings_(std::move(settings)), program_(std::move(program)) {}

std::string Autostart::usualSettings() { return settingsFolder(); }

std::string Autostart::thisProgram() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

std::string Autostart::path() const { return settings_ + "/autostart/moxtelserver.desktop"; }

std::string Autostart::text() const {
  return "[Desktop Entry]\nType=Application\nName=MoxtelServer\nIcon=moxtelserver\nExec=" + quoted(program_) +
         " --in-background\nX-GNOME-Autostart-enabled=true\n";
}

// A desktop may switch an entry off by such a line instead of removing it.
bool Autostart::isOn() const {
  QFile file(QFile::decodeName(path().c_str()));
  constexpr qint64 kLargest = 65536;
  if (!file.open(QIODevice::ReadOnly)) return false;
  const QByteArray all = '\n' + file.read(kLargest);
  return !all.contains("\nHidden=true") && !all.contains("\nX-GNOME-Autostart-enabled=false");
}

std::string Autostart::set(bool on) const {
  const QString name = QFile::decodeName(path().c_str());
  if (!on) {
    QFile file(name);
    return !file.exists() || file.remove() ? std::string() : file.errorString().toStdString();
  }
  QDir().mkpath(QFile::decodeName((settings_ + "/autostart").c_str()));
  QSaveFile file(name);
  const QByteArray bytes = QByteArray::fromStdString(text());
  if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit()) return {};
  return file.errorString().toStdString();
}

}  // namespace moxtel
