<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>AIClient</name>
    <message>
        <source>The AI service address %1 is not a valid web address.</source>
        <translation>Die Adresse des KI-Dienstes %1 ist keine gültige Webadresse.</translation>
    </message>
    <message>
        <source>The AI service address %1 does not use HTTPS; the API key is only sent over HTTPS or to this computer itself.</source>
        <translation>Die Adresse des KI-Dienstes %1 verwendet kein HTTPS; der API-Schlüssel wird nur über HTTPS oder an diesen Computer selbst gesendet.</translation>
    </message>
    <message>
        <source>The AI service did not answer in time.</source>
        <translation>Der KI-Dienst hat nicht rechtzeitig geantwortet.</translation>
    </message>
    <message>
        <source>The AI service returned an unexpected response.</source>
        <translation>Der KI-Dienst hat eine unerwartete Antwort geliefert.</translation>
    </message>
</context>
<context>
    <name>Alert</name>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Don&apos;t Import</source>
        <translation>Nicht importieren</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>ApiKeyField</name>
    <message>
        <source>Paste your API key</source>
        <translation>API-Schlüssel einfügen</translation>
    </message>
    <message>
        <source>Checking the keyring…</source>
        <translation>Schlüsselbund wird geprüft …</translation>
    </message>
    <message>
        <source>Key stored – type here to replace it</source>
        <translation>Schlüssel gespeichert – zum Ersetzen hier eingeben</translation>
    </message>
    <message>
        <source>Key will be removed when you click Done</source>
        <translation>Der Schlüssel wird mit „Fertig“ entfernt</translation>
    </message>
    <message>
        <source>Anthropic API key</source>
        <translation>Anthropic-API-Schlüssel</translation>
    </message>
    <message>
        <source>R&amp;emove</source>
        <translation>&amp;Entfernen</translation>
    </message>
</context>
<context>
    <name>AppMenus</name>
    <message>
        <source>File</source>
        <translation>Datei</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Prompts</source>
        <translation>Prompts</translation>
    </message>
    <message>
        <source>Workspaces</source>
        <translation>Arbeitsbereiche</translation>
    </message>
    <message>
        <source>Window</source>
        <translation>Fenster</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>Hilfe</translation>
    </message>
    <message>
        <source>New Note</source>
        <translation>Neue Notiz</translation>
    </message>
    <message>
        <source>Import Markdown Files…</source>
        <translation>Markdown-Dateien importieren …</translation>
    </message>
    <message>
        <source>Change Folder…</source>
        <translation>Ordner wechseln …</translation>
    </message>
    <message>
        <source>Settings…</source>
        <translation>Einstellungen …</translation>
    </message>
    <message>
        <source>Quit Tackpad</source>
        <translation>Tackpad beenden</translation>
    </message>
    <message>
        <source>Search Notes…</source>
        <translation>Notizen durchsuchen …</translation>
    </message>
    <message>
        <source>Hidden Notes…</source>
        <translation>Ausgeblendete Notizen …</translation>
    </message>
    <message>
        <source>Show All Notes</source>
        <translation>Alle Notizen anzeigen</translation>
    </message>
    <message>
        <source>Show Recovered Notes</source>
        <translation>Wiederhergestellte Notizen anzeigen</translation>
    </message>
    <message>
        <source>Delete Note</source>
        <translation>Notiz löschen</translation>
    </message>
    <message>
        <source>About Tackpad</source>
        <translation>Über Tackpad</translation>
    </message>
    <message>
        <source>No prompt notes – mark one with Use as AI Prompt</source>
        <translation>Keine Prompt-Notizen – eine Notiz mit „Als KI-Prompt verwenden“ markieren</translation>
    </message>
    <message>
        <source>Add Opened Folders Automatically</source>
        <translation>Geöffnete Ordner automatisch hinzufügen</translation>
    </message>
    <message>
        <source>Edit Workspaces…</source>
        <translation>Arbeitsbereiche bearbeiten …</translation>
    </message>
    <message>
        <source>Tackpad</source>
        <translation>Tackpad</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Rückgängig</translation>
    </message>
    <message>
        <source>Redo</source>
        <translation>Wiederherstellen</translation>
    </message>
    <message>
        <source>Cut</source>
        <translation>Ausschneiden</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Paste</source>
        <translation>Einfügen</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Alles auswählen</translation>
    </message>
</context>
<context>
    <name>ApplyServer</name>
    <message>
        <source>an AI request for “%1” is already running</source>
        <translation>für „%1“ läuft bereits eine KI-Anfrage</translation>
    </message>
    <message>
        <source>this Tackpad cannot apply prompts</source>
        <translation>dieses Tackpad kann keine Prompts anwenden</translation>
    </message>
</context>
<context>
    <name>AtomicFile</name>
    <message>
        <source>“%1” is not a file</source>
        <translation>„%1“ ist keine Datei</translation>
    </message>
    <message>
        <source>the file is read-only</source>
        <translation>die Datei ist schreibgeschützt</translation>
    </message>
</context>
<context>
    <name>FileManagerReveal</name>
    <message>
        <source>Reveal in File Manager</source>
        <translation>Im Dateimanager zeigen</translation>
    </message>
    <message>
        <source>Reveal in Finder</source>
        <translation>Im Finder zeigen</translation>
    </message>
</context>
<context>
    <name>GlobalHotKey</name>
    <message>
        <source>%1 creates a new note from any application.</source>
        <translation>%1 erstellt aus jeder Anwendung heraus eine neue Notiz.</translation>
    </message>
    <message>
        <source>Another application already uses %1, so the shortcut does nothing here.</source>
        <translation>Eine andere Anwendung verwendet %1 bereits, daher bewirkt das Tastenkürzel hier nichts.</translation>
    </message>
    <message>
        <source>To create notes from the keyboard, bind the command “tackpad --new-note” to a key in your desktop&apos;s keyboard settings.</source>
        <translation>Um Notizen per Tastatur zu erstellen, den Befehl „tackpad --new-note“ in den Tastatureinstellungen der Arbeitsumgebung einer Taste zuweisen.</translation>
    </message>
    <message>
        <source>This Wayland desktop does not offer global shortcuts to applications.</source>
        <translation>Diese Wayland-Arbeitsumgebung bietet Anwendungen keine globalen Tastenkürzel an.</translation>
    </message>
    <message>
        <source>Global shortcuts are not available on this display.</source>
        <translation>Globale Tastenkürzel sind auf dieser Anzeige nicht verfügbar.</translation>
    </message>
</context>
<context>
    <name>GnomeCustomShortcut</name>
    <message>
        <source>Tackpad: new note</source>
        <translation>Tackpad: neue Notiz</translation>
    </message>
    <message>
        <source>GNOME&apos;s keyboard shortcut settings are not installed.</source>
        <translation>Die Tastenkürzel-Einstellungen von GNOME sind nicht installiert.</translation>
    </message>
    <message>
        <source>GNOME does not let Tackpad change its keyboard shortcuts.</source>
        <translation>GNOME lässt Tackpad seine Tastenkürzel nicht ändern.</translation>
    </message>
</context>
<context>
    <name>GnomeShortcutHotKey</name>
    <message>
        <source>Tackpad can add %1 to GNOME&apos;s keyboard shortcuts: with this option on, it asks when you click Done.</source>
        <translation>Tackpad kann %1 zu den Tastenkürzeln von GNOME hinzufügen: Ist diese Option eingeschaltet, fragt es, wenn Sie auf „Fertig“ klicken.</translation>
    </message>
    <message>
        <source>Your GNOME keyboard shortcut “%1” already uses %2, so Tackpad did not add another.</source>
        <translation>Ihr GNOME-Tastenkürzel „%1“ verwendet bereits %2, daher hat Tackpad kein weiteres hinzugefügt.</translation>
    </message>
    <message>
        <source>GNOME&apos;s keyboard settings could not be changed: %1</source>
        <translation>Die Tastatureinstellungen von GNOME konnten nicht geändert werden: %1</translation>
    </message>
    <message>
        <source>Tackpad can add %1 to GNOME&apos;s keyboard shortcuts.</source>
        <translation>Tackpad kann %1 zu den Tastenkürzeln von GNOME hinzufügen.</translation>
    </message>
    <message>
        <source>It is a custom shortcut in GNOME&apos;s keyboard settings, where you can change the key.</source>
        <translation>Es ist ein eigenes Tastenkürzel in den Tastatureinstellungen von GNOME, wo Sie die Taste ändern können.</translation>
    </message>
    <message>
        <source>GNOME does not let applications listen for keys themselves. Tackpad can add %1 as a custom shortcut to GNOME&apos;s keyboard settings, running “tackpad --new-note”. Add it?</source>
        <translation>GNOME lässt Anwendungen nicht selbst auf Tasten hören. Tackpad kann %1 als eigenes Tastenkürzel zu den Tastatureinstellungen von GNOME hinzufügen, das „tackpad --new-note“ ausführt. Hinzufügen?</translation>
    </message>
</context>
<context>
    <name>HiddenNotesWindow</name>
    <message>
        <source>Hidden Notes</source>
        <translation>Ausgeblendete Notizen</translation>
    </message>
    <message>
        <source>Unhide</source>
        <translation>Einblenden</translation>
    </message>
    <message>
        <source>Unhide All</source>
        <translation>Alle einblenden</translation>
    </message>
    <message>
        <source>No hidden notes in this workspace</source>
        <translation>Keine ausgeblendeten Notizen in diesem Arbeitsbereich</translation>
    </message>
    <message>
        <source>Hidden notes stay in the workspace – only their windows are put away. Double-click a note to unhide it.</source>
        <translation>Ausgeblendete Notizen bleiben im Arbeitsbereich – nur ihre Fenster werden weggeräumt. Zum Einblenden eine Notiz doppelt anklicken.</translation>
    </message>
</context>
<context>
    <name>KGlobalAccelHotKey</name>
    <message>
        <source>The key can be changed on the Shortcuts page of KDE&apos;s System Settings.</source>
        <translation>Die Taste lässt sich in den KDE-Systemeinstellungen auf der Seite „Kurzbefehle“ ändern.</translation>
    </message>
    <message>
        <source>No key is assigned to creating a new note.</source>
        <translation>Dem Erstellen einer neuen Notiz ist keine Taste zugewiesen.</translation>
    </message>
    <message>
        <source>KDE&apos;s shortcut service did not set up the shortcut.</source>
        <translation>Der Kurzbefehl-Dienst von KDE hat das Tastenkürzel nicht eingerichtet.</translation>
    </message>
    <message>
        <source>Switched on, %1 creates a new note through KDE&apos;s shortcut service.</source>
        <translation>Eingeschaltet erstellt %1 über den Kurzbefehl-Dienst von KDE eine neue Notiz.</translation>
    </message>
    <message>
        <source>Create a new note</source>
        <translation>Neue Notiz erstellen</translation>
    </message>
</context>
<context>
    <name>KeyStore</name>
    <message>
        <source>The keyring refused access, so the API key cannot be %1.</source>
        <translation>Der Schlüsselbund hat den Zugriff verweigert, daher kann der API-Schlüssel nicht %1 werden.</translation>
    </message>
    <message>
        <source>The API key cannot be %1: %2</source>
        <translation>Der API-Schlüssel kann nicht %1 werden: %2</translation>
    </message>
    <message>
        <source>No keyring is available, so the API key cannot be stored.</source>
        <translation>Kein Schlüsselbund verfügbar, daher kann der API-Schlüssel nicht gespeichert werden.</translation>
    </message>
    <message>
        <source>read</source>
        <translation>gelesen</translation>
    </message>
    <message>
        <source>removed</source>
        <translation>entfernt</translation>
    </message>
    <message>
        <source>stored</source>
        <translation>gespeichert</translation>
    </message>
</context>
<context>
    <name>NoteColorPanel</name>
    <message>
        <source>Note Color</source>
        <translation>Notizfarbe</translation>
    </message>
</context>
<context>
    <name>NoteFiles</name>
    <message>
        <source>its file name is not valid UTF-8; rename the file to use it</source>
        <translation>der Dateiname ist kein gültiges UTF-8; die Datei umbenennen, um sie zu verwenden</translation>
    </message>
    <message>
        <source>not valid UTF-8 text</source>
        <translation>kein gültiger UTF-8-Text</translation>
    </message>
    <message>
        <source>larger than %1 MB</source>
        <translation>größer als %1 MB</translation>
    </message>
    <message>
        <source>a file named “%1” already exists</source>
        <translation>eine Datei namens „%1“ existiert bereits</translation>
    </message>
</context>
<context>
    <name>NoteMenu</name>
    <message>
        <source>Use as AI Prompt</source>
        <translation>Als KI-Prompt verwenden</translation>
    </message>
    <message>
        <source>Apply AI Prompt</source>
        <translation>KI-Prompt anwenden</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>Farbe</translation>
    </message>
    <message>
        <source>Custom…</source>
        <translation>Eigene …</translation>
    </message>
    <message>
        <source>Unroll</source>
        <translation>Aufrollen</translation>
    </message>
    <message>
        <source>Roll Up</source>
        <translation>Einrollen</translation>
    </message>
    <message>
        <source>Float on Top</source>
        <translation>Im Vordergrund halten</translation>
    </message>
    <message>
        <source>Hide Note</source>
        <translation>Notiz ausblenden</translation>
    </message>
    <message>
        <source>Cancel AI Request</source>
        <translation>KI-Anfrage abbrechen</translation>
    </message>
    <message>
        <source>Bigger Text</source>
        <translation>Größerer Text</translation>
    </message>
    <message>
        <source>Smaller Text</source>
        <translation>Kleinerer Text</translation>
    </message>
    <message>
        <source>Rename…</source>
        <translation>Umbenennen …</translation>
    </message>
    <message>
        <source>Close Note</source>
        <translation>Notiz schließen</translation>
    </message>
    <message>
        <source>Delete Note…</source>
        <translation>Notiz löschen …</translation>
    </message>
    <message>
        <source>Duplicate Note</source>
        <translation>Notiz duplizieren</translation>
    </message>
</context>
<context>
    <name>NotePalette</name>
    <message>
        <source>Pink</source>
        <translation>Rosa</translation>
    </message>
    <message>
        <source>Orange</source>
        <translation>Orange</translation>
    </message>
    <message>
        <source>Yellow</source>
        <translation>Gelb</translation>
    </message>
    <message>
        <source>Green</source>
        <translation>Grün</translation>
    </message>
    <message>
        <source>Blue</source>
        <translation>Blau</translation>
    </message>
    <message>
        <source>Purple</source>
        <translation>Lila</translation>
    </message>
    <message>
        <source>Gray</source>
        <translation>Grau</translation>
    </message>
    <message>
        <source>White</source>
        <translation>Weiß</translation>
    </message>
</context>
<context>
    <name>NoteStore</name>
    <message>
        <source>Could not create note</source>
        <translation>Notiz konnte nicht erstellt werden</translation>
    </message>
    <message>
        <source>Could not rename note</source>
        <translation>Notiz konnte nicht umbenannt werden</translation>
    </message>
    <message>
        <source>Could not duplicate note</source>
        <translation>Notiz konnte nicht dupliziert werden</translation>
    </message>
    <message>
        <source>Could not delete note</source>
        <translation>Notiz konnte nicht gelöscht werden</translation>
    </message>
    <message>
        <source>Could not close note</source>
        <translation>Notiz konnte nicht geschlossen werden</translation>
    </message>
    <message>
        <source>Could not import note</source>
        <translation>Notiz konnte nicht importiert werden</translation>
    </message>
    <message>
        <source>New note</source>
        <extracomment>The title, and so the file name, of a new note.</extracomment>
        <translation>Neue Notiz</translation>
    </message>
    <message>
        <source>was replaced by another note of the same name</source>
        <extracomment>Completes a sentence that starts with a note&apos;s title: “Shopping” &lt;this text&gt;.</extracomment>
        <translation>wurde durch eine andere Notiz gleichen Namens ersetzt</translation>
    </message>
    <message>
        <source>was moved to the Trash before its last changes could be saved</source>
        <extracomment>Completes a sentence that starts with a note&apos;s title: “Shopping” &lt;this text&gt;.</extracomment>
        <translation>wurde in den Papierkorb verschoben, bevor die letzten Änderungen gespeichert werden konnten</translation>
    </message>
    <message>
        <source>“%1” links to a file outside the workspace; it is left as it is.</source>
        <translation>„%1“ verweist auf eine Datei außerhalb des Arbeitsbereichs; sie bleibt unverändert.</translation>
    </message>
    <message>
        <source>“%1” is not a file.</source>
        <translation>„%1“ ist keine Datei.</translation>
    </message>
    <message>
        <source>Imported note</source>
        <extracomment>The title, and so the file name, of an imported file that has no usable name.</extracomment>
        <translation>Importierte Notiz</translation>
    </message>
    <message>
        <source>can no longer be read as a note (%1)</source>
        <extracomment>Completes a sentence that starts with a note&apos;s title: “Shopping” &lt;this text&gt;.</extracomment>
        <translation>kann nicht mehr als Notiz gelesen werden (%1)</translation>
    </message>
    <message>
        <source>was replaced while it was being saved</source>
        <extracomment>Completes a sentence that starts with a note&apos;s title: “Shopping” &lt;this text&gt;.</extracomment>
        <translation>wurde beim Speichern ersetzt</translation>
    </message>
    <message>
        <source> (conflict %1)</source>
        <extracomment>Added to a note&apos;s title to name the copy of another program&apos;s version; %1 is the date and time.</extracomment>
        <translation> (Konflikt %1)</translation>
    </message>
    <message>
        <source>Conflict</source>
        <extracomment>The title, and so the file name, of another program&apos;s version of a note that has no usable title.</extracomment>
        <translation>Konflikt</translation>
    </message>
    <message>
        <source>was changed elsewhere</source>
        <extracomment>Completes a sentence that starts with a note&apos;s title: “Shopping” &lt;this text&gt;.</extracomment>
        <translation>wurde anderswo geändert</translation>
    </message>
    <message>
        <source>was deleted or moved away elsewhere</source>
        <extracomment>Completes a sentence that starts with a note&apos;s title: “Shopping” &lt;this text&gt;.</extracomment>
        <translation>wurde anderswo gelöscht oder verschoben</translation>
    </message>
    <message>
        <source>was being saved when Tackpad stopped</source>
        <extracomment>Completes a sentence that starts with a note&apos;s title: “Shopping” &lt;this text&gt;.</extracomment>
        <translation>wurde gerade gespeichert, als Tackpad beendet wurde</translation>
    </message>
</context>
<context>
    <name>NoteWindowController</name>
    <message>
        <source>Close note (file is kept)</source>
        <translation>Notiz schließen (Datei bleibt erhalten)</translation>
    </message>
    <message>
        <source>Delete note</source>
        <translation>Notiz löschen</translation>
    </message>
    <message>
        <source>The AI request was cancelled.</source>
        <translation>Die KI-Anfrage wurde abgebrochen.</translation>
    </message>
    <message>
        <source>Delete “%1”?</source>
        <translation>„%1“ löschen?</translation>
    </message>
    <message>
        <source>The file %1 will be moved to the Trash.</source>
        <translation>Die Datei %1 wird in den Papierkorb verschoben.</translation>
    </message>
    <message>
        <source>Move to Trash</source>
        <translation>In den Papierkorb verschieben</translation>
    </message>
    <message>
        <source>Attachment not found: </source>
        <translation>Anhang nicht gefunden: </translation>
    </message>
</context>
<context>
    <name>OnboardingDialog</name>
    <message>
        <source>Agree and Continue</source>
        <translation>Zustimmen und fortfahren</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Welcome to Tackpad</source>
        <translation>Willkommen bei Tackpad</translation>
    </message>
    <message>
        <source>&lt;h2&gt;Welcome to Tackpad&lt;/h2&gt;</source>
        <translation>&lt;h2&gt;Willkommen bei Tackpad&lt;/h2&gt;</translation>
    </message>
    <message>
        <source>&lt;p&gt;Tackpad keeps every sticky note as a &lt;b&gt;plain Markdown file&lt;/b&gt; in a folder you choose next. Your notes never leave that folder: open them in any editor, sync them with any tool, and changes show up in the note windows at once.&lt;/p&gt;&lt;p&gt;Tackpad adds one line of its own to the top of each note file, holding the note&apos;s position, size and color.&lt;/p&gt;&lt;p&gt;&lt;b&gt;AI prompt notes are optional.&lt;/b&gt; Only when you apply a prompt note to another note does Tackpad send the text of both notes to Anthropic, using an API key you enter in Settings. Nothing is sent otherwise.&lt;/p&gt;</source>
        <translation>&lt;p&gt;Tackpad speichert jede Haftnotiz als &lt;b&gt;einfache Markdown-Datei&lt;/b&gt; in einem Ordner, der im nächsten Schritt gewählt wird. Die Notizen verlassen diesen Ordner nie: Sie lassen sich in jedem Editor öffnen und mit jedem Werkzeug abgleichen, und Änderungen erscheinen sofort in den Notizfenstern.&lt;/p&gt;&lt;p&gt;Tackpad fügt oben in jede Notizdatei eine eigene Zeile mit Position, Größe und Farbe der Notiz ein.&lt;/p&gt;&lt;p&gt;&lt;b&gt;KI-Prompt-Notizen sind optional.&lt;/b&gt; Nur wenn eine Prompt-Notiz auf eine andere Notiz angewendet wird, sendet Tackpad den Text beider Notizen an Anthropic, mit einem API-Schlüssel aus den Einstellungen. Sonst wird nichts gesendet.&lt;/p&gt;</translation>
    </message>
</context>
<context>
    <name>PortalGlobalHotKey</name>
    <message>
        <source>No key is assigned to “%1” yet: choose one in the desktop&apos;s shortcut settings.</source>
        <translation>„%1“ ist noch keine Taste zugewiesen: eine in den Tastenkürzel-Einstellungen der Arbeitsumgebung wählen.</translation>
    </message>
    <message>
        <source>The desktop did not set up the shortcut.</source>
        <translation>Die Arbeitsumgebung hat das Tastenkürzel nicht eingerichtet.</translation>
    </message>
    <message>
        <source>The desktop asks which key creates a new note; %1 is proposed.</source>
        <translation>Die Arbeitsumgebung fragt, welche Taste eine neue Notiz erstellt; vorgeschlagen ist %1.</translation>
    </message>
    <message>
        <source>The desktop&apos;s global shortcuts deliver it; change the key in the desktop&apos;s shortcut settings.</source>
        <translation>Die globalen Tastenkürzel der Arbeitsumgebung liefern es; die Taste ändern Sie in deren Tastenkürzel-Einstellungen.</translation>
    </message>
</context>
<context>
    <name>PromptBackup</name>
    <message>
        <source>%1 (before AI)</source>
        <translation>%1 (vor KI)</translation>
    </message>
</context>
<context>
    <name>PromptRun</name>
    <message>
        <source>The prompt note “%1” is empty</source>
        <translation>Die Prompt-Notiz „%1“ ist leer</translation>
    </message>
    <message>
        <source>Add your Anthropic API key in Settings first</source>
        <translation>Zuerst den Anthropic-API-Schlüssel in den Einstellungen eintragen</translation>
    </message>
    <message>
        <source>Thinking…</source>
        <translation>Denkt nach …</translation>
    </message>
    <message>
        <source>“%1” applied</source>
        <translation>„%1“ angewendet</translation>
    </message>
    <message>
        <source>“%1” applied – press %2 to undo</source>
        <translation>„%1“ angewendet – zum Rückgängigmachen %2 drücken</translation>
    </message>
    <message>
        <source>AI request failed: %1</source>
        <translation>KI-Anfrage fehlgeschlagen: %1</translation>
    </message>
</context>
<context>
    <name>SearchWindow</name>
    <message>
        <source>Search Notes</source>
        <translation>Notizen durchsuchen</translation>
    </message>
    <message>
        <source>Search every note in this workspace</source>
        <translation>Alle Notizen in diesem Arbeitsbereich durchsuchen</translation>
    </message>
    <message>
        <source>No matching notes</source>
        <translation>Keine passenden Notizen</translation>
    </message>
    <message>
        <source>hidden</source>
        <comment>after the title of a hidden note</comment>
        <translation>ausgeblendet</translation>
    </message>
    <message>
        <source>Results</source>
        <translation>Ergebnisse</translation>
    </message>
</context>
<context>
    <name>SettingsDialog</name>
    <message>
        <source> pt</source>
        <translation> pt</translation>
    </message>
    <message>
        <source>Show TackPad in the menu &amp;bar instead of the Dock</source>
        <translation>TackPad in der Menü&amp;leiste statt im Dock zeigen</translation>
    </message>
    <message>
        <source>Show TackPad in the system &amp;tray instead of the taskbar</source>
        <translation>TackPad im Systemabschnitt der Kontrollleiste statt in der Fens&amp;terleiste zeigen</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>New notes</source>
        <translation>Neue Notizen</translation>
    </message>
    <message>
        <source>&amp;Use selected note&apos;s settings for new notes</source>
        <translation>Einstellungen der a&amp;usgewählten Notiz für neue Notizen verwenden</translation>
    </message>
    <message>
        <source>&amp;Float new notes on top</source>
        <translation>Neue Notizen im &amp;Vordergrund halten</translation>
    </message>
    <message>
        <source>&amp;Width:</source>
        <translation>&amp;Breite:</translation>
    </message>
    <message>
        <source>&amp;Height:</source>
        <translation>&amp;Höhe:</translation>
    </message>
    <message>
        <source>Font si&amp;ze:</source>
        <translation>Schrift&amp;größe:</translation>
    </message>
    <message>
        <source>&amp;Color:</source>
        <translation>F&amp;arbe:</translation>
    </message>
    <message>
        <source>Note Color</source>
        <translation>Notizfarbe</translation>
    </message>
    <message>
        <source>Startup</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>&amp;Reopen last workspace on startup</source>
        <translation>Beim Start den letzten Arbeitsbereich w&amp;ieder öffnen</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Keiner</translation>
    </message>
    <message>
        <source>Default wor&amp;kspace:</source>
        <translation>Standard-Arbeitsbe&amp;reich:</translation>
    </message>
    <message>
        <source>Start Tackpad when I &amp;log in</source>
        <translation>Tackpad bei der An&amp;meldung starten</translation>
    </message>
    <message>
        <source>Desktop</source>
        <translation>Arbeitsumgebung</translation>
    </message>
    <message>
        <source>This desktop has no system tray, so notes stay in the taskbar.</source>
        <translation>Diese Arbeitsumgebung hat keinen Systemabschnitt, daher bleiben die Notizen in der Fensterleiste.</translation>
    </message>
    <message>
        <source>Create a new note from &amp;anywhere with %1</source>
        <translation>Mit %1 von &amp;überall eine neue Notiz erstellen</translation>
    </message>
    <message>
        <source>System-wide keyboard shortcut – works even when TackPad isn&apos;t the active app.</source>
        <translation>Systemweites Tastenkürzel – funktioniert auch, wenn TackPad nicht die aktive Anwendung ist.</translation>
    </message>
    <message>
        <source>Appearance</source>
        <translation>Erscheinungsbild</translation>
    </message>
    <message>
        <source>Use Dark &amp;Mode (dark note colors)</source>
        <translation>&amp;Dunklen Modus verwenden (dunkle Notizfarben)</translation>
    </message>
    <message>
        <source>Preset note colors switch to dark versions. Files keep their stored colors, so this is instant and reversible.</source>
        <translation>Die vorgegebenen Notizfarben wechseln zu dunklen Varianten. Die Dateien behalten ihre gespeicherten Farben, daher wirkt dies sofort und lässt sich rückgängig machen.</translation>
    </message>
    <message>
        <source>Note fo&amp;nt:</source>
        <translation>&amp;Notizschrift:</translation>
    </message>
    <message>
        <source>AI prompts</source>
        <translation>KI-Prompts</translation>
    </message>
    <message>
        <source>Anthropic API ke&amp;y:</source>
        <translation>Anthropic-API-&amp;Schlüssel:</translation>
    </message>
    <message>
        <source>Applying a prompt sends that note&apos;s text to Anthropic using your key. Mark any note as a prompt with right-click → Use as AI Prompt.</source>
        <translation>Beim Anwenden eines Prompts wird der Text dieser Notiz mit dem eigenen Schlüssel an Anthropic gesendet. Eine Notiz wird per Rechtsklick → Als KI-Prompt verwenden zum Prompt.</translation>
    </message>
    <message>
        <source>M&amp;odel:</source>
        <translation>M&amp;odell:</translation>
    </message>
    <message>
        <source>&amp;Done</source>
        <translation>&amp;Fertig</translation>
    </message>
    <message>
        <source>Custom…</source>
        <translation>Eigene …</translation>
    </message>
    <message>
        <source>Custom (%1)</source>
        <translation>Eigene (%1)</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>System font</source>
        <translation>Systemschrift</translation>
    </message>
    <message>
        <source>Could not change starting at login</source>
        <translation>Der Start bei der Anmeldung konnte nicht geändert werden</translation>
    </message>
    <message>
        <source>Add a Keyboard Shortcut?</source>
        <translation>Tastenkürzel hinzufügen?</translation>
    </message>
</context>
<context>
    <name>TackpadApplication</name>
    <message>
        <source>Select folder for TackPad</source>
        <translation>Ordner für TackPad auswählen</translation>
    </message>
    <message>
        <source>Use This Folder</source>
        <translation>Diesen Ordner verwenden</translation>
    </message>
    <message>
        <source>Import Markdown Files</source>
        <translation>Markdown-Dateien importieren</translation>
    </message>
    <message>
        <source>Choose Markdown files to turn into sticky notes.
If the file is already in the current folder, the file will gain TackPad properties. If it&apos;s in another folder, a copy will be made into the current folder.</source>
        <translation>Markdown-Dateien wählen, die zu Haftnotizen werden sollen.
Liegt eine Datei bereits im aktuellen Ordner, erhält sie TackPad-Eigenschaften. Liegt sie in einem anderen Ordner, wird eine Kopie im aktuellen Ordner angelegt.</translation>
    </message>
    <message>
        <source>Markdown files (*.md *.MD *.Md *.mD)</source>
        <translation>Markdown-Dateien (*.md *.MD *.Md *.mD)</translation>
    </message>
    <message>
        <source>Import</source>
        <translation>Importieren</translation>
    </message>
    <message>
        <source>About Tackpad</source>
        <translation>Über Tackpad</translation>
    </message>
    <message>
        <source>&lt;b&gt;Tackpad %1&lt;/b&gt;&lt;p&gt;Sticky notes kept as plain Markdown files.&lt;/p&gt;&lt;p&gt;&lt;a href=&quot;%2&quot;&gt;%2&lt;/a&gt;&lt;/p&gt;</source>
        <translation>&lt;b&gt;Tackpad %1&lt;/b&gt;&lt;p&gt;Haftnotizen als einfache Markdown-Dateien.&lt;/p&gt;&lt;p&gt;&lt;a href=&quot;%2&quot;&gt;%2&lt;/a&gt;&lt;/p&gt;</translation>
    </message>
</context>
<context>
    <name>TitleBarView</name>
    <message>
        <source>Delete note</source>
        <translation>Notiz löschen</translation>
    </message>
    <message>
        <source>Float on Top</source>
        <translation>Im Vordergrund halten</translation>
    </message>
    <message>
        <source>Unroll</source>
        <translation>Aufrollen</translation>
    </message>
    <message>
        <source>Roll Up</source>
        <translation>Einrollen</translation>
    </message>
</context>
<context>
    <name>WorkspaceEditor</name>
    <message>
        <source>Add Folder…</source>
        <translation>Ordner hinzufügen …</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>Move Up</source>
        <translation>Nach oben</translation>
    </message>
    <message>
        <source>Move Down</source>
        <translation>Nach unten</translation>
    </message>
    <message>
        <source>Edit Workspaces</source>
        <translation>Arbeitsbereiche bearbeiten</translation>
    </message>
    <message>
        <source>Add a workspace folder</source>
        <translation>Einen Arbeitsbereichsordner hinzufügen</translation>
    </message>
    <message>
        <source>The first ten workspaces get the shortcuts %1 to %2. Drag to reorder.</source>
        <translation>Die ersten zehn Arbeitsbereiche erhalten die Tastenkürzel %1 bis %2. Zum Umsortieren ziehen.</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
</context>
<context>
    <name>WorkspaceList</name>
    <message>
        <source>This folder already contains Markdown files. Would you like to import them all as TackPad notes?</source>
        <translation>Dieser Ordner enthält bereits Markdown-Dateien. Sollen alle als TackPad-Notizen importiert werden?</translation>
    </message>
    <message>
        <source>

This will add one line of TackPad properties to each file. Closing an imported note reverts it to an ordinary Markdown file.</source>
        <translation>

Dabei erhält jede Datei eine Zeile mit TackPad-Eigenschaften. Wird eine importierte Notiz geschlossen, ist sie wieder eine gewöhnliche Markdown-Datei.</translation>
    </message>
    <message>
        <source>

You can also import individual files later with File → Import Markdown Files….</source>
        <translation>

Einzelne Dateien lassen sich auch später über Datei → Markdown-Dateien importieren … importieren.</translation>
    </message>
    <message numerus="yes">
        <source>This folder contains %n Markdown files. Are you sure you want to import them all as TackPad notes?</source>
        <translation>
            <numerusform>Dieser Ordner enthält %n Markdown-Datei. Wirklich als TackPad-Notiz importieren?</numerusform>
            <numerusform>Dieser Ordner enthält %n Markdown-Dateien. Wirklich alle als TackPad-Notizen importieren?</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>This folder contains %n Markdown files – that&apos;s a lot! Do you want to import them all as TackPad notes?</source>
        <translation>
            <numerusform>Dieser Ordner enthält %n Markdown-Datei. Soll sie als TackPad-Notiz importiert werden?</numerusform>
            <numerusform>Dieser Ordner enthält %n Markdown-Dateien – das sind viele! Sollen alle als TackPad-Notizen importiert werden?</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>WorkspaceSession</name>
    <message>
        <source>Could not save “%1”: %2 – the text stays in the note and is saved with your next change</source>
        <translation>„%1“ konnte nicht gespeichert werden: %2 – der Text bleibt in der Notiz und wird mit der nächsten Änderung gespeichert</translation>
    </message>
    <message>
        <source>This TackPad workspace contains no notes (yet)</source>
        <translation>Dieser TackPad-Arbeitsbereich enthält (noch) keine Notizen</translation>
    </message>
    <message>
        <source>TackPad can&apos;t read this folder</source>
        <translation>TackPad kann diesen Ordner nicht lesen</translation>
    </message>
    <message>
        <source>You don&apos;t have permission to read “%1” (%2).

Ask its owner for access, or change its permissions, then reopen the folder.</source>
        <translation>Keine Berechtigung zum Lesen von „%1“ (%2).

Beim Eigentümer um Zugriff bitten oder die Berechtigungen ändern und den Ordner dann erneut öffnen.</translation>
    </message>
    <message>
        <source>Import existing Markdown files?</source>
        <translation>Vorhandene Markdown-Dateien importieren?</translation>
    </message>
    <message>
        <source>Import</source>
        <translation>Importieren</translation>
    </message>
    <message>
        <source>Notes folder not found</source>
        <translation>Notizordner nicht gefunden</translation>
    </message>
    <message>
        <source>The folder TackPad was using has been moved or deleted, so I&apos;ve switched to your “%1” workspace.</source>
        <translation>Der von TackPad verwendete Ordner wurde verschoben oder gelöscht, daher wurde zum Arbeitsbereich „%1“ gewechselt.</translation>
    </message>
    <message>
        <source>The folder TackPad was using has been moved or deleted. Choose a folder for your notes.</source>
        <translation>Der von TackPad verwendete Ordner wurde verschoben oder gelöscht. Einen Ordner für die Notizen wählen.</translation>
    </message>
    <message>
        <source>Choose Folder…</source>
        <translation>Ordner wählen …</translation>
    </message>
    <message>
        <source>Quit TackPad</source>
        <translation>TackPad beenden</translation>
    </message>
    <message>
        <source>You removed the last workspace</source>
        <translation>Der letzte Arbeitsbereich wurde entfernt</translation>
    </message>
    <message>
        <source>TackPad needs a notes folder to work with. Choose a folder, or quit.</source>
        <translation>TackPad braucht einen Notizordner. Einen Ordner wählen oder beenden.</translation>
    </message>
    <message>
        <source>Workspace unavailable</source>
        <translation>Arbeitsbereich nicht verfügbar</translation>
    </message>
    <message>
        <source>Workspace removed</source>
        <translation>Arbeitsbereich entfernt</translation>
    </message>
    <message>
        <source>The folder “%1” no longer exists, so it was removed from your workspaces.</source>
        <translation>Der Ordner „%1“ existiert nicht mehr und wurde daher aus den Arbeitsbereichen entfernt.</translation>
    </message>
    <message>
        <source>You now have two workspaces</source>
        <translation>Jetzt gibt es zwei Arbeitsbereiche</translation>
    </message>
    <message>
        <source>Every folder you open is added to the Workspaces menu automatically.

Switch between workspaces with %1–%2, and use Workspaces → Edit Workspaces… to remove or rearrange them.</source>
        <translation>Jeder geöffnete Ordner wird automatisch zum Menü „Arbeitsbereiche“ hinzugefügt.

Mit %1–%2 zwischen Arbeitsbereichen wechseln; über Arbeitsbereiche → Arbeitsbereiche bearbeiten … lassen sie sich entfernen oder umsortieren.</translation>
    </message>
    <message>
        <source>All notes in this workspace are hidden – press %1 or use Window → Hidden Notes… to unhide</source>
        <translation>Alle Notizen in diesem Arbeitsbereich sind ausgeblendet – zum Einblenden %1 drücken oder Fenster → Ausgeblendete Notizen … verwenden</translation>
    </message>
    <message>
        <source>“%1” is not shown: %2</source>
        <translation>„%1“ wird nicht angezeigt: %2</translation>
    </message>
    <message>
        <source>“%1” was also changed elsewhere; that version is kept as the note “%2”</source>
        <translation>„%1“ wurde auch anderswo geändert; diese Fassung bleibt als Notiz „%2“ erhalten</translation>
    </message>
    <message>
        <source>“%1” %2; its text is kept in Recovered Notes (Window → Show Recovered Notes)</source>
        <translation>„%1“ %2; der Text bleibt in den wiederhergestellten Notizen erhalten (Fenster → Wiederhergestellte Notizen anzeigen)</translation>
    </message>
    <message>
        <source>macOS may be blocking access to “%1”.

Check System Settings → Privacy &amp; Security → Files and Folders, then reopen the folder.</source>
        <translation>macOS blockiert möglicherweise den Zugriff auf „%1“.

Systemeinstellungen → Datenschutz &amp; Sicherheit → Dateien und Ordner prüfen und den Ordner dann erneut öffnen.</translation>
    </message>
    <message>
        <source>“%1” is on a disk that isn&apos;t connected right now. Connect it and try again.</source>
        <translation>„%1“ liegt auf einem Datenträger, der gerade nicht verbunden ist. Datenträger verbinden und erneut versuchen.</translation>
    </message>
    <message numerus="yes">
        <source>%n files are not shown (unreadable, not UTF-8 text, or larger than %1 MB): %2</source>
        <translation>
            <numerusform>%n Datei wird nicht angezeigt (nicht lesbar, kein UTF-8-Text oder größer als %1 MB): %2</numerusform>
            <numerusform>%n Dateien werden nicht angezeigt (nicht lesbar, kein UTF-8-Text oder größer als %1 MB): %2</numerusform>
        </translation>
    </message>
    <message>
        <source>“%1”</source>
        <comment>a file name in a list</comment>
        <translation>„%1“</translation>
    </message>
</context>
<context>
    <name>X11GlobalHotKey</name>
    <message>
        <source>The application is not connected to an X server.</source>
        <translation>Die Anwendung ist mit keinem X-Server verbunden.</translation>
    </message>
    <message>
        <source>%1 creates a new note while an X11 application is active; this Wayland desktop offers no shortcut that works everywhere.</source>
        <translation>%1 erstellt eine neue Notiz, solange eine X11-Anwendung aktiv ist; diese Wayland-Arbeitsumgebung bietet kein Tastenkürzel, das überall funktioniert.</translation>
    </message>
    <message>
        <source>The key is taken from the X server.</source>
        <translation>Die Taste wird vom X-Server abgefangen.</translation>
    </message>
</context>
</TS>
