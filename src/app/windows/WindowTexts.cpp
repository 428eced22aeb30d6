#include "app/windows/WindowTexts.h"

namespace moxtel {

namespace {

const StringTable kGerman{
    {"Addresses", "Adressen"},
    {"Albums", "Alben"},
    {"Busy …", "Beschäftigt …"},
    {"A long reply or a script is running.", "Eine lange Antwort oder ein Skript läuft."},
    {"Cannot serve this folder", "Dieser Ordner lässt sich nicht bereitstellen"},
    {"Choose &Library…", "&Bibliothek wählen …"},
    {"Choose the library folder", "Bibliotheksordner wählen"},
    {"Clients may &show photos in the photo application", "Clients dürfen Fotos im Fotoprogramm &zeigen"},
    {"Client", "Client"},
    {"Connected: %1", "Verbunden: %1"},
    {"Console", "Konsole"},
    {"&Console", "&Konsole"},
    {"&Disconnect Client", "Client &trennen"},
    {"Don't show this help at s&tartup", "Diese Hilfe beim &Start nicht zeigen"},
    {"Events", "Ereignisse"},
    {"Faces", "Gesichter"},
    {"Find", "Suchen"},
    {"Find next", "Nächstes Vorkommen"},
    {"Find previous", "Voriges Vorkommen"},
    {"&Help", "&Hilfe"},
    {"Folder", "Ordner"},
    {"The folder that you chose is not a library itself. Which of these do you want to serve?",
     "Der gewählte Ordner ist selbst keine Bibliothek. Welche von diesen wollen Sie bereitstellen?"},
    {"The folder that you chose is not a library itself. Do you want to serve this one?",
     "Der gewählte Ordner ist selbst keine Bibliothek. Wollen Sie diese bereitstellen?"},
    {"Name", "Name"},
    {"Newest event", "Neuestes Ereignis"},
    {"&Serve", "&Bereitstellen"},
    {"Last messages", "Letzte Meldungen"},
    {"Library", "Bibliothek"},
    {"Network", "Netzwerk"},
    {"No library yet. Choose its folder.", "Noch keine Bibliothek. Wählen Sie ihren Ordner."},
    {"No client is connected", "Kein Client ist verbunden"},
    {"Not listening: %1", "Nimmt keine Verbindungen an: %1"},
    {"Not visible: %1", "Nicht sichtbar: %1"},
    {"New &Key", "Neuer Schl&üssel"},
    {"Every phone and computer then needs the new code.",
     "Jedes Telefon und jeder Rechner braucht dann den neuen Code."},
    {"Page for browsers", "Seite für Browser"},
    {"QR code of %1", "QR-Code von %1"},
    {"Six digits: %1", "Sechs Ziffern: %1"},
    {"Path", "Pfad"},
    {"Photo application", "Fotoprogramm"},
    {"Photos", "Fotos"},
    {"Port", "Port"},
    {"Prefer &Aperture's library", "&Aperture-Bibliothek bevorzugen"},
    {"Ready", "Bereit"},
    {"&Reload", "&Neu laden"},
    {"%1, %2 only in the cloud", "%1, davon %2 nur in der Cloud"},
    {"Photos library", "Bibliothek von Fotos"},
    {"Photos 2 library", "Bibliothek von Fotos 2"},
    {"Photos 3 library", "Bibliothek von Fotos 3"},
    {"Photos 4 library", "Bibliothek von Fotos 4"},
    {"Photos 5 library", "Bibliothek von Fotos 5"},
    {"Photos 6+ library", "Bibliothek von Fotos 6 oder neuer"},
    {"iPhoto library (AlbumData.xml only)", "Bibliothek von iPhoto (nur AlbumData.xml)"},
    {"Libraries of %1 are not served.", "Bibliotheken von %1 werden nicht bereitgestellt."},
    {"The file %1 has no tables of a photo library.",
     "Die Datei %1 enthält keine Tabellen einer Fotobibliothek."},
    {"The file %1 is damaged.", "Die Datei %1 ist beschädigt."},
    {"The file %1 is missing.", "Die Datei %1 fehlt."},
    {"The file %1 lacks what the server reads: %2.", "In der Datei %1 fehlt, was der Server liest: %2."},
    {"This user is not permitted to read the file %1.", "Dieser Benutzer darf die Datei %1 nicht lesen."},
    {"The folder's path is not absolute.", "Der Pfad des Ordners ist nicht absolut."},
    {"There is no such folder.", "Diesen Ordner gibt es nicht."},
    {"This folder is not a photo library. Choose the folder named like \"iPhoto Library\", not the disk or a "
     "folder inside it.",
     "Dieser Ordner ist keine Fotobibliothek. Wählen Sie den Ordner, der etwa „iPhoto Library“ heißt, nicht "
     "das Laufwerk oder einen Ordner darin."},
    {"The folder's path is not valid UTF-8. Make a symbolic link to it whose path is plain ASCII, and choose "
     "the link.",
     "Der Pfad des Ordners ist kein gültiges UTF-8. Legen Sie einen symbolischen Link auf ihn "
     "an, "
     "dessen Pfad nur ASCII enthält, und wählen Sie diesen Link."},
    {"The library's file Database/apdb/Library.apdb is missing. Copy the library again.",
     "Die Datei Database/apdb/Library.apdb der Bibliothek fehlt. Kopieren Sie die Bibliothek noch einmal."},
    {"This is a library of Aperture 1 or 2. Open it once with Aperture 3, which converts it.",
     "Dies ist eine Bibliothek von Aperture 1 oder 2. Öffnen Sie sie einmal mit Aperture 3, das sie "
     "umwandelt."},
    {"This library cannot be read. %1", "Diese Bibliothek ist nicht lesbar. %1"},
    {"This user is not permitted to read the folder.", "Dieser Benutzer darf den Ordner nicht lesen."},
    {"Visible to phones as", "Für Telefone sichtbar als"},
    {"(announcing, a few seconds)", "(wird angekündigt, einige Sekunden)"},
    {"no Avahi daemon runs; start the Avahi daemon", "kein Avahi-Dienst läuft; starten Sie ihn"},
    {"nothing here publishes services; start the Avahi daemon",
     "hier macht nichts Dienste bekannt; starten Sie den Avahi-Dienst"},
    {"none", "keins"},
    {"another responder claims the name or the address of this machine; restart the Avahi daemon, or give "
     "the "
     "machine another host name",
     "ein anderes Programm beansprucht den Namen oder die Adresse dieses Rechners; starten Sie den "
     "Avahi-Dienst "
     "neu, oder geben Sie dem Rechner einen anderen Namen"},
    {"other devices claim this name and those that follow it; give the machine another host name",
     "andere Geräte beanspruchen diesen Namen und die folgenden; geben Sie dem Rechner einen anderen Namen"},
    {"the Avahi daemon does not answer; restart it", "der Avahi-Dienst antwortet nicht; starten Sie ihn neu"},
    {"the built-in responder does not answer; restart it",
     "der eingebaute Dienst antwortet nicht; starten Sie das Programm neu"},
};

}  // namespace

StringTable windowTexts(std::string_view language) { return language == "de" ? kGerman : StringTable(); }

}  // namespace moxtel
