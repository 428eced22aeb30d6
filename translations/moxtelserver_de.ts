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
    <message>
        <source>Asking the script interpreter which photo applications run (5 seconds at most)</source>
        <translation>Das Programm für Skripte wird gefragt, welche Fotoprogramme laufen (höchstens 5 Sekunden)</translation>
    </message>
    <message>
        <source>No library is served yet: choose its folder in the window of MoxtelServer, or set it with -LibraryPath, for the service in /etc/default/moxtelserverd.</source>
        <translation>Noch wird keine Bibliothek bereitgestellt: Wählen Sie ihren Ordner im Fenster von MoxtelServer, oder setzen Sie ihn mit -LibraryPath, für den Dienst in /etc/default/moxtelserverd.</translation>
    </message>
    <message>
        <source> The library is %@.</source>
        <translation> Die Bibliothek ist %@.</translation>
    </message>
    <message>
        <source> There are %lu libraries in it: %@.</source>
        <translation> Darin sind %lu Bibliotheken: %@.</translation>
    </message>
    <message>
        <source>Cannot listen: </source>
        <translation>Nimmt keine Verbindungen an: </translation>
    </message>
    <message>
        <source>Cannot listen on port %d: %@</source>
        <translation>Nimmt auf Port %d keine Verbindungen an: %@</translation>
    </message>
    <message>
        <source>Listening on port %d</source>
        <translation>Nimmt Verbindungen auf Port %d an</translation>
    </message>
    <message>
        <source>Cannot serve: </source>
        <translation>Lässt sich nicht bereitstellen: </translation>
    </message>
    <message>
        <source>Reloading database after choosing the library &apos;%@&apos;</source>
        <translation>Datenbank wird neu geladen, weil die Bibliothek „%@“ gewählt wurde</translation>
    </message>
    <message>
        <source>Cannot ask which photo applications run on the other machine: </source>
        <translation>Der andere Rechner sagt nicht, welche Fotoprogramme auf ihm laufen: </translation>
    </message>
    <message>
        <source>There is no page for browsers: </source>
        <translation>Es gibt keine Seite für Browser: </translation>
    </message>
    <message>
        <source>There is no page for browsers: -WebPort and -Port are both %d</source>
        <translation>Es gibt keine Seite für Browser: -WebPort und -Port sind beide %d</translation>
    </message>
    <message>
        <source>Could not publish &quot;%@&quot; on the network: %@. The server can still be reached at %@</source>
        <translation>„%@“ ließ sich im Netzwerk nicht bekannt machen: %@. Erreichbar ist der Server unter %@</translation>
    </message>
    <message>
        <source>No longer published as &quot;%@&quot;: %@</source>
        <translation>Nicht mehr bekannt als „%@“: %@</translation>
    </message>
    <message>
        <source>The name &quot;%@&quot; is taken. </source>
        <translation>Der Name „%@“ ist vergeben. </translation>
    </message>
    <message>
        <source>Published as &quot;%@&quot; at %@ (%@)</source>
        <translation>Im Netzwerk bekannt als „%@“ unter %@ (%@)</translation>
    </message>
    <message>
        <source>no network address yet</source>
        <translation>noch keine Adresse im Netzwerk</translation>
    </message>
    <message>
        <source>%@, port %d</source>
        <translation>%@, Port %d</translation>
    </message>
    <message>
        <source>The page for browsers cannot listen on port %d: %@</source>
        <translation>Die Seite für Browser nimmt auf Port %d keine Verbindungen an: %@</translation>
    </message>
    <message>
        <source>The key of the page cannot be kept in &apos;%@&apos;: %@</source>
        <translation>Der Schlüssel der Seite lässt sich nicht in „%@“ sichern: %@</translation>
    </message>
    <message>
        <source>The page for browsers: </source>
        <translation>Die Seite für Browser: </translation>
    </message>
    <message>
        <source> (also </source>
        <translation> (auch </translation>
    </message>
    <message>
        <source>, six digits </source>
        <translation>, sechs Ziffern </translation>
    </message>
    <message>
        <source>Cannot serve &apos;%@&apos;. %@%@ To serve another folder, choose it in the window of MoxtelServer, or set it with -LibraryPath, for the service in /etc/default/moxtelserverd.%@</source>
        <translation>„%@“ lässt sich nicht bereitstellen. %@%@ Einen anderen Ordner wählen Sie im Fenster von MoxtelServer oder setzen ihn mit -LibraryPath, für den Dienst in /etc/default/moxtelserverd.%@</translation>
    </message>
    <message>
        <source>File is too large to be sent (%llu bytes): &apos;%@&apos;</source>
        <translation>Die Datei ist zu groß zum Senden (%llu Byte): „%@“</translation>
    </message>
    <message>
        <source>The smart album &apos;%@&apos; is as the photo application last saved it. Not understood in its rule: %@</source>
        <translation>Das intelligente Album „%@“ ist so, wie das Fotoprogramm es zuletzt gesichert hat. Nicht verstanden in seiner Regel: %@</translation>
    </message>
    <message>
        <source>The smart album &apos;%@&apos; may lack photos. Not understood in its rule: %@</source>
        <translation>Dem intelligenten Album „%@“ fehlen vielleicht Fotos. Nicht verstanden in seiner Regel: %@</translation>
    </message>
    <message>
        <source>The database &apos;%@&apos; is not there: is the disk connected? Lists that are read from it are empty or incomplete until it is there again.</source>
        <translation>Die Datenbank „%@“ ist nicht da: Ist die Festplatte angeschlossen? Bis sie wieder da ist, sind Listen daraus leer oder unvollständig.</translation>
    </message>
    <message>
        <source>This user is not permitted to read the database &apos;%@&apos;. Lists from it are empty.</source>
        <translation>Dieser Benutzer darf die Datenbank „%@“ nicht lesen. Listen daraus sind leer.</translation>
    </message>
    <message>
        <source>The database &apos;%@&apos; is not a file. Lists from it are empty.</source>
        <translation>Die Datenbank „%@“ ist keine Datei. Listen daraus sind leer.</translation>
    </message>
    <message>
        <source>The database &apos;%@&apos; is damaged: %@. Lists from it are empty or incomplete. Copy the library again, or let the photo application repair it.</source>
        <translation>Die Datenbank „%@“ ist beschädigt: %@. Listen daraus sind leer oder unvollständig. Kopieren Sie die Bibliothek noch einmal, oder lassen Sie das Fotoprogramm sie reparieren.</translation>
    </message>
    <message>
        <source>The database &apos;%@&apos; has none of the tables that iPhoto 9 and Aperture 3 write. Lists from it are empty.</source>
        <translation>Die Datenbank „%@“ hat keine der Tabellen, die iPhoto 9 und Aperture 3 schreiben. Listen daraus sind leer.</translation>
    </message>
    <message>
        <source>The database &apos;%@&apos; lacks what the server reads: %@. Lists from there are empty.</source>
        <translation>Der Datenbank „%@“ fehlt, was der Server liest: %@. Listen daraus sind leer.</translation>
    </message>
    <message>
        <source>The database &apos;%@&apos; is one of %@, whose libraries are not served. Open the library once with a later version, which converts it.</source>
        <translation>Die Datenbank „%@“ ist eine von %@; solche Bibliotheken werden nicht angeboten. Öffnen Sie die Bibliothek einmal mit einer neueren Version, die sie umwandelt.</translation>
    </message>
    <message>
        <source>The database &apos;%@&apos; can be read again.</source>
        <translation>Die Datenbank „%@“ ist wieder lesbar.</translation>
    </message>
    <message>
        <source>&apos;%@&apos; cannot be read: %@.</source>
        <translation>„%@“ ist nicht lesbar: %@.</translation>
    </message>
    <message>
        <source>&apos;%@&apos; is odd: %@.</source>
        <translation>„%@“ ist ungewöhnlich: %@.</translation>
    </message>
    <message>
        <source>a change to it was not finished and its journal is still there</source>
        <translation>eine Änderung wurde nicht beendet, und ihr Journal ist noch da</translation>
    </message>
    <message>
        <source>it is kept with a write-ahead log</source>
        <translation>sie wird mit einem Write-Ahead-Log geführt</translation>
    </message>
    <message>
        <source>its file system grants no locks</source>
        <translation>ihr Dateisystem erlaubt keine Sperren</translation>
    </message>
    <message>
        <source>&apos;%@&apos; cannot be read where it is, for %@. A private copy of it is read.</source>
        <translation>„%@“ kann nicht an ihrem Ort gelesen werden: %@. Gelesen wird eine eigene Kopie.</translation>
    </message>
    <message>
        <source>&apos;%@&apos; cannot be read where it is, for %@. No private copy could be made: %@.</source>
        <translation>„%@“ kann nicht an ihrem Ort gelesen werden: %@. Eine eigene Kopie ist nicht möglich: %@.</translation>
    </message>
    <message>
        <source>&apos;%@&apos; is a link that leads out of the library, to &apos;%@&apos;, so it is treated as missing. To allow it, start MoxtelServer with -ReferencedFolders &apos;%@&apos;, or add this folder to the folders there, separated by a colon.</source>
        <translation>„%@“ ist ein Link, der aus der Bibliothek hinausführt, nach „%@“, und gilt deshalb als fehlend. Um ihn zu erlauben, starten Sie MoxtelServer mit -ReferencedFolders &apos;%@&apos;, oder fügen Sie diesen Ordner mit einem Doppelpunkt den dortigen hinzu.</translation>
    </message>
    <message>
        <source>The library path &apos;%@&apos; is not valid UTF-8, so the databases in it cannot be opened. Make a symbolic link to the library whose path has plain letters only, and set LibraryPath to it.</source>
        <translation>Der Pfad der Bibliothek „%@“ ist kein gültiges UTF-8, deshalb sind ihre Datenbanken nicht lesbar. Legen Sie einen symbolischen Link auf die Bibliothek an, dessen Pfad nur einfache Buchstaben hat, und wählen Sie ihn als LibraryPath.</translation>
    </message>
    <message>
        <source>1 photo</source>
        <translation>1 Foto</translation>
    </message>
    <message>
        <source>%@ photos</source>
        <translation>%@ Fotos</translation>
    </message>
    <message>
        <source>%@ only in the cloud</source>
        <translation>%@ nur in der Cloud</translation>
    </message>
    <message>
        <source>Smart albums of this library are listed empty: the rules of Photos 5 and later are not understood.</source>
        <translation>Intelligente Alben dieser Bibliothek erscheinen leer: Die Regeln von Fotos 5 und neuer werden nicht verstanden.</translation>
    </message>
    <message>
        <source>This user is not permitted to read &apos;%@&apos;; %d of %d pictures that were tried cannot be read. Files from a Mac belong to its users: permit the user of MoxtelServer to read them (chmod -R a+rX), or add it to the group that may.</source>
        <translation>Dieser Benutzer darf „%@“ nicht lesen; %d von %d geprüften Bildern sind nicht lesbar. Dateien von einem Mac gehören dessen Benutzern: Erlauben Sie dem Benutzer von MoxtelServer, sie zu lesen (chmod -R a+rX), oder nehmen Sie ihn in die Gruppe auf, die es darf.</translation>
    </message>
    <message>
        <source>Photos outside the library: %lld. The library only refers to them, so their pictures are missing. To serve them, start MoxtelServer with -ReferencedFolders and the folder that has the files of their disk.</source>
        <translation>Fotos außerhalb der Bibliothek: %lld. Die Bibliothek verweist nur auf sie, deshalb fehlen ihre Bilder. Um sie anzubieten, starten Sie MoxtelServer mit -ReferencedFolders und dem Ordner, der die Dateien ihrer Festplatte enthält.</translation>
    </message>
    <message>
        <source>At least %lld of %lld edited photos have no preview in the library, so their large pictures are missing; thumbnails are served. The photo application makes the previews.</source>
        <translation>Mindestens %lld von %lld bearbeiteten Fotos haben keine Vorschau in der Bibliothek; ihre großen Bilder fehlen, Miniaturen werden angeboten. Das Fotoprogramm erstellt die Vorschauen.</translation>
    </message>
    <message>
        <source>%lld of %lld edited photos have no preview in the library, so their large pictures are missing; thumbnails are served. The photo application makes the previews.</source>
        <translation>%lld von %lld bearbeiteten Fotos haben keine Vorschau in der Bibliothek; ihre großen Bilder fehlen, Miniaturen werden angeboten. Das Fotoprogramm erstellt die Vorschauen.</translation>
    </message>
    <message>
        <source>Not done in the photo application: </source>
        <translation>Im Fotoprogramm nicht ausgeführt: </translation>
    </message>
    <message>
        <source>newest %@</source>
        <translation>neuestes %@</translation>
    </message>
    <message>
        <source>Avahi daemon</source>
        <translation>Avahi-Dienst</translation>
    </message>
    <message>
        <source>built-in responder</source>
        <translation>eingebauter Dienst</translation>
    </message>
    <message>
        <source>AppleScript is run by &apos;%@&apos;</source>
        <translation>AppleScript wird von „%@“ ausgeführt</translation>
    </message>
    <message>
        <source>No AppleScript interpreter here: the photo application cannot be asked (set &quot;ScriptInterpreter&quot; to use one on another machine)</source>
        <translation>Hier gibt es kein Programm für AppleScript: Das Fotoprogramm kann nicht gefragt werden (mit „ScriptInterpreter“ lässt sich eines auf einem anderen Rechner benutzen)</translation>
    </message>
    <message>
        <source>there is no folder &apos;%@&apos;</source>
        <translation>es gibt keinen Ordner „%@“</translation>
    </message>
    <message>
        <source>&apos;%@&apos; cannot be read: %@</source>
        <translation>„%@“ kann nicht gelesen werden: %@</translation>
    </message>
    <message>
        <source>no photo library in &apos;%@&apos;: %@</source>
        <translation>keine Fotobibliothek in „%@“: %@</translation>
    </message>
    <message>
        <source>no photo library in &apos;%@&apos; or the folders below it</source>
        <translation>keine Fotobibliothek in „%@“ oder den Ordnern darunter</translation>
    </message>
    <message>
        <source>the state of the export cannot be kept: </source>
        <translation>der Stand des Exports kann nicht gespeichert werden: </translation>
    </message>
    <message>
        <source>cannot use &apos;%@&apos;: %@</source>
        <translation>„%@“ kann nicht benutzt werden: %@</translation>
    </message>
    <message>
        <source>another export is writing to this folder</source>
        <translation>ein anderer Export schreibt in diesen Ordner</translation>
    </message>
    <message>
        <source>cannot write to &apos;%@&apos;: %@</source>
        <translation>in „%@“ kann nicht geschrieben werden: %@</translation>
    </message>
    <message>
        <source>this target was begun with %@ %@: use the same, or another target</source>
        <translation>dieses Ziel wurde mit %@ %@ begonnen: nehmen Sie dieselbe Einstellung oder ein anderes Ziel</translation>
    </message>
    <message>
        <source>no album, event or person has the name </source>
        <translation>kein Album, kein Ereignis und keine Person heißt </translation>
    </message>
    <message>
        <source>the target needs %@, and has %@ free</source>
        <translation>am Ziel werden %@ gebraucht, %@ sind frei</translation>
    </message>
    <message>
        <source>the target is full: </source>
        <translation>am Ziel ist kein Platz mehr: </translation>
    </message>
    <message>
        <source>the target cannot be written: </source>
        <translation>am Ziel kann nicht geschrieben werden: </translation>
    </message>
    <message>
        <source>the target &apos;%@&apos; lies in the library &apos;%@&apos;, which is never changed</source>
        <translation>das Ziel „%@“ liegt in der Bibliothek „%@“, die nie geändert wird</translation>
    </message>
    <message>
        <source>the library &apos;%@&apos; lies in the target &apos;%@&apos;</source>
        <translation>die Bibliothek „%@“ liegt im Ziel „%@“</translation>
    </message>
    <message>
        <source>Permission denied</source>
        <translation>Keine Berechtigung</translation>
    </message>
    <message>
        <source>Address already in use</source>
        <translation>Die Adresse wird schon benutzt</translation>
    </message>
    <message>
        <source>Cannot assign requested address</source>
        <translation>Die Adresse gehört nicht zu diesem Rechner</translation>
    </message>
    <message>
        <source>Device or resource busy</source>
        <translation>Das Gerät ist beschäftigt</translation>
    </message>
    <message>
        <source>Disk quota exceeded</source>
        <translation>Der zugeteilte Speicherplatz ist aufgebraucht</translation>
    </message>
    <message>
        <source>File too large</source>
        <translation>Die Datei ist zu groß</translation>
    </message>
    <message>
        <source>Input/output error</source>
        <translation>Eingabe-/Ausgabefehler</translation>
    </message>
    <message>
        <source>Too many levels of symbolic links</source>
        <translation>Zu viele symbolische Links hintereinander</translation>
    </message>
    <message>
        <source>Too many open files</source>
        <translation>Zu viele offene Dateien</translation>
    </message>
    <message>
        <source>File name too long</source>
        <translation>Der Dateiname ist zu lang</translation>
    </message>
    <message>
        <source>No such device</source>
        <translation>Dieses Gerät gibt es nicht</translation>
    </message>
    <message>
        <source>No such file or directory</source>
        <translation>Datei oder Ordner nicht gefunden</translation>
    </message>
    <message>
        <source>Cannot allocate memory</source>
        <translation>Kein Arbeitsspeicher mehr frei</translation>
    </message>
    <message>
        <source>No space left on device</source>
        <translation>Kein Platz mehr frei</translation>
    </message>
    <message>
        <source>Transport endpoint is not connected</source>
        <translation>Die Verbindung besteht nicht mehr</translation>
    </message>
    <message>
        <source>Not a directory</source>
        <translation>Kein Ordner</translation>
    </message>
    <message>
        <source>Operation not permitted</source>
        <translation>Das ist nicht erlaubt</translation>
    </message>
    <message>
        <source>Read-only file system</source>
        <translation>Das Dateisystem kann nur gelesen werden</translation>
    </message>
    <message>
        <source>Stale file handle</source>
        <translation>Die Datei gibt es auf dem Server nicht mehr</translation>
    </message>
    <message>
        <source>The page shows no RAW, HEIC and other pictures that are no JPEGs: install moxtelserver-raw-heic</source>
        <translation>Die Seite zeigt keine RAW-, HEIC- und anderen Bilder, die keine JPEGs sind: Installieren Sie moxtelserver-raw-heic</translation>
    </message>
    <message>
        <source>-ListenAddress: &apos;%@&apos; is not an IPv4 address</source>
        <translation>-ListenAddress: „%@“ ist keine IPv4-Adresse</translation>
    </message>
    <message>
        <source>-AllowedClients: &apos;%@&apos; is neither an IPv4 address nor a network such as 192.168.1.0/24</source>
        <translation>-AllowedClients: „%@“ ist weder eine IPv4-Adresse noch ein Netz wie 192.168.1.0/24</translation>
    </message>
    <message>
        <source>The reply to &apos;%@&apos; would have more than 1 GB: it is not sent.</source>
        <translation>Die Antwort auf „%@“ hätte mehr als 1 GB: Sie wird nicht gesendet.</translation>
    </message>
    <message>
        <source>Refused to send &apos;%@&apos; to the photo application</source>
        <translation>„%@“ wird nicht an das Fotoprogramm geschickt</translation>
    </message>
    <message>
        <source>The position of photo &apos;%@&apos; was not changed: no photo application here can change this kind of library</source>
        <translation>Der Ort des Fotos „%@“ wurde nicht geändert: Kein Fotoprogramm kann hier diese Art von Bibliothek ändern</translation>
    </message>
    <message>
        <source>Key photos, photo counts or smart albums may be missing: </source>
        <translation>Schlüsselfotos, Anzahlen oder intelligente Alben fehlen vielleicht: </translation>
    </message>
    <message>
        <source>-WebAccess: &apos;%@&apos; is neither key nor open nor off</source>
        <translation>-WebAccess: „%@“ ist weder key noch open noch off</translation>
    </message>
    <message>
        <source>-WebHosts: &apos;%@&apos; is no name of a host</source>
        <translation>-WebHosts: „%@“ ist kein Name eines Rechners</translation>
    </message>
    <message>
        <source>-WebProxy: &apos;%@&apos; is neither an IPv4 address nor a network such as 192.168.1.0/24</source>
        <translation>-WebProxy: „%@“ ist weder eine IPv4-Adresse noch ein Netz wie 192.168.1.0/24</translation>
    </message>
    <message>
        <source>-WebPort: the port must be a number from 0 (no page) to 65535</source>
        <translation>-WebPort: Der Port muss eine Zahl von 0 (keine Seite) bis 65535 sein</translation>
    </message>
    <message>
        <source>%@ is no address of a local network, such as 192.168.1.20, and only devices of local networks may look at the page: name others with -AllowedClients</source>
        <translation>%@ ist keine Adresse eines lokalen Netzes, wie etwa 192.168.1.20, und nur Geräte lokaler Netze dürfen die Seite ansehen: Nennen Sie andere mit -AllowedClients</translation>
    </message>
    <message>
        <source>see the chapter &quot;%@&quot; of mac-disk.md (in /usr/share/doc/moxtelserver-headless).</source>
        <translation>siehe das Kapitel „%@“ in mac-disk.md (in /usr/share/doc/moxtelserver-headless).</translation>
    </message>
    <message>
        <source> %@ is a Mac&apos;s disk and is not mounted: %@</source>
        <translation> %@ ist die Festplatte eines Macs und nicht eingehängt: %@</translation>
    </message>
    <message>
        <source> A Time Machine disk links whole folders: </source>
        <translation> Time Machine verknüpft auf seiner Festplatte ganze Ordner: </translation>
    </message>
    <message>
        <source> Its owner is the first user of a Mac: </source>
        <translation> Er gehört dem ersten Benutzer eines Macs: </translation>
    </message>
    <message>
        <source> This user is not permitted to read &apos;%@&apos;.%@</source>
        <translation> Dieser Benutzer darf „%@“ nicht lesen.%@</translation>
    </message>
    <message>
        <source> To permit it, run as root (setfacl is in the package acl): </source>
        <translation> Dieser Befehl erlaubt es, von root ausgeführt (setfacl ist im Paket acl): </translation>
    </message>
    <message>
        <source>the script interpreter did not answer in time</source>
        <translation>das Programm für Skripte hat nicht rechtzeitig geantwortet</translation>
    </message>
    <message>
        <source>the script interpreter printed too much</source>
        <translation>das Programm für Skripte hat zu viel ausgegeben</translation>
    </message>
    <message>
        <source>the script interpreter died</source>
        <translation>das Programm für Skripte ist abgestürzt</translation>
    </message>
    <message>
        <source>the script interpreter could not be started</source>
        <translation>das Programm für Skripte ließ sich nicht starten</translation>
    </message>
    <message>
        <source>the script interpreter did not print a list of names in source form</source>
        <translation>das Programm für Skripte hat keine Liste von Namen als Quelltext ausgegeben</translation>
    </message>
    <message>
        <source>The script interpreter did not answer in time</source>
        <translation>Das Programm für Skripte hat nicht rechtzeitig geantwortet</translation>
    </message>
    <message>
        <source>The script interpreter is too slow</source>
        <translation>Das Programm für Skripte ist zu langsam</translation>
    </message>
    <message>
        <source>The script interpreter could not be started</source>
        <translation>Das Programm für Skripte ließ sich nicht starten</translation>
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
    <message>
        <source>About MoxtelServer</source>
        <translation>Über MoxtelServer</translation>
    </message>
    <message>
        <source>Shows a photo library on phones, tablets and computers of the house. The library is never changed.</source>
        <translation>Zeigt eine Fotobibliothek auf Telefonen, Tablets und Rechnern im Haus. Die Bibliothek wird nie geändert.</translation>
    </message>
    <message>
        <source>Free software under the GNU General Public License, version 3 or later, without any warranty. © The MoxtelServer authors</source>
        <translation>Freie Software unter der GNU General Public License, Version 3 oder später, ohne jede Gewährleistung. © The MoxtelServer authors</translation>
    </message>
    <message>
        <source>It uses %1.</source>
        <translation>Es verwendet %1.</translation>
    </message>
    <message>
        <source>Choose a folder</source>
        <translation>Ordner wählen</translation>
    </message>
    <message>
        <source>Add…</source>
        <translation>Hinzufügen …</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>Hilfe</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is no path of a file: it must begin with &quot;/&quot;.</source>
        <translation>„%1“ ist kein Pfad einer Datei: Er muss mit „/“ beginnen.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is a folder. Add the name of a file.</source>
        <translation>„%1“ ist ein Ordner. Fügen Sie den Namen einer Datei an.</translation>
    </message>
    <message>
        <source>There is no folder &quot;%1&quot;.</source>
        <translation>Es gibt keinen Ordner „%1“.</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>&amp;Network</source>
        <translation>&amp;Netzwerk</translation>
    </message>
    <message>
        <source>&amp;Page for browsers</source>
        <translation>&amp;Seite für Browser</translation>
    </message>
    <message>
        <source>&amp;Folders</source>
        <translation>Or&amp;dner</translation>
    </message>
    <message>
        <source>&amp;Logs</source>
        <translation>P&amp;rotokolle</translation>
    </message>
    <message>
        <source>A change restarts the server: connected devices are disconnected, and can connect again.</source>
        <translation>Bei einer Änderung startet der Server neu: Verbundene Geräte werden getrennt und können sich wieder verbinden.</translation>
    </message>
    <message>
        <source>any free port</source>
        <translation>ein freier Port</translation>
    </message>
    <message>
        <source>P&amp;ort for Moxtel:</source>
        <translation>P&amp;ort für Moxtel:</translation>
    </message>
    <message>
        <source>all devices of the network</source>
        <translation>alle Geräte im Netzwerk</translation>
    </message>
    <message>
        <source>Allowed &amp;devices:</source>
        <translation>&amp;Erlaubte Geräte:</translation>
    </message>
    <message>
        <source>Addresses and networks, for example 192.168.1.0/24, 10.0.0.7. They count for Moxtel and for the page.</source>
        <translation>Adressen und Netze, etwa 192.168.1.0/24, 10.0.0.7. Sie gelten für Moxtel und für die Seite.</translation>
    </message>
    <message>
        <source>whoever has the key</source>
        <translation>wer den Schlüssel hat</translation>
    </message>
    <message>
        <source>everybody in the network</source>
        <translation>alle im Netzwerk</translation>
    </message>
    <message>
        <source>there is no page</source>
        <translation>es gibt keine Seite</translation>
    </message>
    <message>
        <source>&amp;Who may look:</source>
        <translation>&amp;Wer darf hineinsehen:</translation>
    </message>
    <message>
        <source>P&amp;ort of the page:</source>
        <translation>P&amp;ort der Seite:</translation>
    </message>
    <message>
        <source>Further libraries</source>
        <translation>Weitere Bibliotheken</translation>
    </message>
    <message>
        <source>Further libraries on the page, or folders that are searched for them:</source>
        <translation>Weitere Bibliotheken auf der Seite, oder Ordner, in denen danach gesucht wird:</translation>
    </message>
    <message>
        <source>Folders with photos that a library only refers to. The server reads files outside the library only there. For the files of one disk, write its name before the folder: Photos 2011=/media/disk</source>
        <translation>Ordner mit Fotos, auf die eine Bibliothek nur verweist. Außerhalb der Bibliothek liest der Server nur dort. Für die Dateien eines Laufwerks setzen Sie dessen Namen vor den Ordner: Fotos 2011=/media/disk</translation>
    </message>
    <message>
        <source>Folders outside the library</source>
        <translation>Ordner außerhalb der Bibliothek</translation>
    </message>
    <message>
        <source>&amp;Errors into the file:</source>
        <translation>&amp;Fehler in die Datei:</translation>
    </message>
    <message>
        <source>&amp;Write debug messages</source>
        <translation>&amp;Meldungen zur Fehlersuche schreiben</translation>
    </message>
    <message>
        <source>&amp;Debug messages into the file:</source>
        <translation>Diese Meldungen &amp;in die Datei:</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is neither an IPv4 address nor a network such as 192.168.1.0/24.</source>
        <translation>„%1“ ist weder eine IPv4-Adresse noch ein Netz wie 192.168.1.0/24.</translation>
    </message>
    <message>
        <source>The page needs another port than Moxtel, which has %1.</source>
        <translation>Die Seite braucht einen anderen Port als Moxtel, das %1 hat.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is neither a path that begins with &quot;/&quot; nor NAME=/PATH.</source>
        <translation>„%1“ ist weder ein Pfad, der mit „/“ beginnt, noch NAME=/PFAD.</translation>
    </message>
    <message>
        <source>Enter the file for the debug messages.</source>
        <translation>Geben Sie die Datei für die Meldungen zur Fehlersuche an.</translation>
    </message>
    <message>
        <source>less than a minute left</source>
        <translation>noch weniger als eine Minute</translation>
    </message>
    <message>
        <source>about %1 min left</source>
        <translation>noch etwa %1 min</translation>
    </message>
    <message>
        <source>about %1 h %2 min left</source>
        <translation>noch etwa %1 h %2 min</translation>
    </message>
    <message>
        <source>Looking at the library: %1 photos</source>
        <translation>Die Bibliothek wird durchgesehen: %1 Fotos</translation>
    </message>
    <message>
        <source>Copying: %1 of %2 files, %3 of %4</source>
        <translation>Kopiert: %1 von %2 Dateien, %3 von %4</translation>
    </message>
    <message>
        <source>Writing the checksums and the report</source>
        <translation>Prüfsummen und Bericht werden geschrieben</translation>
    </message>
    <message>
        <source>%1 per second, %2</source>
        <translation>%1 pro Sekunde, %2</translation>
    </message>
    <message>
        <source>Photos and movies in the library: %1</source>
        <translation>Fotos und Filme in der Bibliothek: %1</translation>
    </message>
    <message>
        <source>Files copied: %1 (%2)</source>
        <translation>Kopierte Dateien: %1 (%2)</translation>
    </message>
    <message>
        <source>Files that were there already: %1</source>
        <translation>Dateien, die schon da waren: %1</translation>
    </message>
    <message>
        <source>Albums: %1</source>
        <translation>Alben: %1</translation>
    </message>
    <message>
        <source>The photos could not be copied: %1</source>
        <translation>Die Fotos ließen sich nicht kopieren: %1</translation>
    </message>
    <message>
        <source>Canceled. What was copied stays. Choose the same folder again to continue.</source>
        <translation>Abgebrochen. Was kopiert ist, bleibt. Mit demselben Ordner geht es weiter.</translation>
    </message>
    <message>
        <source>Everything is there.</source>
        <translation>Alles ist da.</translation>
    </message>
    <message>
        <source>Some photos are missing. The report says which, and why.</source>
        <translation>Einige Fotos fehlen. Im Bericht steht, welche und warum.</translation>
    </message>
    <message>
        <source>Choose a folder for the photos</source>
        <translation>Ordner für die Fotos wählen</translation>
    </message>
    <message>
        <source>Take photos home</source>
        <translation>Fotos nach Hause holen</translation>
    </message>
    <message>
        <source>Copies the photos into plain folders that every program can read. The library is not changed.</source>
        <translation>Kopiert die Fotos in gewöhnliche Ordner, die jedes Programm lesen kann. Die Bibliothek wird nicht geändert.</translation>
    </message>
    <message>
        <source>Library:</source>
        <translation>Bibliothek:</translation>
    </message>
    <message>
        <source>C&amp;hoose…</source>
        <translation>&amp;Wählen …</translation>
    </message>
    <message>
        <source>&amp;To the folder:</source>
        <translation>&amp;In den Ordner:</translation>
    </message>
    <message>
        <source>everything, or names separated by semicolons</source>
        <translation>alles, oder Namen, durch Semikolon getrennt</translation>
    </message>
    <message>
        <source>&amp;Albums, events, people:</source>
        <translation>&amp;Alben, Ereignisse, Personen:</translation>
    </message>
    <message>
        <source>edited and original</source>
        <translation>bearbeitet und Original</translation>
    </message>
    <message>
        <source>edited; original if not edited</source>
        <translation>bearbeitet; sonst das Original</translation>
    </message>
    <message>
        <source>originals only</source>
        <translation>nur Originale</translation>
    </message>
    <message>
        <source>&amp;Pictures:</source>
        <translation>&amp;Bilder:</translation>
    </message>
    <message>
        <source>events or projects</source>
        <translation>Ereignissen oder Projekten</translation>
    </message>
    <message>
        <source>years and days</source>
        <translation>Jahren und Tagen</translation>
    </message>
    <message>
        <source>&amp;Folders by:</source>
        <translation>&amp;Ordner nach:</translation>
    </message>
    <message>
        <source>Titles, &amp;keywords, faces and places in XMP files beside the photos</source>
        <translation>&amp;Titel, Stichwörter, Gesichter und Orte in XMP-Dateien neben den Fotos</translation>
    </message>
    <message>
        <source>Hi&amp;dden photos, too, in a folder of their own</source>
        <translation>Auch a&amp;usgeblendete Fotos, in einem eigenen Ordner</translation>
    </message>
    <message>
        <source>You can cancel at any time: what was copied stays, and the same folder continues later.</source>
        <translation>Sie können jederzeit abbrechen: Was kopiert ist, bleibt, und mit demselben Ordner geht es später weiter.</translation>
    </message>
    <message>
        <source>Open the &amp;Report</source>
        <translation>&amp;Bericht öffnen</translation>
    </message>
    <message>
        <source>Open the &amp;Folder</source>
        <translation>&amp;Ordner öffnen</translation>
    </message>
    <message>
        <source>&amp;Start</source>
        <translation>&amp;Starten</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Choose a folder, for example on a disk or on the NAS.</source>
        <translation>Wählen Sie einen Ordner, etwa auf einer Festplatte oder dem NAS.</translation>
    </message>
    <message>
        <source>The folder&apos;s path must begin with &quot;/&quot;.</source>
        <translation>Der Pfad des Ordners muss mit „/“ beginnen.</translation>
    </message>
    <message>
        <source>This folder is in the library, which is never changed. Choose another one.</source>
        <translation>Dieser Ordner liegt in der Bibliothek, die nie geändert wird. Wählen Sie einen anderen.</translation>
    </message>
    <message>
        <source>The library is in this folder. Choose another one.</source>
        <translation>Die Bibliothek liegt in diesem Ordner. Wählen Sie einen anderen.</translation>
    </message>
    <message>
        <source>Determining the size …</source>
        <translation>Die Größe wird ermittelt …</translation>
    </message>
    <message>
        <source>%1 files, %2</source>
        <translation>%1 Dateien, %2</translation>
    </message>
    <message>
        <source>%1 are free there</source>
        <translation>frei sind dort %1</translation>
    </message>
    <message>
        <source>only %1 are free there</source>
        <translation>frei sind dort nur %1</translation>
    </message>
    <message>
        <source>The photos cannot be copied: %1</source>
        <translation>Die Fotos lassen sich nicht kopieren: %1</translation>
    </message>
    <message>
        <source>Looking at the library …</source>
        <translation>Die Bibliothek wird durchgesehen …</translation>
    </message>
    <message>
        <source>Canceling …</source>
        <translation>Wird abgebrochen …</translation>
    </message>
    <message>
        <source>Take Photos Home…</source>
        <translation>Fotos nach Hause holen …</translation>
    </message>
    <message>
        <source>Settings…</source>
        <translation>Einstellungen …</translation>
    </message>
    <message>
        <source>no file</source>
        <translation>keine Datei</translation>
    </message>
    <message>
        <source>This library is not there. Connect its disk, or choose another library.</source>
        <translation>Diese Bibliothek ist nicht da. Schließen Sie ihre Festplatte an, oder wählen Sie eine andere Bibliothek.</translation>
    </message>
    <message>
        <source>Not visible</source>
        <translation>Nicht sichtbar</translation>
    </message>
    <message>
        <source>Choose the photo library for the phones and computers in your house.</source>
        <translation>Wählen Sie die Fotobibliothek, die Telefone und Rechner in Ihrem Haus sehen dürfen.</translation>
    </message>
    <message>
        <source>There is no page</source>
        <translation>Es gibt keine Seite</translation>
    </message>
</context>
</TS>
