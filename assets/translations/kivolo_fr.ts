<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
<context>
    <name>BeamBubble</name>
    <message>
        <source>Time capsule</source>
        <translation>Capsule temporelle</translation>
    </message>
    <message>
        <source>opening soon</source>
        <translation>s’ouvre bientôt</translation>
    </message>
    <message>
        <source>time capsule opened</source>
        <translation>capsule temporelle ouverte</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Secousse</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Gribouillis</translation>
    </message>
    <message>
        <source>You</source>
        <translation>Toi</translation>
    </message>
</context>
<context>
    <name>KivoloAPI</name>
    <message>
        <source>The text holds a broken character and cannot be sent.</source>
        <translation>Le texte contient un caractère abîmé et ne peut pas être envoyé.</translation>
    </message>
    <message>
        <source>Something went wrong. Please try again.</source>
        <translation>Quelque chose s’est mal passé. Réessaie.</translation>
    </message>
    <message>
        <source>The server's address is not valid.</source>
        <translation>L’adresse du serveur n’est pas valide.</translation>
    </message>
    <message>
        <source>The server's address must begin with https.</source>
        <translation>L’adresse du serveur doit commencer par https.</translation>
    </message>
    <message>
        <source>The server's reply could not be read.</source>
        <translation>La réponse du serveur est illisible.</translation>
    </message>
</context>
<context>
    <name>KivoloApp</name>
    <message>
        <source>Without an X server (XWayland) no card can float on this desktop: what arrives is shown as a notification.</source>
        <translation>Sans serveur X (XWayland), aucune carte ne peut flotter sur ce bureau : ce qui arrive s’affiche en notification.</translation>
    </message>
    <message>
        <source>No notification service answers: what arrives is in the window alone.</source>
        <translation>Aucun service de notifications ne répond : ce qui arrive n’apparaît que dans la fenêtre.</translation>
    </message>
</context>
<context>
    <name>Store</name>
    <message>
        <source>Enter your name first.</source>
        <translation>Entre d’abord ton nom.</translation>
    </message>
    <message>
        <source>Enter your name and a code.</source>
        <translation>Entre ton nom et un code.</translation>
    </message>
</context>
<context>
    <name>UrlSession</name>
    <message>
        <source>The program is ending.</source>
        <translation>Le programme se ferme.</translation>
    </message>
    <message>
        <source>The request timed out.</source>
        <translation>La demande a pris trop de temps.</translation>
    </message>
    <message>
        <source>The connection closed before the server had answered. What you sent may have arrived all the same.</source>
        <translation>La connexion s’est coupée avant la réponse du serveur. Ton envoi est peut-être arrivé quand même.</translation>
    </message>
    <message>
        <source>The server's reply is too large.</source>
        <translation>La réponse du serveur est trop volumineuse.</translation>
    </message>
</context>
<context>
    <name>kivolo::ActivityIndicator</name>
    <message>
        <source>Busy</source>
        <translation>En cours</translation>
    </message>
</context>
<context>
    <name>kivolo::Button</name>
    <message>
        <source>Menu</source>
        <translation>Menu</translation>
    </message>
</context>
<context>
    <name>kivolo::CapsuleCard</name>
    <message>
        <source>%1's time capsule</source>
        <translation>Capsule temporelle de %1</translation>
    </message>
    <message>
        <source>Opens in %1</source>
        <translation>S’ouvre dans %1</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeHeader</name>
    <message>
        <source>Copy your invite code</source>
        <translation>Copier ton code d’invitation</translation>
    </message>
    <message>
        <source>Copy invite code</source>
        <translation>Copier le code d’invitation</translation>
    </message>
    <message>
        <source>Leave circle</source>
        <translation>Quitter le cercle</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Fermer Kivolo</translation>
    </message>
    <message>
        <source>Your circle</source>
        <translation>Ton cercle</translation>
    </message>
    <message>
        <source>You &amp; %1</source>
        <translation>Toi et %1</translation>
    </message>
    <message numerus="yes">
        <source>You &amp; %n others</source>
        <translation>
            <numerusform>Toi et %n autre</numerusform>
            <numerusform>Toi et %n autres</numerusform>
        </translation>
    </message>
    <message>
        <source>Connected · %1/%2</source>
        <translation>En ligne · %1/%2</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>Copié !</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeView</name>
    <message>
        <source>Say hi to your people</source>
        <translation>Dis bonjour aux tiens</translation>
    </message>
    <message>
        <source>Your first note or doodle shows up here — and pops live on their screen.</source>
        <translation>Ton premier mot ou gribouillis s’affichera ici – et aussitôt sur leur écran.</translation>
    </message>
</context>
<context>
    <name>kivolo::Composer</name>
    <message>
        <source>Text</source>
        <translation>Texte</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Effacer</translation>
    </message>
    <message>
        <source>Send doodle</source>
        <translation>Envoyer</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Secousse</translation>
    </message>
    <message>
        <source>Capsule</source>
        <translation>Capsule</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Gribouillis</translation>
    </message>
    <message>
        <source>Time capsule — when should it open?</source>
        <translation>Capsule : quand doit-elle s’ouvrir ?</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 heure</translation>
    </message>
    <message>
        <source>24 hours</source>
        <translation>24 heures</translation>
    </message>
    <message>
        <source>1 week</source>
        <translation>1 semaine</translation>
    </message>
    <message>
        <source>Sending…</source>
        <translation>Envoi…</translation>
    </message>
    <message>
        <source>Message to seal in the capsule…</source>
        <translation>Message à glisser dans la capsule…</translation>
    </message>
    <message>
        <source>Send a little hi…</source>
        <translation>Envoie un petit coucou…</translation>
    </message>
    <message>
        <source>Send time capsule</source>
        <translation>Envoyer la capsule temporelle</translation>
    </message>
    <message>
        <source>Send</source>
        <translation>Envoyer</translation>
    </message>
</context>
<context>
    <name>kivolo::DrawingNSView</name>
    <message>
        <source>Doodle</source>
        <translation>Gribouillis</translation>
    </message>
</context>
<context>
    <name>kivolo::FeatureGuideCard</name>
    <message>
        <source>Buzz</source>
        <translation>Secousse</translation>
    </message>
    <message>
        <source>Need them to see your message right now? A Buzz drops a big shaking card in the center of their screen and pulls Kivolo to the front — perfect when a teammate has been ignoring your Slack for an hour.</source>
        <translation>Il faut qu’on voie ton message tout de suite ? Une secousse fait trembler une grande carte au milieu de leur écran et ramène Kivolo au premier plan – parfait quand quelqu’un de l’équipe ignore ton Slack depuis une heure.</translation>
    </message>
    <message>
        <source>Send a Buzz</source>
        <translation>Envoyer une secousse</translation>
    </message>
    <message>
        <source>Time capsule</source>
        <translation>Capsule temporelle</translation>
    </message>
    <message>
        <source>Write something and choose when it opens — in an hour, a day, a week. It lands on their Mac as a live countdown. Off tomorrow? Leave a task that opens in 24h so a coworker won't forget.</source>
        <translation>Écris quelque chose et choisis quand ça s’ouvre – dans une heure, un jour, une semaine. En attendant, un compte à rebours tourne sur leur Mac. En congé demain ? Laisse une tâche qui s’ouvre dans 24 h, pour que personne ne l’oublie.</translation>
    </message>
    <message>
        <source>Make a capsule</source>
        <translation>Créer une capsule</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Gribouillis</translation>
    </message>
    <message>
        <source>Sketch something by hand and send it — it pops up on their screen like a sticky note.</source>
        <translation>Dessine quelque chose à la main et envoie-le – ça apparaît sur leur écran comme un post-it.</translation>
    </message>
    <message>
        <source>Start a doodle</source>
        <translation>Gribouiller</translation>
    </message>
    <message>
        <source>Maybe later</source>
        <translation>Plus tard</translation>
    </message>
</context>
<context>
    <name>kivolo::FeedView</name>
    <message>
        <source>Feed</source>
        <translation>Fil</translation>
    </message>
</context>
<context>
    <name>kivolo::ForceUpdateView</name>
    <message>
        <source>Update now</source>
        <translation>Mettre à jour</translation>
    </message>
    <message>
        <source>Update required</source>
        <translation>Mise à jour nécessaire</translation>
    </message>
    <message>
        <source>Update to the latest Kivolo
to keep going.</source>
        <translation>Installe le tout dernier Kivolo
pour continuer.</translation>
    </message>
</context>
<context>
    <name>kivolo::IncomingBeamView</name>
    <message>
        <source>Close</source>
        <translation>Fermer</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Gribouillis</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Secousse</translation>
    </message>
</context>
<context>
    <name>kivolo::InviteWaitingView</name>
    <message>
        <source>Invite your person</source>
        <translation>Invite ta personne préférée</translation>
    </message>
    <message>
        <source>Kivolo is better together. Share this code with the one
you want to be with — the moment they join, you’re connected.</source>
        <translation>Kivolo, c’est mieux ensemble. Donne ce code à la personne
avec qui tu veux être – dès son arrivée, vous êtes en lien.</translation>
    </message>
    <message>
        <source>Make sure they download Kivolo first:
%1</source>
        <translation>Il faut d’abord installer Kivolo de l’autre côté :
%1</translation>
    </message>
    <message>
        <source>Leave / use another code</source>
        <translation>Quitter / utiliser un autre code</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Fermer Kivolo</translation>
    </message>
    <message>
        <source>YOUR INVITE CODE</source>
        <translation>TON CODE D’INVITATION</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>Copié !</translation>
    </message>
    <message>
        <source>Tap to copy</source>
        <translation>Clique pour copier</translation>
    </message>
    <message>
        <source>Invite code %1</source>
        <translation>Code d’invitation %1</translation>
    </message>
    <message>
        <source>Waiting for them to join…  %1/%2</source>
        <translation>En attente des autres…  %1/%2</translation>
    </message>
</context>
<context>
    <name>kivolo::MenuBarExtra</name>
    <message>
        <source>Open</source>
        <translation>Ouvrir</translation>
    </message>
</context>
<context>
    <name>kivolo::OnboardingView</name>
    <message>
        <source>Be with your people, right from your desk</source>
        <translation>Près des tiens, depuis ton bureau</translation>
    </message>
    <message>
        <source>your name</source>
        <translation>ton nom</translation>
    </message>
    <message>
        <source>invite code</source>
        <translation>code d’invitation</translation>
    </message>
    <message>
        <source>Join</source>
        <translation>Rejoindre</translation>
    </message>
    <message>
        <source>or</source>
        <translation>ou</translation>
    </message>
    <message>
        <source>Start a circle</source>
        <translation>Créer un cercle</translation>
    </message>
</context>
<context>
    <name>kivolo::SingleInstance</name>
    <message>
        <source>The lock file %1.lock cannot be written.</source>
        <translation>Impossible d’écrire le fichier de verrou %1.lock.</translation>
    </message>
    <message>
        <source>The program is already running but does not answer: %1</source>
        <translation>Le programme est déjà lancé mais ne répond pas : %1</translation>
    </message>
</context>
<context>
    <name>kivolo::UpdateBanner</name>
    <message>
        <source>Version %1 is out</source>
        <translation>La version %1 est là</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>Installer</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Fermer</translation>
    </message>
</context>
<context>
    <name>kivolo::WelcomeCarousel</name>
    <message>
        <source>Be with your people</source>
        <translation>Près des tiens</translation>
    </message>
    <message>
        <source>Leave a note or doodle for the people who matter — your partner, family, a friend, or a coworker. It pops up live on their Mac screen. No phone, no group chat.</source>
        <translation>Laisse un mot ou un gribouillis à ceux qui comptent – ta moitié, ta famille, tes amis ou tes collègues. Il apparaît aussitôt sur leur Mac. Sans téléphone, sans discussion de groupe.</translation>
    </message>
    <message>
        <source>A note or a doodle</source>
        <translation>Un mot ou un gribouillis</translation>
    </message>
    <message>
        <source>Scribble something or type a line from your menu bar. Hit send — and you never left your work.</source>
        <translation>Griffonne quelque chose ou tape une ligne depuis la barre des menus. Un clic pour envoyer – et tu n’as pas quitté ton travail.</translation>
    </message>
    <message>
        <source>Live on their screen</source>
        <translation>En direct sur leur écran</translation>
    </message>
    <message>
        <source>Your note appears right where they’re working, then gently fades. They can send one back from their desk, instantly.</source>
        <translation>Ton mot apparaît là où ils travaillent, puis s’efface en douceur. Ils peuvent répondre aussitôt, depuis leur bureau.</translation>
    </message>
    <message>
        <source>Your circle, up to 5</source>
        <translation>Ton cercle, jusqu’à 5</translation>
    </message>
    <message>
        <source>Share your code with your partner, family, friends or teammates. Everyone you invite is in — no extra setup.</source>
        <translation>Donne ton code à ta moitié, ta famille, tes amis ou ton équipe. Qui est invité est dedans – rien à configurer.</translation>
    </message>
    <message>
        <source>Back</source>
        <translation>Retour</translation>
    </message>
    <message>
        <source>Page %1 of %2</source>
        <translation>Page %1 sur %2</translation>
    </message>
    <message>
        <source>Connect now</source>
        <translation>Me connecter</translation>
    </message>
    <message>
        <source>Next</source>
        <translation>Suivant</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>A desktop messenger for a closed circle.</source>
        <translation>Une messagerie de bureau pour un cercle fermé.</translation>
    </message>
    <message>
        <source>Start without the window, for autostart.</source>
        <translation>Démarrer sans la fenêtre, pour le lancement automatique.</translation>
    </message>
    <message>
        <source>There is no display to open a window on, neither an X server (DISPLAY) nor Wayland (WAYLAND_DISPLAY).</source>
        <translation>Aucun affichage où ouvrir une fenêtre : ni serveur X (DISPLAY), ni Wayland (WAYLAND_DISPLAY).</translation>
    </message>
    <message>
        <source>There is no X server (XWayland), and Qt lacks its support for Wayland (the package qt6-wayland).</source>
        <translation>Il n’y a pas de serveur X (XWayland), et il manque à Qt sa prise en charge de Wayland (le paquet qt6-wayland).</translation>
    </message>
</context>
<context>
    <name>timeAgo</name>
    <message>
        <source>now</source>
        <translation>à l’instant</translation>
    </message>
    <message>
        <source>%1m ago</source>
        <translation>il y a %1 min</translation>
    </message>
    <message>
        <source>%1h ago</source>
        <translation>il y a %1 h</translation>
    </message>
    <message>
        <source>%1d ago</source>
        <translation>il y a %1 j</translation>
    </message>
</context>
</TS>
