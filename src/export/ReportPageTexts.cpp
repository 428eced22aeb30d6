#include "export/ReportPageTexts.h"

#include <array>

namespace moxtel {

namespace {

struct FindingTexts {
  std::string_view germanHeading;
  PageText advice;
};

// By Finding.
constexpr std::array<FindingTexts, kFindings> kFindingTexts{{
    {"Originale auf einer Festplatte, die nicht angeschlossen ist",
     {"The library only refers to these files. Attach the disk and run the export again: it adds them.",
      "Die Bibliothek verweist nur auf diese Dateien. Schließen Sie die Festplatte an und starten Sie den "
      "Export noch "
      "einmal: Er ergänzt sie."}},
    {"Originale, die nur in iCloud sind",
     {"The library on this disk has no full-size file of them. Download the originals in Photos on the Mac, "
      "or from "
      "icloud.com.",
      "Die Bibliothek auf dieser Festplatte enthält sie nicht in voller Größe. Laden Sie die Originale in "
      "Fotos auf dem "
      "Mac oder von icloud.com herunter."}},
    {"Originale, die in der Bibliothek fehlen",
     {"The library names these files, but they are not there. A backup of the library may have them.",
      "Die Bibliothek nennt diese Dateien, aber sie sind nicht da. Vielleicht enthält eine Sicherung der "
      "Bibliothek sie."}},
    {"Bearbeitete Fotos, von denen die Bibliothek kein Bild enthält",
     {"The original is here. The edited picture can be made only by the program that edited it.",
      "Das Original ist hier. Das bearbeitete Bild kann nur das Programm herstellen, mit dem es bearbeitet "
      "wurde."}},
    {"Dateien, die sich nicht lesen ließen",
     {"Reading failed twice. The disk may be damaged: copy what is important from it, and run the export "
      "again.",
      "Das Lesen ist zweimal gescheitert. Vielleicht ist die Festplatte beschädigt: Sichern Sie Wichtiges "
      "und starten "
      "Sie den Export noch einmal."}},
    {"Dateien, die für das Dateisystem des Ziels zu groß sind",
     {"FAT disks hold no file of 4 GiB or more. Export to a disk with exFAT, NTFS or ext4.",
      "FAT-Datenträger fassen keine Datei ab 4 GiB. Exportieren Sie auf einen Datenträger mit exFAT, NTFS "
      "oder ext4."}},
    {"Dateien, die sich nicht schreiben ließen",
     {"The target refused these files.", "Das Ziel hat diese Dateien abgelehnt."}},
    {"Dateien im Ziel, die nicht mehr so sind, wie sie geschrieben wurden",
     {"Remove these files and run the export again: it copies them once more.",
      "Entfernen Sie diese Dateien und starten Sie den Export noch einmal: Er kopiert sie erneut."}},
    {"Alben, deren Fotos nicht bekannt sind",
     {"The photos themselves are here; which of them were in these albums is not.",
      "Die Fotos selbst sind hier; unbekannt ist, welche davon in diesen Alben waren."}},
    {"Beschädigte Datenbanken",
     {"What could be read in their place was used.", "Verwendet wurde, was sich stattdessen lesen ließ."}},
    {"Bibliotheken, die sich nicht lesen ließen",
     {"Nothing was exported from them.", "Daraus wurde nichts exportiert."}},
    {"Fotos, deren Angaben sich nicht alle lesen ließen",
     {"The files are here; titles, keywords or other facts may be missing.",
      "Die Dateien sind hier; Titel, Schlagwörter oder andere Angaben fehlen vielleicht."}},
    {"Bearbeitete Bilder, die kleiner sind als ihre Originale",
     {"The library keeps its edited pictures in this size. The originals have all pixels.",
      "Die Bibliothek bewahrt bearbeitete Bilder in dieser Größe auf. Die Originale haben alle Pixel."}},
    {"Bearbeitete Bilder ohne die letzten Änderungen",
     {"The library made the picture before the last edit.",
      "Die Bibliothek hat das Bild vor der letzten Bearbeitung hergestellt."}},
    {"Intelligente Alben, von denen nur die sicheren Fotos bekannt sind",
     {"More photos may have been in these albums.", "In diesen Alben waren vielleicht noch mehr Fotos."}},
    {"Duplikate, die sich die Datei mit einem anderen Foto teilen",
     {"One file is here for all of them.", "Für alle zusammen ist eine Datei hier."}},
    {"Dateien, die anders heißen als in der Bibliothek",
     {"Two files had the same name, or not every disk allows the name.",
      "Zwei Dateien hießen gleich, oder der Name ist nicht auf jedem Datenträger erlaubt."}},
    {"Fotos ohne Datum", {"The library has no date of them.", "Die Bibliothek kennt kein Datum."}},
    {"Geänderte Begleitdateien und Listen",
     {"Another program changed them after an earlier export. They stay as they are; the library has other "
      "facts now.",
      "Ein anderes Programm hat sie nach einem früheren Export geändert. Sie bleiben so; die Bibliothek "
      "enthält "
      "inzwischen andere Angaben."}},
    {"Geänderte Dateien",
     {"They were changed after an earlier export, and stay as they are.",
      "Sie wurden nach einem früheren Export geändert und bleiben so."}},
    {"Verknüpfungen, die das Ziel nicht erlaubt",
     {"The target's file system has no links. The lists of the albums are complete without them.",
      "Das Dateisystem des Ziels kennt keine Verknüpfungen. Die Listen der Alben sind auch ohne sie "
      "vollständig."}},
    {"Dateien zwischen den Originalen, die zu keinem Foto gehören",
     {"Leftovers of imports, or frames of a burst that the library does not show. They are in the folder "
      "“Not in the "
      "library”.",
      "Reste von Importen, oder Bilder einer Serie, die die Bibliothek nicht zeigt. Sie sind im Ordner „Not "
      "in the "
      "library“."}},
    {"Originale mit gleichem Inhalt",
     {"The library has them more than once, and so has this folder.",
      "Die Bibliothek enthält sie mehrfach, und dieser Ordner ebenso."}},
    {"Bibliotheken, die Kopien einer anderen sind",
     {"Exporting both gives most photos twice. Export one of them.",
      "Beide zu exportieren ergibt die meisten Fotos doppelt. Exportieren Sie eine davon."}},
    {"Dateien, die keine Angaben aufnehmen können",
     {"Their facts are in the file beside them whose name ends in .xmp.",
      "Ihre Angaben sind in der Datei daneben, deren Name auf .xmp endet."}},
    {"Angaben, für die es in Begleitdateien keinen Platz gibt",
     {"The library knows these facts; no other program would read them.",
      "Die Bibliothek kennt diese Angaben; kein anderes Programm würde sie lesen."}},
    {"Dateien, deren Zeit das Ziel nicht übernommen hat",
     {"Its file system keeps no such times: a file manager shows when these files were copied. Sidecars, "
      "and most pictures, have the date.",
      "Sein Dateisystem kennt solche Zeiten nicht: Eine Dateiverwaltung zeigt, wann diese Dateien "
      "kopiert wurden. Begleitdateien und die meisten Bilder enthalten das Datum."}},
}};

constexpr std::array kReasons{
    PageText{"the library has no file in full size", "die Bibliothek hat keine Datei in voller Größe"},
    PageText{"there is no such file in the library", "diese Datei gibt es in der Bibliothek nicht"},
    PageText{"the library has no such picture", "die Bibliothek hat kein solches Bild"},
    PageText{"4 GiB or more", "4 GiB oder mehr"},
    PageText{"the library names no photos of it", "die Bibliothek nennt keine Fotos dazu"},
    PageText{"made before the last edit", "vor der letzten Änderung hergestellt"},
    PageText{"a duplicate without edits of its own", "ein Duplikat ohne eigene Änderungen"},
    PageText{"the library knows none", "die Bibliothek kennt keines"},
    PageText{"changed in the target since it was written", "im Ziel geändert, seit sie geschrieben wurde"},
    PageText{"no photo of the library has this file", "zu keinem Foto der Bibliothek gehört diese Datei"},
    PageText{"the first of them", "die erste davon"},
    PageText{"the only file", "die einzige Datei"},
    PageText{"a read error, or no regular file", "ein Lesefehler, oder keine gewöhnliche Datei"},
    PageText{"no permission to read it", "keine Berechtigung, sie zu lesen"},
    PageText{"it was there when the export began", "als der Export begann, war sie noch da"},
    PageText{"it could not be opened", "sie ließ sich nicht öffnen"},
    PageText{"its database cannot be read; AlbumData.xml was used, which knows less",
             "ihre Datenbank ist nicht lesbar; AlbumData.xml wurde verwendet, worin weniger steht"},
    PageText{"its database is missing; AlbumData.xml was used, which knows less",
             "ihre Datenbank fehlt; AlbumData.xml wurde verwendet, worin weniger steht"},
    PageText{"AlbumData.xml is damaged: only what comes before the damage was used",
             "AlbumData.xml ist beschädigt: nur was vor der beschädigten Stelle steht, wurde verwendet"},
    PageText{"the original was taken", "das Original wurde übernommen"},
    PageText{"the library's full-size picture was taken", "das große Bild der Bibliothek wurde übernommen"},
    PageText{"a smaller picture was taken", "ein kleineres Bild wurde übernommen"},
    PageText{"the other half of a pair of RAW and JPEG", "die andere Hälfte eines Paars aus RAW und JPEG"},
    PageText{"the movie of a live photo", "der Film eines Live Photos"},
    PageText{"texts that are too long for a sidecar", "Texte, die für eine Begleitdatei zu lang sind"},
    PageText{"a position that is not on Earth", "eine Position, die nicht auf der Erde liegt"},
    PageText{"a database could not be read to its end", "eine Datenbank ließ sich nicht bis zum Ende lesen"},
    PageText{"a smart album without a known rule", "ein intelligentes Album ohne bekannte Regel"},
    PageText{"from a list that the photo application saved earlier",
             "nach einer Liste, die das Fotoprogramm früher gespeichert hat"},
    PageText{"it is missing, or cannot be opened", "sie fehlt oder lässt sich nicht öffnen"},
    PageText{"its contents changed since they were written", "ihr Inhalt hat sich geändert"},
    PageText{"it could not be read to its end", "sie ließ sich nicht bis zum Ende lesen"},
    PageText{"the library has another one now", "die Bibliothek hat jetzt eine andere"},
    PageText{"the same as the one before", "gleich wie die vorige"},
    PageText{"only JPEG files hold the facts; they are in the sidecar",
             "nur JPEG-Dateien nehmen Angaben auf; sie sind in der Begleitdatei"},
};

// Around what a reason quotes.
struct ReasonPattern {
  std::string_view start, end;
  std::string_view germanStart, germanEnd;
};
constexpr std::array kPatterns{
    ReasonPattern{"the library has no file '", "'", "die Bibliothek hat keine Datei „", "“"},
    ReasonPattern{"'", "' in the library", "„", "“ in der Bibliothek"},
    ReasonPattern{"a duplicate without edits of its own: '", "'", "ein Duplikat ohne eigene Änderungen: „",
                  "“"},
    ReasonPattern{"not understood: ", "", "nicht verstanden: ", ""},
    ReasonPattern{"color label ", "", "Etikett Nummer ", ""},
    ReasonPattern{"the first of ", " files", "die erste von ", " Dateien"},
    ReasonPattern{"where the face of ", " is in the original", "wo im Original das Gesicht von ", " ist"},
};

}  // namespace

std::string_view pageHeadingOf(Finding finding, PageLanguage language) {
  return language == PageLanguage::German ? kFindingTexts[static_cast<std::size_t>(finding)].germanHeading
                                          : headingOf(finding);
}

std::string_view adviceOf(Finding finding, PageLanguage language) {
  return kFindingTexts[static_cast<std::size_t>(finding)].advice.in(language);
}

std::string translatedReason(std::string_view reason, PageLanguage language) {
  if (language == PageLanguage::English) return std::string(reason);
  for (const PageText& each : kReasons)
    if (each.english == reason) return std::string(each.in(language));
  for (const ReasonPattern& each : kPatterns) {
    if (reason.size() < each.start.size() + each.end.size() || !reason.starts_with(each.start) ||
        !reason.ends_with(each.end))
      continue;
    reason.remove_prefix(each.start.size());
    reason.remove_suffix(each.end.size());
    return std::string(each.germanStart) + std::string(reason) + std::string(each.germanEnd);
  }
  return std::string(reason);
}

}  // namespace moxtel
