#include "export/ReportPage.h"

#include <algorithm>
#include <string>

#include "export/ExportText.h"
#include "export/ReportPageTexts.h"
#include "platform/system/LogText.h"

namespace moxtel {

namespace {

constexpr std::string_view kStyle = R"(
:root { color-scheme: light dark; --line: #8884; --soft: #8882; --good: #2a7d3f; --bad: #b3410e; }
@media (prefers-color-scheme: dark) { :root { --good: #6fd08a; --bad: #ffa06b; } }
body { font: 16px/1.5 system-ui, sans-serif; margin: 2rem auto; padding: 0 1rem; max-width: 56rem; }
h1 { line-height: 1.2; margin-bottom: .5rem; }
h2 { margin: 2.5rem 0 .5rem; }
.verdict { font-size: 1.2rem; font-weight: 600; }
.good { color: var(--good); }
.bad { color: var(--bad); }
.disk { border-left: 4px solid var(--bad); background: var(--soft); padding: .6rem 1rem; }
table { border-collapse: collapse; width: 100%; }
th, td { border-bottom: 1px solid var(--line); padding: .3rem .8rem .3rem 0; text-align: left; vertical-align: top;
  overflow-wrap: anywhere; }
table.counts { width: auto; }
table.counts td { text-align: right; font-variant-numeric: tabular-nums; padding-right: 0; }
details { border: 1px solid var(--line); border-radius: .5rem; margin: .8rem 0; padding: .6rem 1rem; }
summary { cursor: pointer; font-weight: 600; }
code { overflow-wrap: anywhere; }
th code { white-space: nowrap; }
)";

// A section with more files than this is closed at first.
constexpr std::uint64_t kMostOpen = 50;

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

// A text of a library or of a disk, which may be written from right to left.
std::string shown(std::string_view text) {
  return "<bdi>" + escaped(printableText(loggedText(text))) + "</bdi>";
}

class Page final {
 public:
  Page(Report& report, PageLanguage language, const std::function<void(std::string_view)>& write)
      : report_(report), language_(language), write_(write) {}

  void make() {
    writeHead();
    writeVerdict();
    writeDisks();
    writeCounts();
    writeFindings(true, {"What is missing, and why", "Was fehlt, und warum"});
    writeFindings(false, {"Good to know", "Gut zu wissen"});
    writeFolder();
    write_("</body>\n</html>\n");
  }

 private:
  std::string text(PageText each) const { return std::string(each.in(language_)); }
  std::string number(std::uint64_t value) const {
    std::string digits = groupedNumber(value);
    if (language_ == PageLanguage::German) std::replace(digits.begin(), digits.end(), ',', '.');
    return digits;
  }
  std::string size(std::uint64_t bytes) const {
    std::string digits = sizeText(bytes);
    if (language_ == PageLanguage::English) return digits;
    for (char& c : digits) c = c == '.' ? ',' : c == ',' ? '.' : c;
    return digits;
  }

  void writeHead() {
    const std::string title = text({"Photos from a library", "Fotos aus einer Bibliothek"});
    write_("<!DOCTYPE html>\n<html lang=\"" + text({"en", "de"}) + "\">\n<head>\n<meta charset=\"utf-8\">\n" +
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
           "'unsafe-inline'\">\n" +
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" + title +
           "</title>\n<style>" + std::string(kStyle) + "</style>\n</head>\n<body>\n<h1>" + title + "</h1>\n");
    for (const LibraryReport& library : report_.libraries)
      write_("<p>" + escaped(library.kind) + ": <code>" + shown(library.path) + "</code>" +
             (library.folder.empty() ? "" : " → <code>" + shown(library.folder) + "</code>") + "</p>\n");
  }

  std::uint64_t missing() const {
    std::uint64_t all = 0;
    for (std::size_t i = 0; i < kFindings; ++i)
      if (isIncomplete(static_cast<Finding>(i))) all += report_.countOf(static_cast<Finding>(i));
    return all;
  }

  void writeVerdict() {
    if (!report_.failure.empty())
      return writeVerdict(false, text({"The export ended early: ", "Der Export endete vorzeitig: "}) +
                                     shown(report_.failure));
    if (report_.isInterrupted)
      return writeVerdict(false, text({"The export was interrupted. The same command continues it.",
                                       "Der Export wurde unterbrochen. Derselbe Befehl setzt ihn fort."}));
    if (report_.isComplete())
      return writeVerdict(true, text({"Complete: everything that the library has is here.",
                                      "Vollständig: Alles, was die Bibliothek enthält, ist hier."}));
    writeVerdict(
        false, text({"Not complete. Missing or uncertain: ", "Nicht vollständig. Fehlend oder unsicher: "}) +
                   number(missing()) + ".");
  }
  void writeVerdict(bool isGood, const std::string& html) {
    write_(std::string("<p class=\"verdict ") + (isGood ? "good" : "bad") + "\">" + html + "</p>\n");
  }

  void writeDisks() {
    report_.forEachReason(Finding::AbsentDisk, [&](std::string_view disk, std::uint64_t photos) {
      const std::string name =
          disk.empty() ? text({"a disk without a known name", "einer Festplatte ohne bekannten Namen"})
                       : text({"“", "„"}) + shown(disk) + text({"”", "“"});
      const std::string lie = photos == 1 ? text({" photo lies on ", " Foto liegt auf "})
                                          : text({" photos lie on ", " Fotos liegen auf "});
      write_("<p class=\"disk\">" + number(photos) + lie + name +
             text({": attach it, and run the export again.",
                   ": Schließen Sie sie an und starten Sie den Export noch "
                   "einmal."}) +
             "</p>\n");
    });
  }

  void writeCount(PageText name, const std::string& value, bool isWanted) {
    if (isWanted) write_("<tr><th scope=\"row\">" + text(name) + "</th><td>" + value + "</td></tr>\n");
  }
  void writeCount(PageText name, std::uint64_t value, bool isWanted) {
    writeCount(name, number(value), isWanted);
  }

  void writeCounts() {
    const ReportCounts& counts = report_.counts;
    write_("<h2>" + text({"Numbers", "Zahlen"}) + "</h2>\n<table class=\"counts\">\n");
    writeCount({"Photos and movies in the library", "Fotos und Filme in der Bibliothek"}, counts.photos,
               true);
    writeCount({"Movies among them", "Davon Filme"}, counts.movies, counts.movies > 0);
    writeCount({"Hidden ones among them", "Davon ausgeblendete"}, counts.hidden, counts.hidden > 0);
    writeCount({"Hidden photos that were left out", "Ausgelassene ausgeblendete Fotos"}, counts.hiddenLeft,
               counts.hiddenLeft > 0);
    writeCount({"Photos in the trash, left out", "Ausgelassene Fotos im Papierkorb"}, counts.trashLeft,
               counts.trashLeft > 0);
    writeCount({"Albums", "Alben"}, counts.albums, counts.albums > 0);
    writeCount({"Picture and movie files that belong here", "Bild- und Filmdateien, die hierher gehören"},
               counts.files, true);
    writeCount({"Linked in this run", "In diesem Lauf verknüpft"}, counts.copied, report_.isLinked);
    writeCount({"Copied in this run", "In diesem Lauf kopiert"},
               number(counts.copied) + " (" + size(counts.copiedBytes) + ")", !report_.isLinked);
    writeCount({"Here already", "Schon vorhanden"}, counts.unchanged, counts.unchanged > 0);
    writeCount({"Sidecars written in this run", "In diesem Lauf geschriebene Begleitdateien"},
               counts.sidecars, counts.sidecars > 0);
    writeCount({"Files whose checksum was compared", "Dateien, deren Prüfsumme verglichen wurde"},
               counts.verified, counts.verified > 0);
    write_("</table>\n");
  }

  void writeFindings(bool ofMissing, PageText heading) {
    bool isFirst = true;
    for (std::size_t i = 0; i < kFindings; ++i) {
      const auto finding = static_cast<Finding>(i);
      if (isIncomplete(finding) != ofMissing || report_.countOf(finding) == 0) continue;
      if (isFirst) write_("<h2>" + text(heading) + "</h2>\n");
      isFirst = false;
      writeFinding(finding);
    }
  }

  void writeFinding(Finding finding) {
    const std::uint64_t count = report_.countOf(finding);
    const bool isOpen = isIncomplete(finding) && count <= kMostOpen;
    const bool hasLibraries = report_.libraries.size() > 1;
    write_(std::string("<details") + (isOpen ? " open" : "") + "><summary>" +
           std::string(pageHeadingOf(finding, language_)) + ": " + number(count) + "</summary>\n<p>" +
           std::string(adviceOf(finding, language_)) + "</p>\n<table>\n<tr>" +
           (hasLibraries ? "<th scope=\"col\">" + text({"Library", "Bibliothek"}) + "</th>" : "") +
           "<th scope=\"col\">" + text({"File or album", "Datei oder Album"}) + "</th><th scope=\"col\">" +
           text({"Reason", "Grund"}) + "</th></tr>\n");
    report_.forEach(finding, [&](const FindingEntry& entry) {
      write_("<tr>" + (hasLibraries ? "<td>" + shown(entry.library) + "</td>" : "") + "<td>" +
             shown(entry.file) + "</td><td>" + shown(translatedReason(entry.reason, language_)) +
             "</td></tr>\n");
    });
    write_("</table>\n</details>\n");
  }

  void writeFolder() {
    write_("<h2>" + text({"What is in this folder", "Was in diesem Ordner ist"}) + "</h2>\n<table>\n");
    const auto row = [&](const char* name, PageText meaning) {
      write_(std::string("<tr><th scope=\"row\"><code>") + name + "</code></th><td>" + text(meaning) +
             "</td></tr>\n");
    };
    row("Events/",
        {"The photos, in a folder for each event. “_edited” at the end of a name: with your edits.",
         "Die Fotos, in einem Ordner je Ereignis. „_edited“ am Ende eines Namens: mit Ihren Änderungen."});
    row("Hidden/",
        {"Photos that are hidden in the library.", "Fotos, die in der Bibliothek ausgeblendet sind."});
    row("Albums/*.m3u8", {"Lists of the photos of each album.", "Listen der Fotos jedes Albums."});
    row("Notes.txt", {"Notes of events, albums and photos.", "Notizen zu Ereignissen, Alben und Fotos."});
    row("*.xmp",
        {"Titles, captions, keywords, people, positions and dates of the photo with the same name. Other "
         "photo "
         "programs read them: keep them beside the photos.",
         "Titel, Beschreibungen, Schlagwörter, Personen, Orte und Daten des Fotos gleichen Namens. Andere "
         "Fotoprogramme lesen sie: Lassen Sie sie neben den Fotos."});
    row("SHA256SUMS", {"Checksums, to see later whether a file is still as it was.",
                       "Prüfsummen, um später zu sehen, ob eine Datei noch so ist, wie sie war."});
    row(".moxtel-export/",
        {"What the next run needs to continue.", "Was der nächste Lauf braucht, um fortzusetzen."});
    write_("</table>\n");
  }

  Report& report_;
  const PageLanguage language_;
  const std::function<void(std::string_view)>& write_;
};

}  // namespace

PageLanguage languageOf(std::string_view locale) {
  const std::string_view language = locale.substr(0, locale.find_first_of("_.@"));
  return language == "de" ? PageLanguage::German : PageLanguage::English;
}

void writeReportPage(Report& report, PageLanguage language,
                     const std::function<void(std::string_view)>& write) {
  Page(report, language, write).make();
}

}  // namespace moxtel
