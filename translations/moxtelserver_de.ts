<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>UserText</name>
    <message>
        <source>nothing here publishes services; start the Avahi daemon</source>
        <translation>hier macht nichts Dienste bekannt; starten Sie den Avahi-Dienst</translation>
    </message>
    <message>
        <source>no Avahi daemon runs; start the Avahi daemon</source>
        <translation>kein Avahi-Dienst läuft; starten Sie ihn</translation>
    </message>
    <message>
        <source>the Avahi daemon does not answer; restart it</source>
        <translation>der Avahi-Dienst antwortet nicht; starten Sie ihn neu</translation>
    </message>
    <message>
        <source>the built-in responder does not answer; restart it</source>
        <translation>der eingebaute Dienst antwortet nicht; starten Sie das Programm neu</translation>
    </message>
    <message>
        <source>another responder claims the name or the address of this machine; restart the Avahi daemon, or give the machine another host name</source>
        <translation>ein anderes Programm beansprucht den Namen oder die Adresse dieses Rechners; starten Sie den Avahi-Dienst neu, oder geben Sie dem Rechner einen anderen Namen</translation>
    </message>
    <message>
        <source>other devices claim this name and those that follow it; give the machine another host name</source>
        <translation>andere Geräte beanspruchen diesen Namen und die folgenden; geben Sie dem Rechner einen anderen Namen</translation>
    </message>
    <message>
        <source>Photos library</source>
        <translation>Bibliothek von Fotos</translation>
    </message>
    <message>
        <source>Photos 2 library</source>
        <translation>Bibliothek von Fotos 2</translation>
    </message>
    <message>
        <source>Photos 3 library</source>
        <translation>Bibliothek von Fotos 3</translation>
    </message>
    <message>
        <source>Photos 4 library</source>
        <translation>Bibliothek von Fotos 4</translation>
    </message>
    <message>
        <source>Photos 5 library</source>
        <translation>Bibliothek von Fotos 5</translation>
    </message>
    <message>
        <source>Photos 6+ library</source>
        <translation>Bibliothek von Fotos 6 oder neuer</translation>
    </message>
    <message>
        <source>iPhoto library (AlbumData.xml only)</source>
        <translation>Bibliothek von iPhoto (nur AlbumData.xml)</translation>
    </message>
    <message>
        <source>This user is not permitted to read the folder.</source>
        <translation>Dieser Benutzer darf den Ordner nicht lesen.</translation>
    </message>
    <message>
        <source>This is a library of Aperture 1 or 2. Open it once with Aperture 3, which converts it.</source>
        <translation>Dies ist eine Bibliothek von Aperture 1 oder 2. Öffnen Sie sie einmal mit Aperture 3, das sie umwandelt.</translation>
    </message>
    <message>
        <source>This folder is not a photo library. Choose the folder named like &quot;iPhoto Library&quot;, not the disk or a folder inside it.</source>
        <translation>Dieser Ordner ist keine Fotobibliothek. Wählen Sie den Ordner, der etwa „iPhoto Library“ heißt, nicht das Laufwerk oder einen Ordner darin.</translation>
    </message>
    <message>
        <source>The folder&apos;s path is not valid UTF-8. Make a symbolic link to it whose path is plain ASCII, and choose the link.</source>
        <translation>Der Pfad des Ordners ist kein gültiges UTF-8. Legen Sie einen symbolischen Link auf ihn an, dessen Pfad nur ASCII enthält, und wählen Sie diesen Link.</translation>
    </message>
    <message>
        <source>There is no such folder.</source>
        <translation>Diesen Ordner gibt es nicht.</translation>
    </message>
    <message>
        <source>The library&apos;s file Database/apdb/Library.apdb is missing. Copy the library again.</source>
        <translation>Die Datei Database/apdb/Library.apdb der Bibliothek fehlt. Kopieren Sie die Bibliothek noch einmal.</translation>
    </message>
    <message>
        <source>The folder&apos;s path is not absolute.</source>
        <translation>Der Pfad des Ordners ist nicht absolut.</translation>
    </message>
</context>
<context>
    <name>WindowText</name>
    <message>
        <source>Library</source>
        <translation>Bibliothek</translation>
    </message>
    <message>
        <source>The folder that you chose is not a library itself. Do you want to serve this one?</source>
        <translation>Der gewählte Ordner ist selbst keine Bibliothek. Wollen Sie diese bereitstellen?</translation>
    </message>
    <message>
        <source>The folder that you chose is not a library itself. Which of these do you want to serve?</source>
        <translation>Der gewählte Ordner ist selbst keine Bibliothek. Welche von diesen wollen Sie bereitstellen?</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Photos</source>
        <translation>Fotos</translation>
    </message>
    <message>
        <source>Newest event</source>
        <translation>Neuestes Ereignis</translation>
    </message>
    <message>
        <source>Folder</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>&amp;Serve</source>
        <translation>&amp;Bereitstellen</translation>
    </message>
    <message>
        <source>%1, %2 only in the cloud</source>
        <translation>%1, davon %2 nur in der Cloud</translation>
    </message>
    <message>
        <source>The file %1 is missing.</source>
        <translation>Die Datei %1 fehlt.</translation>
    </message>
    <message>
        <source>This user is not permitted to read the file %1.</source>
        <translation>Dieser Benutzer darf die Datei %1 nicht lesen.</translation>
    </message>
    <message>
        <source>The file %1 is damaged.</source>
        <translation>Die Datei %1 ist beschädigt.</translation>
    </message>
    <message>
        <source>The file %1 has no tables of a photo library.</source>
        <translation>Die Datei %1 enthält keine Tabellen einer Fotobibliothek.</translation>
    </message>
    <message>
        <source>The file %1 lacks what the server reads: %2.</source>
        <translation>In der Datei %1 fehlt, was der Server liest: %2.</translation>
    </message>
    <message>
        <source>Libraries of %1 are not served.</source>
        <translation>Bibliotheken von %1 werden nicht bereitgestellt.</translation>
    </message>
    <message>
        <source>Choose the library folder</source>
        <translation>Bibliotheksordner wählen</translation>
    </message>
    <message>
        <source>Ready</source>
        <translation>Bereit</translation>
    </message>
    <message>
        <source>Path</source>
        <translation>Pfad</translation>
    </message>
    <message>
        <source>Photo application</source>
        <translation>Fotoprogramm</translation>
    </message>
    <message>
        <source>Albums</source>
        <translation>Alben</translation>
    </message>
    <message>
        <source>Events</source>
        <translation>Ereignisse</translation>
    </message>
    <message>
        <source>Faces</source>
        <translation>Gesichter</translation>
    </message>
    <message>
        <source>Network</source>
        <translation>Netzwerk</translation>
    </message>
    <message>
        <source>Visible to phones as</source>
        <translation>Für Telefone sichtbar als</translation>
    </message>
    <message>
        <source>Addresses</source>
        <translation>Adressen</translation>
    </message>
    <message>
        <source>Port</source>
        <translation>Port</translation>
    </message>
    <message>
        <source>Client</source>
        <translation>Client</translation>
    </message>
    <message>
        <source>Choose &amp;Library…</source>
        <translation>&amp;Bibliothek wählen …</translation>
    </message>
    <message>
        <source>&amp;Console</source>
        <translation>&amp;Konsole</translation>
    </message>
    <message>
        <source>&amp;Reload</source>
        <translation>&amp;Neu laden</translation>
    </message>
    <message>
        <source>&amp;Disconnect Client</source>
        <translation>Client &amp;trennen</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>Prefer &amp;Aperture&apos;s library</source>
        <translation>&amp;Aperture-Bibliothek bevorzugen</translation>
    </message>
    <message>
        <source>Clients may &amp;show photos in the photo application</source>
        <translation>Clients dürfen Fotos im Fotoprogramm &amp;zeigen</translation>
    </message>
    <message>
        <source>Last messages</source>
        <translation>Letzte Meldungen</translation>
    </message>
    <message>
        <source>Don&apos;t show this help at s&amp;tartup</source>
        <translation>Diese Hilfe beim &amp;Start nicht zeigen</translation>
    </message>
    <message>
        <source>Cannot serve this folder</source>
        <translation>Dieser Ordner lässt sich nicht bereitstellen</translation>
    </message>
    <message>
        <source>none</source>
        <translation>keins</translation>
    </message>
    <message>
        <source>No library yet. Choose its folder.</source>
        <translation>Noch keine Bibliothek. Wählen Sie ihren Ordner.</translation>
    </message>
    <message>
        <source>This library cannot be read. %1</source>
        <translation>Diese Bibliothek ist nicht lesbar. %1</translation>
    </message>
    <message>
        <source>Not listening: %1</source>
        <translation>Nimmt keine Verbindungen an: %1</translation>
    </message>
    <message>
        <source>(announcing, a few seconds)</source>
        <translation>(wird angekündigt, einige Sekunden)</translation>
    </message>
    <message>
        <source>Not visible: %1</source>
        <translation>Nicht sichtbar: %1</translation>
    </message>
    <message>
        <source>Connected: %1</source>
        <translation>Verbunden: %1</translation>
    </message>
    <message>
        <source>No client is connected</source>
        <translation>Kein Client ist verbunden</translation>
    </message>
    <message>
        <source>Busy …</source>
        <translation>Beschäftigt …</translation>
    </message>
    <message>
        <source>A long reply or a script is running.</source>
        <translation>Eine lange Antwort oder ein Skript läuft.</translation>
    </message>
    <message>
        <source>Page for browsers</source>
        <translation>Seite für Browser</translation>
    </message>
    <message>
        <source>Every phone and computer then needs the new code.</source>
        <translation>Jedes Telefon und jeder Rechner braucht dann den neuen Code.</translation>
    </message>
    <message>
        <source>Six digits: %1</source>
        <translation>Sechs Ziffern: %1</translation>
    </message>
    <message>
        <source>QR code of %1</source>
        <translation>QR-Code von %1</translation>
    </message>
    <message>
        <source>Console</source>
        <translation>Konsole</translation>
    </message>
    <message>
        <source>Find</source>
        <translation>Suchen</translation>
    </message>
    <message>
        <source>Find previous</source>
        <translation>Voriges Vorkommen</translation>
    </message>
    <message>
        <source>Find next</source>
        <translation>Nächstes Vorkommen</translation>
    </message>
    <message>
        <source>A device is connected</source>
        <translation>Ein Gerät ist verbunden</translation>
    </message>
    <message>
        <source>Connected: %1. Keep serving without the window?</source>
        <translation>Verbunden: %1. Ohne Fenster weiter bereitstellen?</translation>
    </message>
    <message>
        <source>To see the window again, use the icon in the panel, or start MoxtelServer once more.</source>
        <translation>Das Symbol in der Leiste zeigt das Fenster wieder, oder ein neuer Start von MoxtelServer.</translation>
    </message>
    <message>
        <source>Do not ask &amp;again</source>
        <translation>&amp;Nicht mehr fragen</translation>
    </message>
    <message>
        <source>Keep &amp;Serving</source>
        <translation>Weiter &amp;bereitstellen</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>Connected devices</source>
        <translation>Verbundene Geräte</translation>
    </message>
    <message>
        <source>Device</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>by</source>
        <translation>mit</translation>
    </message>
    <message>
        <source>looks at</source>
        <translation>sieht</translation>
    </message>
    <message>
        <source>since</source>
        <translation>seit</translation>
    </message>
    <message>
        <source>Choose &amp;Another…</source>
        <translation>&amp;Andere wählen …</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>Choose Library…</source>
        <translation>Bibliothek wählen …</translation>
    </message>
    <message>
        <source>Recent Libraries</source>
        <translation>Zuletzt bereitgestellt</translation>
    </message>
    <message>
        <source>Reload</source>
        <translation>Neu laden</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Opt&amp;ions</source>
        <translation>&amp;Optionen</translation>
    </message>
    <message>
        <source>Reads the library again, and tries the ports again if one was taken. Disconnects the handheld.</source>
        <translation>Liest die Bibliothek noch einmal, und versucht es mit den Ports noch einmal, wenn einer belegt war. Trennt das Handgerät.</translation>
    </message>
    <message>
        <source>Read the library again? This disconnects %1.</source>
        <translation>Die Bibliothek noch einmal lesen? Das trennt die Verbindung zu %1.</translation>
    </message>
    <message>
        <source>Start at Login</source>
        <translation>Beim Anmelden starten</translation>
    </message>
    <message>
        <source>Notify When a New Device Connects</source>
        <translation>Melden, wenn sich ein neues Gerät verbindet</translation>
    </message>
    <message>
        <source>When the Window Is Closed</source>
        <translation>Wenn das Fenster geschlossen wird</translation>
    </message>
    <message>
        <source>Ask While a Device Is Connected</source>
        <translation>Fragen, solange ein Gerät verbunden ist</translation>
    </message>
    <message>
        <source>Keep Serving</source>
        <translation>Weiter bereitstellen</translation>
    </message>
    <message>
        <source>Quit MoxtelServer</source>
        <translation>MoxtelServer beenden</translation>
    </message>
    <message>
        <source>Cop&amp;y</source>
        <translation>Ko&amp;pieren</translation>
    </message>
    <message>
        <source>Copy the address of the page</source>
        <translation>Die Adresse der Seite kopieren</translation>
    </message>
    <message>
        <source>Who may look</source>
        <translation>Wer schauen darf</translation>
    </message>
    <message>
        <source>Devices with the key</source>
        <translation>Geräte mit dem Schlüssel</translation>
    </message>
    <message>
        <source>Everyone in the house</source>
        <translation>Alle im Haus</translation>
    </message>
    <message>
        <source>No page</source>
        <translation>Keine Seite</translation>
    </message>
    <message>
        <source>New &amp;Key…</source>
        <translation>Neuer Schl&amp;üssel …</translation>
    </message>
    <message>
        <source>New key</source>
        <translation>Neuer Schlüssel</translation>
    </message>
    <message>
        <source>Make a new key? Every phone and computer that may look now then needs the new code.</source>
        <translation>Einen neuen Schlüssel machen? Jedes Telefon und jeder Rechner, der jetzt schauen darf, braucht dann den neuen Code.</translation>
    </message>
    <message>
        <source>New Key</source>
        <translation>Neuer Schlüssel</translation>
    </message>
    <message>
        <source>no network</source>
        <translation>kein Netz</translation>
    </message>
    <message>
        <source>cannot be read</source>
        <translation>nicht lesbar</translation>
    </message>
    <message>
        <source>1 photo</source>
        <translation>1 Foto</translation>
    </message>
    <message>
        <source>%1 photos</source>
        <translation>%1 Fotos</translation>
    </message>
    <message>
        <source>Choose the photo library that phones and computers in your house may see.</source>
        <translation>Wählen Sie die Fotobibliothek, die Telefone und Rechner in Ihrem Haus sehen dürfen.</translation>
    </message>
    <message>
        <source>Ch&amp;oose Library…</source>
        <translation>Bibliothek &amp;wählen …</translation>
    </message>
    <message>
        <source>Found on this computer</source>
        <translation>Auf diesem Rechner gefunden</translation>
    </message>
    <message>
        <source>Ser&amp;ve This One</source>
        <translation>D&amp;iese bereitstellen</translation>
    </message>
    <message>
        <source>Looking for libraries on this computer …</source>
        <translation>Bibliotheken auf diesem Rechner werden gesucht …</translation>
    </message>
    <message>
        <source>Show MoxtelServer</source>
        <translation>MoxtelServer zeigen</translation>
    </message>
    <message>
        <source>No library yet</source>
        <translation>Noch keine Bibliothek</translation>
    </message>
    <message>
        <source>no device connected</source>
        <translation>kein Gerät verbunden</translation>
    </message>
    <message>
        <source>1 device connected</source>
        <translation>1 Gerät verbunden</translation>
    </message>
    <message>
        <source>%1 devices connected</source>
        <translation>%1 Geräte verbunden</translation>
    </message>
    <message>
        <source>A new device is connected</source>
        <translation>Ein neues Gerät ist verbunden</translation>
    </message>
</context>
</TS>
