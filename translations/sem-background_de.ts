<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>backgroundSEM</name>
    <message>
        <source>Pairs 1 and 2 lie at the same place.</source>
        <translation>Paar 1 und Paar 2 liegen an derselben Stelle.</translation>
    </message>
    <message>
        <source>The three pairs lie on one line.</source>
        <translation>Die drei Paare liegen auf einer Geraden.</translation>
    </message>
    <message>
        <source>From pair 1 to pair 2 the design is %1 times as long as the stage&apos;s way.</source>
        <translation>Von Paar 1 zu Paar 2 ist der Weg im Design %1-mal so lang wie der des Tisches.</translation>
    </message>
    <message>
        <source>By the three pairs the design is %1 times as wide and %2 times as high as the stage&apos;s way.</source>
        <translation>Nach den drei Paaren ist das Design %1-mal so breit und %2-mal so hoch wie der Weg des Tisches.</translation>
    </message>
    <message>
        <source>From 0.83 to 1.25 times is accepted.</source>
        <translation>Zulässig ist das 0,83- bis 1,25-Fache.</translation>
    </message>
    <message>
        <source>Less also means turned, and less than 0 mirrored.</source>
        <translation>Weniger kann auch verdreht bedeuten, unter 0 gespiegelt.</translation>
    </message>
    <message>
        <source>The pairs do not fit each other.</source>
        <translation>Die Paare passen nicht zueinander.</translation>
    </message>
    <message>
        <source>The image follows pair 1 alone, as if the wafer lay straight and had its nominal size.</source>
        <translation>Das Bild folgt nur Paar 1, als läge der Wafer gerade und hätte sein Nennmaß.</translation>
    </message>
    <message>
        <source>alignment complete</source>
        <translation>Ausrichtung vollständig</translation>
    </message>
    <message>
        <source>alignment error</source>
        <translation>Ausrichtung fehlerhaft</translation>
    </message>
    <message>
        <source>the image has not been placed yet</source>
        <translation>das Bild hat noch keinen Platz</translation>
    </message>
    <message>
        <source>start alignment</source>
        <translation>Ausrichten starten</translation>
    </message>
    <message>
        <source>align</source>
        <translation>ausrichten</translation>
    </message>
    <message>
        <source>re-align</source>
        <translation>neu ausrichten</translation>
    </message>
    <message>
        <source>Starts pair %1. Then move the image until it lies on the design.</source>
        <translation>Beginnt Paar %1. Danach das Bild verschieben, bis es auf dem Design liegt.</translation>
    </message>
    <message>
        <source>Press once the image lies on the design: its centre and the stage position become pair %1.</source>
        <translation>Drücken, sobald das Bild auf dem Design liegt: Seine Mitte und die Tischposition werden Paar %1.</translation>
    </message>
    <message>
        <source>Pair %1 is recorded. Press to go there and align it anew.</source>
        <translation>Paar %1 ist aufgenommen. Drücken, um dorthin zu fahren und neu auszurichten.</translation>
    </message>
</context>
<context>
    <name>clones</name>
    <message>
        <source>Cannot write %1: %2</source>
        <translation>%1 lässt sich nicht schreiben: %2</translation>
    </message>
    <message>
        <source>Cannot read %1: %2</source>
        <translation>%1 lässt sich nicht lesen: %2</translation>
    </message>
</context>
<context>
    <name>hosting</name>
    <message>
        <source>No connection to %1, port %2%5.</source>
        <translation>Keine Verbindung zu %1, Port %2%5.</translation>
    </message>
    <message>
        <source>Check that host ip and port are those of the microscope&apos;s remote control, that its computer is on and in this network, that the remote control is switched on there, and that no firewall blocks port %2.</source>
        <translation>Bitte prüfen: Host-IP und Port sind die der Fernsteuerung des Mikroskops, sein Rechner ist eingeschaltet und in diesem Netz, die Fernsteuerung ist dort eingeschaltet, und keine Firewall sperrt Port %2.</translation>
    </message>
    <message>
        <source>%1 accepts connections at port %2, but does not answer.</source>
        <translation>%1 nimmt Verbindungen an Port %2 an, antwortet aber nicht.</translation>
    </message>
    <message>
        <source>Check that %2 is the port of the microscope&apos;s remote control, that the microscope&apos;s software is not waiting for a confirmation, and that no other program uses the remote control; then connect again.</source>
        <translation>Bitte prüfen: %2 ist der Port der Fernsteuerung des Mikroskops, die Mikroskopsoftware wartet nicht auf eine Bestätigung, und kein anderes Programm nutzt die Fernsteuerung; danach neu verbinden.</translation>
    </message>
    <message>
        <source>The microscope answers, but its data channel, port %3, does not open%5.</source>
        <translation>Das Mikroskop antwortet, aber sein Datenkanal, Port %3, öffnet sich nicht%5.</translation>
    </message>
    <message>
        <source>Images come on a port of their own, the one after port %2: check that no firewall, here or at the microscope, blocks port %3.</source>
        <translation>Bilder kommen über einen eigenen Port, den auf %2 folgenden: Bitte prüfen, dass weder hier noch am Mikroskop eine Firewall Port %3 sperrt.</translation>
    </message>
    <message>
        <source>%1 has closed the connection.</source>
        <translation>%1 hat die Verbindung beendet.</translation>
    </message>
    <message>
        <source>Check that the remote control is switched on and not used by another program, and that ports %2 and %3 are its ports; then connect again.</source>
        <translation>Bitte prüfen: Die Fernsteuerung ist eingeschaltet und wird von keinem anderen Programm genutzt, und %2 und %3 sind ihre Ports; danach neu verbinden.</translation>
    </message>
    <message>
        <source>No design is open.</source>
        <translation>Es ist kein Design geöffnet.</translation>
    </message>
    <message>
        <source>Open one: the image gets its place in it.</source>
        <translation>Bitte eines öffnen: Das Bild bekommt darin seinen Platz.</translation>
    </message>
    <message>
        <source>The display mode is not &quot;live image&quot;.</source>
        <translation>Die Anzeige steht nicht auf „Livebild“.</translation>
    </message>
    <message>
        <source>Choose it in the panel under &quot;display&quot;.</source>
        <translation>Bitte im Bedienfeld unter „Anzeige“ wählen.</translation>
    </message>
    <message>
        <source>Connected, but no pixel has come yet.</source>
        <translation>Verbunden, aber es ist noch kein Bildpunkt gekommen.</translation>
    </message>
    <message>
        <source>Check that the beam is on, that the scan is running, and that the detector, %4, is the one in use. With a long dwell time the first rows take long.</source>
        <translation>Bitte prüfen: Der Strahl ist eingeschaltet, die Abtastung läuft, und der Detektor (%4) ist der benutzte. Bei langer Verweilzeit dauern die ersten Zeilen lange.</translation>
    </message>
    <message>
        <source>The microscope has not told its stage position and view field.</source>
        <translation>Das Mikroskop hat Tischposition und Sehfeld nicht mitgeteilt.</translation>
    </message>
    <message>
        <source>Check that its stage is initialised and that its own software shows position and view field; then connect again.</source>
        <translation>Bitte prüfen: Der Tisch ist initialisiert, und die Mikroskopsoftware zeigt Position und Sehfeld; danach neu verbinden.</translation>
    </message>
    <message>
        <source>of which none is listed</source>
        <translation>keiner ist aufgeführt</translation>
    </message>
</context>
<context>
    <name>hosting::AlignError</name>
    <message>
        <source>unknown</source>
        <translation>unbekannt</translation>
    </message>
</context>
<context>
    <name>hosting::AlignMode</name>
    <message>
        <source>Manual alignment</source>
        <translation>Ausrichten von Hand</translation>
    </message>
    <message>
        <source>Assisted alignment</source>
        <translation>Ausrichten mit zwei Klicks</translation>
    </message>
    <message>
        <source>Drag or arrows: move · Ctrl: turn ↔ scale ↕ · Shift: finer · F: find · Esc: give up</source>
        <translation>Ziehen oder Pfeiltasten: verschieben · Strg: drehen ↔ skalieren ↕ · Umschalt: feiner · F: suchen · Esc: aufgeben</translation>
    </message>
    <message>
        <source>That point is not on the image. Click a point in the image · Esc: give up</source>
        <translation>Dieser Punkt liegt nicht auf dem Bild. Punkt im Bild anklicken · Esc: aufgeben</translation>
    </message>
    <message>
        <source>2 of 2: click the design point where it belongs · C: bring the point to the centre first · Esc: give up</source>
        <translation>2 von 2: zugehörigen Punkt im Design anklicken · C: Punkt zuerst in die Mitte bringen · Esc: aufgeben</translation>
    </message>
    <message>
        <source>1 of 2: click a point in the image · F: find · Esc: give up</source>
        <translation>1 von 2: Punkt im Bild anklicken · F: suchen · Esc: aufgeben</translation>
    </message>
    <message>
        <source>moved %1 %2 (x %3, y %4) · turned %5° · scaled by %6</source>
        <translation>verschoben um %1 %2 (x %3, y %4) · gedreht um %5° · skaliert um %6</translation>
    </message>
    <message>
        <source>µm</source>
        <translation>µm</translation>
    </message>
    <message>
        <source>database units</source>
        <translation>Datenbankeinheiten</translation>
    </message>
</context>
<context>
    <name>hosting::ImageFinder</name>
    <message>
        <source>The visible layers have no shapes there.</source>
        <translation>Die sichtbaren Ebenen haben dort keine Strukturen.</translation>
    </message>
    <message>
        <source>The image shows nothing but noise: is the beam on, and in focus?</source>
        <translation>Das Bild zeigt nur Rauschen: Ist der Strahl eingeschaltet und fokussiert?</translation>
    </message>
    <message>
        <source>The design repeats itself there: go to a place that is unlike its surroundings, or show more of it.</source>
        <translation>Das Design wiederholt sich dort: eine Stelle wählen, die sich von ihrer Umgebung unterscheidet, oder einen größeren Ausschnitt zeigen.</translation>
    </message>
    <message>
        <source>Another place looks the same: bring the image closer to where it belongs, or go to a place that is unlike its surroundings.</source>
        <translation>Eine andere Stelle sieht genauso aus: das Bild näher an seinen Ort bringen oder eine Stelle wählen, die sich von ihrer Umgebung unterscheidet.</translation>
    </message>
    <message>
        <source>The design does not explain the image: bring it closer to where it belongs by hand, or show the layers that the microscope sees.</source>
        <translation>Das Design passt nicht zum Bild: das Bild von Hand näher an seinen Ort bringen oder die Ebenen einblenden, die das Mikroskop sieht.</translation>
    </message>
    <message>
        <source>The image cannot be compared with the design.</source>
        <translation>Das Bild lässt sich nicht mit dem Design vergleichen.</translation>
    </message>
    <message>
        <source>Found: %1. Off by at most %2 = %3 pixels in 95 of 100 cases (confidence %4).</source>
        <translation>Gefunden: %1. Abweichung in 95 von 100 Fällen höchstens %2 = %3 Pixel (Konfidenz %4).</translation>
    </message>
    <message>
        <source>Not found. %1</source>
        <translation>Nicht gefunden. %1</translation>
    </message>
</context>
<context>
    <name>hosting::PairGuard</name>
    <message>
        <source>Give up the alignment? Pairs confirmed: %1.</source>
        <translation>Ausrichtung aufgeben? Bestätigte Paare: %1.</translation>
    </message>
    <message>
        <source>Confirm pair %1 all the same?</source>
        <translation>Paar %1 trotzdem bestätigen?</translation>
    </message>
</context>
<context>
    <name>hosting::PairToConfirm</name>
    <message>
        <source>moved by %1, turned by %2°, scaled by %3</source>
        <translation>verschoben um %1, gedreht um %2°, skaliert um %3</translation>
    </message>
    <message>
        <source>The stage is still moving: the pair would be recorded where it is now.</source>
        <translation>Der Tisch fährt noch: Das Paar würde dort aufgenommen, wo er jetzt ist.</translation>
    </message>
    <message>
        <source>The image was not moved since this row was started.</source>
        <translation>Das Bild wurde nicht verschoben, seit diese Zeile begonnen wurde.</translation>
    </message>
    <message>
        <source>Pair %1 is only %2 away, less than a tenth of the design&apos;s extent (%3).</source>
        <translation>Paar %1 ist nur %2 entfernt, weniger als ein Zehntel der Ausdehnung des Designs (%3).</translation>
    </message>
    <message>
        <source>The three pairs lie nearly on a line: the predicted error is %1 at the design&apos;s farthest corner, %2 at a pair.</source>
        <translation>Die drei Paare liegen fast auf einer Geraden: Der erwartete Fehler beträgt %1 an der entferntesten Ecke des Designs, %2 an einem Paar.</translation>
    </message>
    <message>
        <source>The image was moved by %1; the earlier pairs leave about %2 open here.</source>
        <translation>Das Bild wurde um %1 verschoben; die früheren Paare lassen hier etwa %2 offen.</translation>
    </message>
    <message>
        <source>The image was turned by %1° and scaled by %2; the earlier pairs leave about %3° and %4 % open.</source>
        <translation>Das Bild wurde um %1° gedreht und um %2 skaliert; die früheren Paare lassen etwa %3° und %4 % offen.</translation>
    </message>
</context>
<context>
    <name>hosting::PluginSession</name>
    <message>
        <source>Cannot load the background plugin %1: %2</source>
        <translation>Das Hintergrund-Plugin %1 lässt sich nicht laden: %2</translation>
    </message>
    <message>
        <source>%1 holds no background plugin.</source>
        <translation>%1 enthält kein Hintergrund-Plugin.</translation>
    </message>
    <message>
        <source>The row in work and a single pair went with the design before.</source>
        <translation>Die begonnene Zeile und ein einzelnes Paar sind mit dem vorigen Design verfallen.</translation>
    </message>
    <message>
        <source>the stage was moved meanwhile, so that the correction is not known</source>
        <translation>der Tisch wurde inzwischen verfahren, die Korrektur ist daher nicht bekannt</translation>
    </message>
    <message>
        <source>Pair %1: %2.</source>
        <translation>Paar %1: %2.</translation>
    </message>
    <message>
        <source>Pair %1 does not fit the others: %2.</source>
        <translation>Paar %1 passt nicht zu den anderen: %2.</translation>
    </message>
    <message>
        <source>The stored alignment can be brought back.</source>
        <translation>Die gespeicherte Ausrichtung kann zurückgeholt werden.</translation>
    </message>
    <message>
        <source>Row given up; the stored alignment comes back with the connection.</source>
        <translation>Zeile aufgegeben; die gespeicherte Ausrichtung kommt mit der Verbindung zurück.</translation>
    </message>
    <message>
        <source>The row is given up when the stage stands.</source>
        <translation>Die Zeile wird aufgegeben, sobald der Tisch steht.</translation>
    </message>
    <message>
        <source>Row given up. The stage was moved meanwhile: where the image belongs is not known.</source>
        <translation>Zeile aufgegeben. Der Tisch wurde inzwischen verfahren: Wohin das Bild gehört, ist nicht bekannt.</translation>
    </message>
    <message>
        <source>Row given up; the image is back in its place.</source>
        <translation>Zeile aufgegeben; das Bild liegt wieder an seinem Platz.</translation>
    </message>
    <message>
        <source>What was confirmed is lost: start with row 1.</source>
        <translation>Das Bestätigte ist verloren: mit Zeile 1 beginnen.</translation>
    </message>
    <message>
        <source>Row given up; the stored alignment is back, with a new connection: the frame begins anew.</source>
        <translation>Zeile aufgegeben; die gespeicherte Ausrichtung gilt wieder, mit einer neuen Verbindung: Das Bild beginnt von vorn.</translation>
    </message>
    <message>
        <source>No design is open: the image gets its place when one is.</source>
        <translation>Es ist kein Design geöffnet: Das Bild bekommt seinen Platz, sobald eines geöffnet ist.</translation>
    </message>
    <message>
        <source>The stored alignment takes hold with the next stage move.</source>
        <translation>Die gespeicherte Ausrichtung gilt ab der nächsten Tischbewegung.</translation>
    </message>
</context>
<context>
    <name>hosting::ScanWatch</name>
    <message>
        <source>%1 s</source>
        <translation>%1 s</translation>
    </message>
    <message>
        <source>%1 min</source>
        <translation>%1 min</translation>
    </message>
    <message>
        <source>%1 h %2 min</source>
        <translation>%1 h %2 min</translation>
    </message>
    <message>
        <source>a frame takes %1</source>
        <translation>ein Bild dauert %1</translation>
    </message>
    <message>
        <source>row %1 of %2</source>
        <translation>Zeile %1 von %2</translation>
    </message>
    <message>
        <source>, %1 left</source>
        <translation>, noch %1</translation>
    </message>
    <message>
        <source>, last frame %1 old</source>
        <translation>, letztes Bild %1 alt</translation>
    </message>
    <message>
        <source>no new data for %1</source>
        <translation>seit %1 keine neuen Daten</translation>
    </message>
</context>
<context>
    <name>hosting::StatusLine</name>
    <message>
        <source>restored</source>
        <translation>wiederhergestellt</translation>
    </message>
    <message>
        <source>three pairs</source>
        <translation>drei Paare</translation>
    </message>
    <message>
        <source>two pairs</source>
        <translation>zwei Paare</translation>
    </message>
    <message>
        <source>restored: %1</source>
        <translation>wiederhergestellt: %1</translation>
    </message>
    <message>
        <source>being aligned: pair %1</source>
        <translation>wird ausgerichtet: Paar %1</translation>
    </message>
    <message>
        <source>not aligned: the place is assumed</source>
        <translation>nicht ausgerichtet: Lage angenommen</translation>
    </message>
    <message>
        <source>the pairs do not fit: pair 1 alone, turn and scale assumed</source>
        <translation>die Paare passen nicht: nur Paar 1, Drehung und Maßstab angenommen</translation>
    </message>
    <message>
        <source>one pair: turn and scale are assumed within %1° and %2 %</source>
        <translation>ein Paar: Drehung und Maßstab auf %1° und %2 % genau angenommen</translation>
    </message>
    <message>
        <source>moved %1 by hand</source>
        <translation>von Hand um %1 verschoben</translation>
    </message>
    <message>
        <source>±%1 = %2 pixels at the cursor</source>
        <translation>±%1 = %2 Pixel am Mauszeiger</translation>
    </message>
    <message>
        <source>not connected</source>
        <translation>nicht verbunden</translation>
    </message>
    <message>
        <source> since %1</source>
        <translation> seit %1</translation>
    </message>
    <message>
        <source>stage moving</source>
        <translation>Tisch fährt</translation>
    </message>
    <message>
        <source>no live image</source>
        <translation>kein Livebild</translation>
    </message>
</context>
<context>
    <name>klayout::Host</name>
    <message>
        <source>The microscope&apos;s image is already there.</source>
        <translation>Das Mikroskopbild ist schon da.</translation>
    </message>
    <message>
        <source>There is no main window.</source>
        <translation>Es gibt kein Hauptfenster.</translation>
    </message>
    <message>
        <source>SEM: There is no live image to look for in the design.</source>
        <translation>REM: Es gibt kein Livebild, das im Design gesucht werden könnte.</translation>
    </message>
    <message>
        <source>SEM: Looking for the image in the design…</source>
        <translation>REM: Das Bild wird im Design gesucht …</translation>
    </message>
    <message>
        <source>SEM: %1</source>
        <translation>REM: %1</translation>
    </message>
    <message>
        <source>The image was moved while it was looked for; it stays there.</source>
        <translation>Das Bild wurde während der Suche verschoben; es bleibt, wo es ist.</translation>
    </message>
    <message>
        <source>SEM image</source>
        <translation>REM-Bild</translation>
    </message>
    <message>
        <source>No design is open.</source>
        <translation>Es ist kein Design geöffnet.</translation>
    </message>
    <message>
        <source>Connect to the microscope first.</source>
        <translation>Bitte zuerst mit dem Mikroskop verbinden.</translation>
    </message>
    <message>
        <source>Finish the alignment step first.</source>
        <translation>Bitte zuerst den Ausrichtschritt abschließen.</translation>
    </message>
    <message>
        <source>No alignment is stored for this design.</source>
        <translation>Für dieses Design ist keine Ausrichtung gespeichert.</translation>
    </message>
</context>
<context>
    <name>klayout::ImageDock</name>
    <message>
        <source>image and design</source>
        <translation>Bild und Design</translation>
    </message>
    <message>
        <source>show in this tab</source>
        <translation>in diesem Reiter zeigen</translation>
    </message>
    <message>
        <source>behind the layers</source>
        <translation>hinter den Ebenen</translation>
    </message>
    <message>
        <source>above the layers</source>
        <translation>über den Ebenen</translation>
    </message>
    <message>
        <source>multiplied</source>
        <translation>multipliziert</translation>
    </message>
    <message>
        <source>How the microscope&apos;s image and the layers are put together</source>
        <translation>Wie Mikroskopbild und Ebenen zusammengesetzt werden</translation>
    </message>
    <message>
        <source>outlines only</source>
        <translation>nur Umrisse</translation>
    </message>
    <message>
        <source>Draws the layers without fill, so that they hide nothing</source>
        <translation>Zeichnet die Ebenen ohne Füllung, sodass sie nichts verdecken</translation>
    </message>
    <message>
        <source>predicted error</source>
        <translation>erwarteter Fehler</translation>
    </message>
    <message>
        <source>Contours of how far off the image may lie, in 95 of 100 cases</source>
        <translation>Linien gleicher Abweichung, die das Bild in 95 von 100 Fällen nicht überschreitet</translation>
    </message>
    <message>
        <source>design off</source>
        <translation>Design aus</translation>
    </message>
    <message>
        <source>Shows the image alone while pressed; the key D does it on the canvas</source>
        <translation>Zeigt das Bild allein, solange gedrückt; auf der Zeichenfläche mit der Taste D</translation>
    </message>
    <message>
        <source>image</source>
        <translation>Bild</translation>
    </message>
    <message>
        <source>design</source>
        <translation>Design</translation>
    </message>
    <message>
        <source>How opaque the %1 is drawn</source>
        <translation>Deckkraft: %1</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
    <message>
        <source>clones</source>
        <translation>Kopien</translation>
    </message>
    <message>
        <source>save as PNG…</source>
        <translation>als PNG speichern …</translation>
    </message>
    <message>
        <source>remove</source>
        <translation>entfernen</translation>
    </message>
    <message>
        <source>No design is open.</source>
        <translation>Es ist kein Design geöffnet.</translation>
    </message>
    <message>
        <source>In the tab “%1”</source>
        <translation>Im Reiter „%1“</translation>
    </message>
    <message>
        <source>order of image and layers</source>
        <translation>Reihenfolge von Bild und Ebenen</translation>
    </message>
</context>
<context>
    <name>semControlWidget</name>
    <message>
        <source>Form</source>
        <translation>Form</translation>
    </message>
    <message>
        <source>host ip</source>
        <translation>Host-IP</translation>
    </message>
    <message>
        <source>Name or address of the microscope&apos;s computer; Return connects.</source>
        <translation>Name oder Adresse des Mikroskoprechners; die Eingabetaste verbindet.</translation>
    </message>
    <message>
        <source>localhost</source>
        <translation>localhost</translation>
    </message>
    <message>
        <source>port</source>
        <translation>Port</translation>
    </message>
    <message>
        <source>Port of the microscope&apos;s remote control, its data come at the next one; Return connects.</source>
        <translation>Port der Fernsteuerung des Mikroskops, die Daten kommen am folgenden; die Eingabetaste verbindet.</translation>
    </message>
    <message>
        <source>Connects to the microscope. The pairs at hand are given up; the alignment stored for the design stays.</source>
        <translation>Verbindet mit dem Mikroskop. Vorhandene Paare werden aufgegeben; die für das Design gespeicherte Ausrichtung bleibt.</translation>
    </message>
    <message>
        <source>connect</source>
        <translation>verbinden</translation>
    </message>
    <message>
        <source>display</source>
        <translation>Anzeige</translation>
    </message>
    <message>
        <source>Shows nothing of the microscope behind the design.</source>
        <translation>Zeigt hinter dem Design nichts vom Mikroskop.</translation>
    </message>
    <message>
        <source>none</source>
        <translation>keine</translation>
    </message>
    <message>
        <source>Marks the microscope&apos;s field of view in the design.</source>
        <translation>Markiert das Sehfeld des Mikroskops im Design.</translation>
    </message>
    <message>
        <source>rectangle box</source>
        <translation>Rechteck</translation>
    </message>
    <message>
        <source>Marks the microscope&apos;s field of view and its centre in the design.</source>
        <translation>Markiert das Sehfeld des Mikroskops und seine Mitte im Design.</translation>
    </message>
    <message>
        <source>cross</source>
        <translation>Kreuz</translation>
    </message>
    <message>
        <source>Scans, and shows the live image behind the design.</source>
        <translation>Tastet ab und zeigt das Livebild hinter dem Design.</translation>
    </message>
    <message>
        <source>live image</source>
        <translation>Livebild</translation>
    </message>
    <message>
        <source>dwell time</source>
        <translation>Verweilzeit</translation>
    </message>
    <message>
        <source>Time the beam rests on each pixel: longer is less noisy and slower. For the live image.</source>
        <translation>Zeit, die der Strahl auf jedem Bildpunkt verweilt: länger ist rauschärmer und langsamer. Für das Livebild.</translation>
    </message>
    <message>
        <source>100ns</source>
        <translation>100ns</translation>
    </message>
    <message>
        <source>300ns</source>
        <translation>300ns</translation>
    </message>
    <message>
        <source>500ns</source>
        <translation>500ns</translation>
    </message>
    <message>
        <source>1000ns</source>
        <translation>1000ns</translation>
    </message>
    <message>
        <source>2000ns</source>
        <translation>2000ns</translation>
    </message>
    <message>
        <source>5000ns</source>
        <translation>5000ns</translation>
    </message>
    <message>
        <source>10000ns</source>
        <translation>10000ns</translation>
    </message>
    <message>
        <source>20000ns</source>
        <translation>20000ns</translation>
    </message>
    <message>
        <source>50000ns</source>
        <translation>50000ns</translation>
    </message>
    <message>
        <source>100000ns</source>
        <translation>100000ns</translation>
    </message>
    <message>
        <source>image size</source>
        <translation>Bildgröße</translation>
    </message>
    <message>
        <source>Pixels of a frame: more are finer and slower. For the live image.</source>
        <translation>Bildpunkte eines Bildes: mehr sind feiner und langsamer. Für das Livebild.</translation>
    </message>
    <message>
        <source>512x512</source>
        <translation>512x512</translation>
    </message>
    <message>
        <source>768x768</source>
        <translation>768x768</translation>
    </message>
    <message>
        <source>1024x1024</source>
        <translation>1024x1024</translation>
    </message>
    <message>
        <source>1536x1536</source>
        <translation>1536x1536</translation>
    </message>
    <message>
        <source>2048x2048</source>
        <translation>2048x2048</translation>
    </message>
    <message>
        <source>3072x3072</source>
        <translation>3072x3072</translation>
    </message>
    <message>
        <source>4096x4096</source>
        <translation>4096x4096</translation>
    </message>
    <message>
        <source>8192x8192</source>
        <translation>8192x8192</translation>
    </message>
    <message>
        <source>detector</source>
        <translation>Detektor</translation>
    </message>
    <message>
        <source>The signal that makes up the live image.</source>
        <translation>Das Signal, aus dem das Livebild entsteht.</translation>
    </message>
    <message>
        <source>Keeps a copy of the live image where it lies now.</source>
        <translation>Behält eine Kopie des Livebilds dort, wo es jetzt liegt.</translation>
    </message>
    <message>
        <source>clone live image</source>
        <translation>Livebild kopieren</translation>
    </message>
    <message>
        <source>wafer align</source>
        <translation>Waferausrichtung</translation>
    </message>
    <message>
        <source>3.</source>
        <translation>3.</translation>
    </message>
    <message>
        <source>start alignment</source>
        <translation>Ausrichten starten</translation>
    </message>
    <message>
        <source>1.</source>
        <translation>1.</translation>
    </message>
    <message>
        <source>2.</source>
        <translation>2.</translation>
    </message>
    <message>
        <source>Gives the pairs up and puts the image into the middle of the view. The alignment stored for the design stays until a new one is complete.</source>
        <translation>Gibt die Paare auf und legt das Bild in die Mitte der Ansicht. Die für das Design gespeicherte Ausrichtung bleibt, bis eine neue vollständig ist.</translation>
    </message>
    <message>
        <source>clear alignment</source>
        <translation>Ausrichtung löschen</translation>
    </message>
    <message>
        <source>sync views</source>
        <translation>Ansichten abgleichen</translation>
    </message>
    <message>
        <source>Moves the stage, and zooms the microscope, to what the view of the design shows.</source>
        <translation>Fährt den Tisch und zoomt das Mikroskop auf das, was die Ansicht des Designs zeigt.</translation>
    </message>
    <message>
        <source>move stage to view</source>
        <translation>Tisch zur Ansicht</translation>
    </message>
    <message>
        <source>Moves the view of the design to what the microscope shows.</source>
        <translation>Bewegt die Ansicht des Designs dorthin, was das Mikroskop zeigt.</translation>
    </message>
    <message>
        <source>view stage position</source>
        <translation>Tischposition zeigen</translation>
    </message>
    <message>
        <source>Ends the connection to the microscope.</source>
        <translation>Beendet die Verbindung zum Mikroskop.</translation>
    </message>
    <message>
        <source>disconnect</source>
        <translation>trennen</translation>
    </message>
    <message>
        <source>status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>not connected</source>
        <translation>nicht verbunden</translation>
    </message>
</context>
<context>
    <name>sem_background</name>
    <message>
        <source>SEM image</source>
        <translation>REM-Bild</translation>
    </message>
    <message>
        <source>Save clone</source>
        <translation>Kopie speichern</translation>
    </message>
    <message>
        <source>PNG images (*.png)</source>
        <translation>PNG-Bilder (*.png)</translation>
    </message>
    <message>
        <source>There is no SEM image in a view that is turned or mirrored.</source>
        <translation>In einer gedrehten oder gespiegelten Ansicht gibt es kein REM-Bild.</translation>
    </message>
    <message>
        <source>There is no live image to clone.</source>
        <translation>Es gibt kein Livebild zum Kopieren.</translation>
    </message>
    <message>
        <source>SEM: There are too many shapes around the image to compare it with; try a smaller view field or fewer layers.</source>
        <translation>REM: Um das Bild herum liegen zu viele Strukturen für einen Vergleich; ein kleineres Sehfeld oder weniger Ebenen versuchen.</translation>
    </message>
    <message>
        <source>SEM outlines</source>
        <translation>REM-Umrisse</translation>
    </message>
    <message>
        <source>SEM by hand</source>
        <translation>REM von Hand</translation>
    </message>
    <message>
        <source>SEM by two clicks</source>
        <translation>REM mit zwei Klicks</translation>
    </message>
    <message>
        <source>Move Image by Hand</source>
        <translation>Bild von Hand verschieben</translation>
    </message>
    <message>
        <source>Move Image by Two Clicks</source>
        <translation>Bild mit zwei Klicks verschieben</translation>
    </message>
    <message>
        <source>Find Image in Design</source>
        <translation>Bild im Design suchen</translation>
    </message>
    <message>
        <source>Bring Back Stored Alignment</source>
        <translation>Gespeicherte Ausrichtung zurückholen</translation>
    </message>
    <message>
        <source>Centre View on Image</source>
        <translation>Ansicht auf Bild zentrieren</translation>
    </message>
    <message>
        <source>Clone Live Image</source>
        <translation>Livebild kopieren</translation>
    </message>
    <message>
        <source>Show Panels</source>
        <translation>Bedienfelder zeigen</translation>
    </message>
    <message>
        <source>SEM Image</source>
        <translation>REM-Bild</translation>
    </message>
    <message>
        <source>Show Image in This Tab</source>
        <translation>Bild in diesem Reiter zeigen</translation>
    </message>
</context>
</TS>
