#include "app/ServiceOptions.h"

#include "platform/applications/ScriptInterpreters.h"
#include "platform/files/FileReader.h"

namespace moxtel {

namespace {

constexpr std::uint64_t kLargestFile = 1 << 20;  // bytes

// Reads one assignment after the other.
class EnvironmentText final {
 public:
  explicit EnvironmentText(std::string_view text) : text_(text) {}

  // The next line that is no comment, up to the first "=", without blanks around it; nothing at the end. It
  // is empty where the line has no "=".
  std::optional<std::string> nextName() {
    while (!text_.empty()) {
      const std::size_t start = text_.find_first_not_of(" \t\r\n");
      if (start == std::string_view::npos) return std::nullopt;
      text_.remove_prefix(start);
      const std::size_t end = std::min(text_.find('\n'), text_.size());
      const std::size_t sign = text_.substr(0, end).find('=');
      if (text_[0] == '#' || text_[0] == ';' || sign == std::string_view::npos) {
        text_.remove_prefix(end);
        continue;
      }
      const std::string_view name = text_.substr(0, sign);
      text_.remove_prefix(sign + 1);
      return std::string(name.substr(0, name.find_last_not_of(" \t") + 1));
    }
    return std::nullopt;
  }

  // The rest of the line: parts in quotes, and parts without. A backslash at the end of a line continues it.
  std::string takeValue() {
    text_.remove_prefix(std::min(text_.find_first_not_of(" \t"), text_.size()));
    std::string value;
    std::size_t length = 0;  // without blanks at the end
    bool isAtStart = true;   // of the value, or behind a quoted part: only there a quote begins one
    while (!text_.empty() && text_[0] != '\n') {
      const char c = take();
      if (isAtStart && (c == '"' || c == '\'')) {
        takeQuoted(c, value);
        length = value.size();
        continue;
      }
      if (isAtStart && (c == ' ' || c == '\t')) continue;
      isAtStart = false;
      if (c == '\\') {
        if (!text_.empty() && text_[0] != '\n') value += text_[0];
        if (!text_.empty()) take();
        length = value.size();
        continue;
      }
      value += c;
      if (c != ' ' && c != '\t' && c != '\r') length = value.size();
    }
    value.resize(length);
    return value;
  }

 private:
  char take() {
    const char c = text_[0];
    text_.remove_prefix(1);
    return c;
  }

  void takeQuoted(char quote, std::string& value) {
    while (!text_.empty()) {
      const char c = take();
      if (c == quote) return;
      if (quote == '"' && c == '\\' && !text_.empty()) {
        const char escaped = take();
        if (std::string_view("\"\\`$").find(escaped) == std::string_view::npos && escaped != '\n') value += c;
        if (escaped != '\n') value += escaped;
      } else {
        value += c;
      }
    }
  }

  std::string_view text_;
};

}  // namespace

std::optional<std::string> valueInEnvironmentFile(std::string_view text, std::string_view name) {
  std::optional<std::string> found;
  EnvironmentText lines(text);
  while (const auto next = lines.nextName()) {
    std::string value = lines.takeValue();
    if (*next == name) found = std::move(value);
  }
  return found;
}

std::optional<std::vector<std::string>> serviceOptions(const std::string& file) {
  const FileContents contents = readWholeFile(file, kLargestFile);
  if (contents.state != FileState::Open) return std::nullopt;
  const std::string text(contents.bytes.begin(), contents.bytes.end());
  const auto value = valueInEnvironmentFile(text, "MOXTEL_OPTIONS");
  if (!value) return std::nullopt;
  return commandWords(*value);
}

}  // namespace moxtel
