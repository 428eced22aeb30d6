#include "platform/settings/SettingsFile.h"

#include <QIODevice>
#include <QSettings>
#include <cctype>

#include "platform/files/UserFolders.h"
#include "platform/system/SystemLog.h"
#include "value/Trimmed.h"

namespace moxtel {

namespace {

bool needsQuotes(std::string_view value) {
  if (value != trimmed(value) || value.starts_with('"')) return true;
  for (const char c : value) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return true;
  }
  return false;
}

std::string escaped(char c) {
  constexpr std::string_view kHex = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  switch (c) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    default:
      if (byte >= 0x20 && byte != 0x7f) return {c};
      return {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
  }
}

std::string written(std::string_view value) {
  if (!needsQuotes(value)) return std::string(value);
  std::string text = "\"";
  for (const char c : value) text += escaped(c);
  return text + '"';
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const int lower = std::tolower(static_cast<unsigned char>(c));
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Decodes the escape whose character after the backslash is text[i]; moves i to its last character.
char unescaped(std::string_view text, std::size_t& i) {
  switch (text[i]) {
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case 'x':
      if (i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 && hexDigit(text[i + 2]) >= 0) {
        i += 2;
        return static_cast<char>(hexDigit(text[i - 1]) * 16 + hexDigit(text[i]));
      }
      [[fallthrough]];
    default:
      return text[i];
  }
}

std::string readValue(std::string_view text) {
  if (text.size() < 2 || !text.starts_with('"') || !text.ends_with('"')) return std::string(text);
  text = text.substr(1, text.size() - 2);
  std::string value;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      value += unescaped(text, ++i);
    } else {
      value += text[i];
    }
  }
  return value;
}

std::string prefixOfSection(std::string_view line) {
  const std::string_view name = trimmed(line.substr(1, line.find(']') - 1));
  return name == "General" || name.empty() ? std::string() : std::string(name) + '/';
}

// QString holds the bytes one to one (Latin-1), so that no encoding loses any.
QString lettersOf(std::string_view bytes) {
  return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

void readLine(std::string_view line, std::string& prefix, QSettings::SettingsMap& map) {
  if (line.empty() || line[0] == '#' || line[0] == ';') return;
  if (line[0] == '[') {
    prefix = prefixOfSection(line);
    return;
  }
  const auto equals = line.find('=');
  if (equals == std::string_view::npos) return;
  const std::string key = prefix + std::string(trimmed(line.substr(0, equals)));
  map.insert(lettersOf(key), lettersOf(readValue(trimmed(line.substr(equals + 1)))));
}

bool readFile(QIODevice& device, QSettings::SettingsMap& map) {
  const QByteArray all = device.readAll();
  std::string_view rest(all.constData(), static_cast<std::size_t>(all.size()));
  if (rest.starts_with("\xef\xbb\xbf")) rest.remove_prefix(3);
  std::string prefix;
  while (!rest.empty()) {
    const auto end = rest.find('\n');
    readLine(trimmed(rest.substr(0, end)), prefix, map);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  return true;
}

bool writeFile(QIODevice& device, const QSettings::SettingsMap& map) {
  std::string text = "[General]\n";
  for (auto entry = map.begin(); entry != map.end(); ++entry) {
    text += entry.key().toLatin1().toStdString() + '=' +
            written(entry.value().toString().toLatin1().toStdString()) + '\n';
  }
  return device.write(text.data(), static_cast<qint64>(text.size())) == static_cast<qint64>(text.size());
}

QSettings::Format lineFormat() {
  static const QSettings::Format kFormat =
      QSettings::registerFormat("settings", readFile, writeFile, Qt::CaseSensitive);
  return kFormat;
}

class SettingsFile final : public SettingsStore {
 public:
  explicit SettingsFile(const std::string& path)
      : path_(path), settings_(QString::fromStdString(path), lineFormat()) {
    settings_.setFallbacksEnabled(false);
  }

  std::optional<std::string> read(std::string_view key) override {
    settings_.sync();
    const QVariant value = settings_.value(lettersOf(key));
    if (!value.isValid()) return std::nullopt;
    return value.toString().toLatin1().toStdString();
  }

  void write(std::string_view key, std::string_view value) override {
    settings_.setValue(lettersOf(key), lettersOf(value));
    save();
  }

  void remove(std::string_view key) override {
    settings_.remove(lettersOf(key));
    save();
  }

  std::string where() const override { return path_; }

 private:
  void save() {
    settings_.sync();
    if (settings_.status() == QSettings::NoError || std::exchange(complained_, true)) return;
    NSLog("could not write the settings file '%@'", path_);
  }

  const std::string path_;
  QSettings settings_;
  bool complained_ = false;
};

}  // namespace

std::unique_ptr<SettingsStore> makeSettingsFile(const std::string& path) {
  return std::make_unique<SettingsFile>(path);
}

std::unique_ptr<SettingsStore> makeUserSettingsStore() {
  return makeSettingsFile(settingsFolder() + "/MoxtelServer/settings.ini");
}

}  // namespace moxtel
