<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es" sourcelanguage="en">
<context>
    <name>BeamBubble</name>
    <message>
        <source>Time capsule</source>
        <translation>Cápsula del tiempo</translation>
    </message>
    <message>
        <source>opening soon</source>
        <translation>se abre pronto</translation>
    </message>
    <message>
        <source>time capsule opened</source>
        <translation>cápsula del tiempo abierta</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Zumbido</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Garabato</translation>
    </message>
    <message>
        <source>You</source>
        <translation>Tú</translation>
    </message>
</context>
<context>
    <name>KivoloAPI</name>
    <message>
        <source>The text holds a broken character and cannot be sent.</source>
        <translation>El texto contiene un carácter dañado y no se puede enviar.</translation>
    </message>
    <message>
        <source>Something went wrong. Please try again.</source>
        <translation>Algo salió mal. Inténtalo de nuevo.</translation>
    </message>
    <message>
        <source>The server's address is not valid.</source>
        <translation>La dirección del servidor no es válida.</translation>
    </message>
    <message>
        <source>The server's address must begin with https.</source>
        <translation>La dirección del servidor debe empezar por https.</translation>
    </message>
    <message>
        <source>The server's reply could not be read.</source>
        <translation>No se pudo leer la respuesta del servidor.</translation>
    </message>
</context>
<context>
    <name>KivoloApp</name>
    <message>
        <source>Without an X server (XWayland) no card can float on this desktop: what arrives is shown as a notification.</source>
        <translation>Sin un servidor X (XWayland) no pueden flotar tarjetas en este escritorio: lo que llega se muestra como notificación.</translation>
    </message>
    <message>
        <source>No notification service answers: what arrives is in the window alone.</source>
        <translation>Ningún servicio de notificaciones responde: lo que llega está solo en la ventana.</translation>
    </message>
</context>
<context>
    <name>Store</name>
    <message>
        <source>Enter your name first.</source>
        <translation>Escribe primero tu nombre.</translation>
    </message>
    <message>
        <source>Enter your name and a code.</source>
        <translation>Escribe tu nombre y un código.</translation>
    </message>
</context>
<context>
    <name>UrlSession</name>
    <message>
        <source>The program is ending.</source>
        <translation>El programa se está cerrando.</translation>
    </message>
    <message>
        <source>The request timed out.</source>
        <translation>La solicitud tardó demasiado.</translation>
    </message>
    <message>
        <source>The connection closed before the server had answered. What you sent may have arrived all the same.</source>
        <translation>La conexión se cerró antes de que el servidor respondiera. Puede que tu envío haya llegado de todos modos.</translation>
    </message>
    <message>
        <source>The server's reply is too large.</source>
        <translation>La respuesta del servidor es demasiado grande.</translation>
    </message>
</context>
<context>
    <name>kivolo::ActivityIndicator</name>
    <message>
        <source>Busy</source>
        <translation>En curso</translation>
    </message>
</context>
<context>
    <name>kivolo::Button</name>
    <message>
        <source>Menu</source>
        <translation>Menú</translation>
    </message>
</context>
<context>
    <name>kivolo::CapsuleCard</name>
    <message>
        <source>%1's time capsule</source>
        <translation>Cápsula del tiempo de %1</translation>
    </message>
    <message>
        <source>Opens in %1</source>
        <translation>Se abre en %1</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeHeader</name>
    <message>
        <source>Copy your invite code</source>
        <translation>Copiar tu código de invitación</translation>
    </message>
    <message>
        <source>Copy invite code</source>
        <translation>Copiar el código de invitación</translation>
    </message>
    <message>
        <source>Leave circle</source>
        <translation>Dejar el círculo</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Cerrar Kivolo</translation>
    </message>
    <message>
        <source>Your circle</source>
        <translation>Tu círculo</translation>
    </message>
    <message>
        <source>You &amp; %1</source>
        <translation>Tú y %1</translation>
    </message>
    <message numerus="yes">
        <source>You &amp; %n others</source>
        <translation>
            <numerusform>Tú y %n más</numerusform>
            <numerusform>Tú y %n más</numerusform>
        </translation>
    </message>
    <message>
        <source>Connected · %1/%2</source>
        <translation>En línea · %1/%2</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>¡Copiado!</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeView</name>
    <message>
        <source>Say hi to your people</source>
        <translation>Saluda a los tuyos</translation>
    </message>
    <message>
        <source>Your first note or doodle shows up here — and pops live on their screen.</source>
        <translation>Tu primera nota o garabato aparecerá aquí, y al instante en su pantalla.</translation>
    </message>
</context>
<context>
    <name>kivolo::Composer</name>
    <message>
        <source>Text</source>
        <translation>Texto</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Borrar</translation>
    </message>
    <message>
        <source>Send doodle</source>
        <translation>Enviar garabato</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Zumbido</translation>
    </message>
    <message>
        <source>Capsule</source>
        <translation>Cápsula</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Garabato</translation>
    </message>
    <message>
        <source>Time capsule — when should it open?</source>
        <translation>Cápsula del tiempo: ¿cuándo se abre?</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancelar</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 hora</translation>
    </message>
    <message>
        <source>24 hours</source>
        <translation>24 horas</translation>
    </message>
    <message>
        <source>1 week</source>
        <translation>1 semana</translation>
    </message>
    <message>
        <source>Sending…</source>
        <translation>Enviando…</translation>
    </message>
    <message>
        <source>Message to seal in the capsule…</source>
        <translation>Mensaje para la cápsula…</translation>
    </message>
    <message>
        <source>Send a little hi…</source>
        <translation>Manda un saludito…</translation>
    </message>
    <message>
        <source>Send time capsule</source>
        <translation>Enviar cápsula del tiempo</translation>
    </message>
    <message>
        <source>Send</source>
        <translation>Enviar</translation>
    </message>
</context>
<context>
    <name>kivolo::DrawingNSView</name>
    <message>
        <source>Doodle</source>
        <translation>Garabato</translation>
    </message>
</context>
<context>
    <name>kivolo::FeatureGuideCard</name>
    <message>
        <source>Buzz</source>
        <translation>Zumbido</translation>
    </message>
    <message>
        <source>Need them to see your message right now? A Buzz drops a big shaking card in the center of their screen and pulls Kivolo to the front — perfect when a teammate has been ignoring your Slack for an hour.</source>
        <translation>¿Necesitas que vean tu mensaje ya? Un zumbido hace temblar una tarjeta grande en el centro de su pantalla y trae Kivolo al frente: perfecto cuando alguien del equipo lleva una hora sin mirar tu Slack.</translation>
    </message>
    <message>
        <source>Send a Buzz</source>
        <translation>Enviar un zumbido</translation>
    </message>
    <message>
        <source>Time capsule</source>
        <translation>Cápsula del tiempo</translation>
    </message>
    <message>
        <source>Write something and choose when it opens — in an hour, a day, a week. It lands on their Mac as a live countdown. Off tomorrow? Leave a task that opens in 24h so a coworker won't forget.</source>
        <translation>Escribe algo y elige cuándo se abre: en una hora, un día o una semana. Mientras tanto, en su Mac corre una cuenta regresiva. ¿Mañana no trabajas? Deja una tarea que se abra en 24 h para que nadie la olvide.</translation>
    </message>
    <message>
        <source>Make a capsule</source>
        <translation>Crear una cápsula</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Garabato</translation>
    </message>
    <message>
        <source>Sketch something by hand and send it — it pops up on their screen like a sticky note.</source>
        <translation>Dibuja algo a mano y envíalo: aparece en su pantalla como una nota adhesiva.</translation>
    </message>
    <message>
        <source>Start a doodle</source>
        <translation>Empezar a dibujar</translation>
    </message>
    <message>
        <source>Maybe later</source>
        <translation>Quizá luego</translation>
    </message>
</context>
<context>
    <name>kivolo::FeedView</name>
    <message>
        <source>Feed</source>
        <translation>Historial</translation>
    </message>
</context>
<context>
    <name>kivolo::ForceUpdateView</name>
    <message>
        <source>Update now</source>
        <translation>Actualizar ahora</translation>
    </message>
    <message>
        <source>Update required</source>
        <translation>Hay que actualizar</translation>
    </message>
    <message>
        <source>Update to the latest Kivolo
to keep going.</source>
        <translation>Instala el Kivolo más reciente
para seguir.</translation>
    </message>
</context>
<context>
    <name>kivolo::IncomingBeamView</name>
    <message>
        <source>Close</source>
        <translation>Cerrar</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Garabato</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Zumbido</translation>
    </message>
</context>
<context>
    <name>kivolo::InviteWaitingView</name>
    <message>
        <source>Invite your person</source>
        <translation>Invita a tu persona favorita</translation>
    </message>
    <message>
        <source>Kivolo is better together. Share this code with the one
you want to be with — the moment they join, you’re connected.</source>
        <translation>Kivolo es mejor en compañía. Comparte este código con quien
quieras tener cerca: en cuanto se una, estarán en contacto.</translation>
    </message>
    <message>
        <source>Make sure they download Kivolo first:
%1</source>
        <translation>Primero tiene que instalar Kivolo:
%1</translation>
    </message>
    <message>
        <source>Leave / use another code</source>
        <translation>Salir / usar otro código</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Cerrar Kivolo</translation>
    </message>
    <message>
        <source>YOUR INVITE CODE</source>
        <translation>TU CÓDIGO DE INVITACIÓN</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>¡Copiado!</translation>
    </message>
    <message>
        <source>Tap to copy</source>
        <translation>Haz clic para copiar</translation>
    </message>
    <message>
        <source>Invite code %1</source>
        <translation>Código de invitación %1</translation>
    </message>
    <message>
        <source>Waiting for them to join…  %1/%2</source>
        <translation>Esperando a los demás…  %1/%2</translation>
    </message>
</context>
<context>
    <name>kivolo::MenuBarExtra</name>
    <message>
        <source>Open</source>
        <translation>Abrir</translation>
    </message>
</context>
<context>
    <name>kivolo::OnboardingView</name>
    <message>
        <source>Be with your people, right from your desk</source>
        <translation>Cerca de los tuyos, desde tu escritorio</translation>
    </message>
    <message>
        <source>your name</source>
        <translation>tu nombre</translation>
    </message>
    <message>
        <source>invite code</source>
        <translation>código de invitación</translation>
    </message>
    <message>
        <source>Join</source>
        <translation>Unirme</translation>
    </message>
    <message>
        <source>or</source>
        <translation>o</translation>
    </message>
    <message>
        <source>Start a circle</source>
        <translation>Crear un círculo</translation>
    </message>
</context>
<context>
    <name>kivolo::SingleInstance</name>
    <message>
        <source>The lock file %1.lock cannot be written.</source>
        <translation>No se puede escribir el archivo de bloqueo %1.lock.</translation>
    </message>
    <message>
        <source>The program is already running but does not answer: %1</source>
        <translation>El programa ya está abierto, pero no responde: %1</translation>
    </message>
</context>
<context>
    <name>kivolo::UpdateBanner</name>
    <message>
        <source>Version %1 is out</source>
        <translation>Ya está la versión %1</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>Actualizar</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Cerrar</translation>
    </message>
</context>
<context>
    <name>kivolo::WelcomeCarousel</name>
    <message>
        <source>Be with your people</source>
        <translation>Cerca de los tuyos</translation>
    </message>
    <message>
        <source>Leave a note or doodle for the people who matter — your partner, family, a friend, or a coworker. It pops up live on their Mac screen. No phone, no group chat.</source>
        <translation>Deja una nota o un garabato a la gente que te importa: tu pareja, tu familia, tus amistades o tus colegas. Aparece al instante en su Mac. Sin teléfono, sin chat de grupo.</translation>
    </message>
    <message>
        <source>A note or a doodle</source>
        <translation>Una nota o un garabato</translation>
    </message>
    <message>
        <source>Scribble something or type a line from your menu bar. Hit send — and you never left your work.</source>
        <translation>Garabatea algo o escribe una línea desde la barra de menús. Pulsa enviar y ni siquiera dejaste tu trabajo.</translation>
    </message>
    <message>
        <source>Live on their screen</source>
        <translation>En vivo en su pantalla</translation>
    </message>
    <message>
        <source>Your note appears right where they’re working, then gently fades. They can send one back from their desk, instantly.</source>
        <translation>Tu nota aparece justo donde trabajan y luego se desvanece con suavidad. Pueden responderte al instante, desde su escritorio.</translation>
    </message>
    <message>
        <source>Your circle, up to 5</source>
        <translation>Tu círculo, hasta 5</translation>
    </message>
    <message>
        <source>Share your code with your partner, family, friends or teammates. Everyone you invite is in — no extra setup.</source>
        <translation>Comparte tu código con tu pareja, tu familia, tus amistades o tu equipo. Quien recibe la invitación ya está dentro, sin configurar nada.</translation>
    </message>
    <message>
        <source>Back</source>
        <translation>Atrás</translation>
    </message>
    <message>
        <source>Page %1 of %2</source>
        <translation>Página %1 de %2</translation>
    </message>
    <message>
        <source>Connect now</source>
        <translation>Conectar ahora</translation>
    </message>
    <message>
        <source>Next</source>
        <translation>Siguiente</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>A desktop messenger for a closed circle.</source>
        <translation>Un mensajero de escritorio para un círculo cerrado.</translation>
    </message>
    <message>
        <source>Start without the window, for autostart.</source>
        <translation>Iniciar sin la ventana, para el inicio automático.</translation>
    </message>
    <message>
        <source>There is no display to open a window on, neither an X server (DISPLAY) nor Wayland (WAYLAND_DISPLAY).</source>
        <translation>No hay pantalla en la que abrir una ventana: ni servidor X (DISPLAY) ni Wayland (WAYLAND_DISPLAY).</translation>
    </message>
    <message>
        <source>There is no X server (XWayland), and Qt lacks its support for Wayland (the package qt6-wayland).</source>
        <translation>No hay servidor X (XWayland) y a Qt le falta la compatibilidad con Wayland (el paquete qt6-wayland).</translation>
    </message>
</context>
<context>
    <name>timeAgo</name>
    <message>
        <source>now</source>
        <translation>ahora</translation>
    </message>
    <message>
        <source>%1m ago</source>
        <translation>hace %1 min</translation>
    </message>
    <message>
        <source>%1h ago</source>
        <translation>hace %1 h</translation>
    </message>
    <message>
        <source>%1d ago</source>
        <translation>hace %1 d</translation>
    </message>
</context>
</TS>
