<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>KivoloAPI</name>
    <message>
        <source>The text holds a broken character and cannot be sent.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Something went wrong. Please try again.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The server&apos;s address is not valid.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The server&apos;s address must begin with https.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The server&apos;s reply could not be read.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Store</name>
    <message>
        <source>Enter your name first.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Enter your name and a code.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>UrlSession</name>
    <message>
        <source>The program is ending.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The request timed out.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The server&apos;s reply is too large.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::ActivityIndicator</name>
    <message>
        <source>Busy</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::Button</name>
    <message>
        <source>Menu</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::CapsuleCard</name>
    <message>
        <source>%1&apos;s time capsule</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Opens in %1</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeHeader</name>
    <message>
        <source>Copy your invite code</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Copy invite code</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Leave circle</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Your circle</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>You &amp; %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>You &amp; %n others</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message>
        <source>Connected · %1/%2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeView</name>
    <message>
        <source>Say hi to your people</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Your first note or doodle shows up here — and pops live on their screen.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::Composer</name>
    <message>
        <source>Text</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Clear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Send doodle</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Capsule</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Time capsule — when should it open?</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>24 hours</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>1 week</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sending…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Message to seal in the capsule…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Send a little hi…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Send time capsule</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Send</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Buzzed you!</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::DrawingNSView</name>
    <message>
        <source>Doodle</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::FeatureGuideCard</name>
    <message>
        <source>Buzz</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Need them to see your message right now? A Buzz drops a big shaking card in the center of their screen and pulls Kivolo to the front — perfect when a teammate has been ignoring your Slack for an hour.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Send a Buzz</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Time capsule</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Write something and choose when it opens — in an hour, a day, a week. It lands on their Mac as a live countdown. Off tomorrow? Leave a task that opens in 24h so a coworker won&apos;t forget.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Make a capsule</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sketch something by hand and send it — it pops up on their screen like a sticky note.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Start a doodle</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Maybe later</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::IncomingBeamView</name>
    <message>
        <source>Close</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::MenuBarExtra</name>
    <message>
        <source>Open</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>kivolo::SingleInstance</name>
    <message>
        <source>The lock file %1.lock cannot be written.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The program is already running but does not answer: %1</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>A desktop messenger for a closed circle.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Start without the window, for autostart.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>timeAgo</name>
    <message>
        <source>now</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1m ago</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1h ago</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1d ago</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
