#include "console/StandardOutputConsoleView.h"

#include <string>

namespace moxtel {

namespace {

constexpr const char* kIndent = "    ";

void appendEscaped(std::string& out, unsigned char byte) {
  constexpr std::string_view kHex = "0123456789abcdef";
  out += "\\x";
  out += kHex[byte >> 4];
  out += kHex[byte & 15];
}

// Terminals also interpret U+0080 to U+009F, which are C2 80 to C2 9F in UTF-8.
bool isC1Control(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]) == 0xC2 && at + 1 < text.size() &&
         static_cast<unsigned char>(text[at + 1]) >= 0x80 && static_cast<unsigned char>(text[at + 1]) < 0xA0;
}

std::string printable(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (isC1Control(text, at)) {
      appendEscaped(out, byte);
      appendEscaped(out, static_cast<unsigned char>(text[++at]));
    } else if ((byte < 0x20 && byte != '\t' && byte != '\n') || byte == 0x7f) {
      appendEscaped(out, byte);
    } else {
      out += text[at];
    }
  }
  return out;
}

// Writes a text with a prefix for its first line, another for the lines after it, and a newline at the end.
void writeLines(std::FILE* stream, std::string_view firstPrefix, std::string_view nextPrefix,
                std::string_view text) {
  std::string out(firstPrefix);
  for (const char c : text) {
    out += c;
    if (c == '\n') out += nextPrefix;
  }
  out += '\n';
  std::fwrite(out.data(), 1, out.size(), stream);
  std::fflush(stream);
}

}  // namespace

void writeJournalLines(std::FILE* stream, JournalPriority priority, std::string_view text) {
  const std::string prefix = '<' + std::to_string(static_cast<int>(priority)) + '>';
  writeLines(stream, prefix, prefix + kIndent, text);
}

void StandardOutputConsoleView::appendLine(const ConsoleLine& line) {
  const std::string text = printable(line.titleRun() + line.text);
  if (kind_ == OutputKind::Journal) {
    writeJournalLines(stream_, line.isError() ? JournalPriority::Error : JournalPriority::Info, text);
  } else {
    writeLines(stream_, line.dateRun(), kIndent, text);
  }
}

}  // namespace moxtel
