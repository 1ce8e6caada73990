<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>BeamBubble</name>
    <message>
        <source>Time capsule</source>
        <translation>Zeitkapsel</translation>
    </message>
    <message>
        <source>opening soon</source>
        <translation>öffnet bald</translation>
    </message>
    <message>
        <source>time capsule opened</source>
        <translation>Zeitkapsel geöffnet</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Anstupser</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Kritzelei</translation>
    </message>
    <message>
        <source>You</source>
        <translation>Du</translation>
    </message>
</context>
<context>
    <name>KivoloAPI</name>
    <message>
        <source>The text holds a broken character and cannot be sent.</source>
        <translation>Der Text enthält ein kaputtes Zeichen und kann nicht gesendet werden.</translation>
    </message>
    <message>
        <source>Something went wrong. Please try again.</source>
        <translation>Etwas ist schiefgegangen. Bitte versuch es noch einmal.</translation>
    </message>
    <message>
        <source>The server's address is not valid.</source>
        <translation>Die Adresse des Servers ist ungültig.</translation>
    </message>
    <message>
        <source>The server's address must begin with https.</source>
        <translation>Die Adresse des Servers muss mit https beginnen.</translation>
    </message>
    <message>
        <source>The server's reply could not be read.</source>
        <translation>Die Antwort des Servers ist unlesbar.</translation>
    </message>
</context>
<context>
    <name>KivoloApp</name>
    <message>
        <source>Without an X server (XWayland) no card can float on this desktop: what arrives is shown as a notification.</source>
        <translation>Ohne X-Server (XWayland) können auf diesem Desktop keine Karten schweben: Was ankommt, erscheint als Benachrichtigung.</translation>
    </message>
    <message>
        <source>No notification service answers: what arrives is in the window alone.</source>
        <translation>Kein Benachrichtigungsdienst antwortet: Was ankommt, steht nur im Fenster.</translation>
    </message>
</context>
<context>
    <name>Store</name>
    <message>
        <source>Enter your name first.</source>
        <translation>Gib zuerst deinen Namen ein.</translation>
    </message>
    <message>
        <source>Enter your name and a code.</source>
        <translation>Gib deinen Namen und einen Code ein.</translation>
    </message>
</context>
<context>
    <name>UrlSession</name>
    <message>
        <source>The program is ending.</source>
        <translation>Das Programm wird beendet.</translation>
    </message>
    <message>
        <source>The request timed out.</source>
        <translation>Die Anfrage hat zu lange gedauert.</translation>
    </message>
    <message>
        <source>The connection closed before the server had answered. What you sent may have arrived all the same.</source>
        <translation>Die Verbindung wurde geschlossen, bevor der Server geantwortet hatte. Was du gesendet hast, ist vielleicht trotzdem angekommen.</translation>
    </message>
    <message>
        <source>The server's reply is too large.</source>
        <translation>Die Antwort des Servers ist zu groß.</translation>
    </message>
</context>
<context>
    <name>kivolo::ActivityIndicator</name>
    <message>
        <source>Busy</source>
        <translation>Beschäftigt</translation>
    </message>
</context>
<context>
    <name>kivolo::Button</name>
    <message>
        <source>Menu</source>
        <translation>Menü</translation>
    </message>
</context>
<context>
    <name>kivolo::CapsuleCard</name>
    <message>
        <source>%1's time capsule</source>
        <translation>Zeitkapsel von %1</translation>
    </message>
    <message>
        <source>Opens in %1</source>
        <translation>Öffnet in %1</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeHeader</name>
    <message>
        <source>Copy your invite code</source>
        <translation>Einladungscode kopieren</translation>
    </message>
    <message>
        <source>Copy invite code</source>
        <translation>Einladungscode kopieren</translation>
    </message>
    <message>
        <source>Leave circle</source>
        <translation>Kreis verlassen</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Kivolo beenden</translation>
    </message>
    <message>
        <source>Your circle</source>
        <translation>Dein Kreis</translation>
    </message>
    <message>
        <source>You &amp; %1</source>
        <translation>Du &amp; %1</translation>
    </message>
    <message numerus="yes">
        <source>You &amp; %n others</source>
        <translation>
            <numerusform>Du &amp; %n andere</numerusform>
            <numerusform>Du &amp; %n andere</numerusform>
        </translation>
    </message>
    <message>
        <source>Connected · %1/%2</source>
        <translation>Verbunden · %1/%2</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>Kopiert!</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeView</name>
    <message>
        <source>Say hi to your people</source>
        <translation>Sag deinen Leuten hallo</translation>
    </message>
    <message>
        <source>Your first note or doodle shows up here — and pops live on their screen.</source>
        <translation>Deine erste Notiz oder Kritzelei steht dann hier – und erscheint sofort auf ihrem Bildschirm.</translation>
    </message>
</context>
<context>
    <name>kivolo::Composer</name>
    <message>
        <source>Text</source>
        <translation>Text</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Leeren</translation>
    </message>
    <message>
        <source>Send doodle</source>
        <translation>Kritzelei senden</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Anstupser</translation>
    </message>
    <message>
        <source>Capsule</source>
        <translation>Kapsel</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Kritzelei</translation>
    </message>
    <message>
        <source>Time capsule — when should it open?</source>
        <translation>Zeitkapsel – wann soll sie aufgehen?</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 Stunde</translation>
    </message>
    <message>
        <source>24 hours</source>
        <translation>24 Stunden</translation>
    </message>
    <message>
        <source>1 week</source>
        <translation>1 Woche</translation>
    </message>
    <message>
        <source>Sending…</source>
        <translation>Wird gesendet …</translation>
    </message>
    <message>
        <source>Message to seal in the capsule…</source>
        <translation>Nachricht für die Kapsel …</translation>
    </message>
    <message>
        <source>Send a little hi…</source>
        <translation>Schick ein kleines Hallo …</translation>
    </message>
    <message>
        <source>Send time capsule</source>
        <translation>Zeitkapsel senden</translation>
    </message>
    <message>
        <source>Send</source>
        <translation>Senden</translation>
    </message>
</context>
<context>
    <name>kivolo::DrawingNSView</name>
    <message>
        <source>Doodle</source>
        <translation>Kritzelei</translation>
    </message>
</context>
<context>
    <name>kivolo::FeatureGuideCard</name>
    <message>
        <source>Buzz</source>
        <translation>Anstupser</translation>
    </message>
    <message>
        <source>Need them to see your message right now? A Buzz drops a big shaking card in the center of their screen and pulls Kivolo to the front — perfect when a teammate has been ignoring your Slack for an hour.</source>
        <translation>Sollen sie deine Nachricht sofort sehen? Ein Anstupser legt eine große, wackelnde Karte mitten auf ihren Bildschirm und holt Kivolo nach vorn – genau richtig, wenn jemand seit einer Stunde dein Slack übersieht.</translation>
    </message>
    <message>
        <source>Send a Buzz</source>
        <translation>Anstupsen</translation>
    </message>
    <message>
        <source>Time capsule</source>
        <translation>Zeitkapsel</translation>
    </message>
    <message>
        <source>Write something and choose when it opens — in an hour, a day, a week. It lands on their Mac as a live countdown. Off tomorrow? Leave a task that opens in 24h so a coworker won't forget.</source>
        <translation>Schreib etwas und wähle, wann es aufgeht – in einer Stunde, einem Tag, einer Woche. Auf ihrem Mac läuft so lange ein Countdown. Morgen frei? Hinterlass eine Aufgabe, die in 24 Stunden aufgeht, damit sie niemand vergisst.</translation>
    </message>
    <message>
        <source>Make a capsule</source>
        <translation>Kapsel anlegen</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Kritzelei</translation>
    </message>
    <message>
        <source>Sketch something by hand and send it — it pops up on their screen like a sticky note.</source>
        <translation>Zeichne etwas von Hand und schick es los – auf ihrem Bildschirm erscheint es wie ein Klebezettel.</translation>
    </message>
    <message>
        <source>Start a doodle</source>
        <translation>Loskritzeln</translation>
    </message>
    <message>
        <source>Maybe later</source>
        <translation>Vielleicht später</translation>
    </message>
</context>
<context>
    <name>kivolo::FeedView</name>
    <message>
        <source>Feed</source>
        <translation>Verlauf</translation>
    </message>
</context>
<context>
    <name>kivolo::ForceUpdateView</name>
    <message>
        <source>Update now</source>
        <translation>Jetzt laden</translation>
    </message>
    <message>
        <source>Update required</source>
        <translation>Aktualisierung nötig</translation>
    </message>
    <message>
        <source>Update to the latest Kivolo
to keep going.</source>
        <translation>Lade das neueste Kivolo,
um weiterzumachen.</translation>
    </message>
</context>
<context>
    <name>kivolo::IncomingBeamView</name>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Kritzelei</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Anstupser</translation>
    </message>
</context>
<context>
    <name>kivolo::InviteWaitingView</name>
    <message>
        <source>Invite your person</source>
        <translation>Lade deinen Lieblingsmenschen ein</translation>
    </message>
    <message>
        <source>Kivolo is better together. Share this code with the one
you want to be with — the moment they join, you’re connected.</source>
        <translation>Kivolo ist gemeinsam schöner. Gib diesen Code dem Menschen,
bei dem du sein willst – sobald er beitritt, seid ihr verbunden.</translation>
    </message>
    <message>
        <source>Make sure they download Kivolo first:
%1</source>
        <translation>Kivolo muss dort schon installiert sein:
%1</translation>
    </message>
    <message>
        <source>Leave / use another code</source>
        <translation>Verlassen / anderen Code verwenden</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Kivolo beenden</translation>
    </message>
    <message>
        <source>YOUR INVITE CODE</source>
        <translation>DEIN EINLADUNGSCODE</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>Kopiert!</translation>
    </message>
    <message>
        <source>Tap to copy</source>
        <translation>Zum Kopieren antippen</translation>
    </message>
    <message>
        <source>Invite code %1</source>
        <translation>Einladungscode %1</translation>
    </message>
    <message>
        <source>Waiting for them to join…  %1/%2</source>
        <translation>Warten auf den Beitritt …  %1/%2</translation>
    </message>
</context>
<context>
    <name>kivolo::MenuBarExtra</name>
    <message>
        <source>Open</source>
        <translation>Öffnen</translation>
    </message>
</context>
<context>
    <name>kivolo::OnboardingView</name>
    <message>
        <source>Be with your people, right from your desk</source>
        <translation>Sei bei deinen Leuten, direkt vom Schreibtisch aus</translation>
    </message>
    <message>
        <source>your name</source>
        <translation>dein Name</translation>
    </message>
    <message>
        <source>invite code</source>
        <translation>Einladungscode</translation>
    </message>
    <message>
        <source>Join</source>
        <translation>Beitreten</translation>
    </message>
    <message>
        <source>or</source>
        <translation>oder</translation>
    </message>
    <message>
        <source>Start a circle</source>
        <translation>Einen Kreis gründen</translation>
    </message>
</context>
<context>
    <name>kivolo::SingleInstance</name>
    <message>
        <source>The lock file %1.lock cannot be written.</source>
        <translation>Die Sperrdatei %1.lock lässt sich nicht schreiben.</translation>
    </message>
    <message>
        <source>The program is already running but does not answer: %1</source>
        <translation>Das Programm läuft bereits, antwortet aber nicht: %1</translation>
    </message>
</context>
<context>
    <name>kivolo::UpdateBanner</name>
    <message>
        <source>Version %1 is out</source>
        <translation>Version %1 ist da</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>Laden</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
</context>
<context>
    <name>kivolo::WelcomeCarousel</name>
    <message>
        <source>Be with your people</source>
        <translation>Sei bei deinen Leuten</translation>
    </message>
    <message>
        <source>Leave a note or doodle for the people who matter — your partner, family, a friend, or a coworker. It pops up live on their Mac screen. No phone, no group chat.</source>
        <translation>Hinterlass eine Notiz oder Kritzelei für Menschen, die dir wichtig sind – Partner, Familie, Freunde oder Kollegen. Sie erscheint sofort auf ihrem Mac. Kein Telefon, kein Gruppenchat.</translation>
    </message>
    <message>
        <source>A note or a doodle</source>
        <translation>Eine Notiz oder Kritzelei</translation>
    </message>
    <message>
        <source>Scribble something or type a line from your menu bar. Hit send — and you never left your work.</source>
        <translation>Kritzle etwas oder tippe eine Zeile, direkt aus der Menüleiste. Senden – und du warst nie weg von deiner Arbeit.</translation>
    </message>
    <message>
        <source>Live on their screen</source>
        <translation>Live auf ihrem Bildschirm</translation>
    </message>
    <message>
        <source>Your note appears right where they’re working, then gently fades. They can send one back from their desk, instantly.</source>
        <translation>Deine Notiz erscheint genau dort, wo sie arbeiten, und verblasst dann sanft. Antworten geht sofort, direkt vom Schreibtisch.</translation>
    </message>
    <message>
        <source>Your circle, up to 5</source>
        <translation>Dein Kreis, bis zu 5</translation>
    </message>
    <message>
        <source>Share your code with your partner, family, friends or teammates. Everyone you invite is in — no extra setup.</source>
        <translation>Teile deinen Code mit Partner, Familie, Freunden oder dem Team. Wer eingeladen ist, ist dabei – ganz ohne Einrichtung.</translation>
    </message>
    <message>
        <source>Back</source>
        <translation>Zurück</translation>
    </message>
    <message>
        <source>Page %1 of %2</source>
        <translation>Seite %1 von %2</translation>
    </message>
    <message>
        <source>Connect now</source>
        <translation>Jetzt verbinden</translation>
    </message>
    <message>
        <source>Next</source>
        <translation>Weiter</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>A desktop messenger for a closed circle.</source>
        <translation>Ein Desktop-Messenger für einen geschlossenen Kreis.</translation>
    </message>
    <message>
        <source>Start without the window, for autostart.</source>
        <translation>Ohne Fenster starten, für den Autostart.</translation>
    </message>
    <message>
        <source>There is no display to open a window on, neither an X server (DISPLAY) nor Wayland (WAYLAND_DISPLAY).</source>
        <translation>Es gibt keine Anzeige, auf der sich ein Fenster öffnen ließe, weder einen X-Server (DISPLAY) noch Wayland (WAYLAND_DISPLAY).</translation>
    </message>
    <message>
        <source>There is no X server (XWayland), and Qt lacks its support for Wayland (the package qt6-wayland).</source>
        <translation>Es gibt keinen X-Server (XWayland), und Qt fehlt die Unterstützung für Wayland (das Paket qt6-wayland).</translation>
    </message>
</context>
<context>
    <name>timeAgo</name>
    <message>
        <source>now</source>
        <translation>jetzt</translation>
    </message>
    <message>
        <source>%1m ago</source>
        <translation>vor %1 Min.</translation>
    </message>
    <message>
        <source>%1h ago</source>
        <translation>vor %1 Std.</translation>
    </message>
    <message>
        <source>%1d ago</source>
        <translation>vor %1 T.</translation>
    </message>
</context>
</TS>
