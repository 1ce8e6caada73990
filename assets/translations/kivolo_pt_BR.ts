<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="pt_BR" sourcelanguage="en">
<context>
    <name>BeamBubble</name>
    <message>
        <source>Time capsule</source>
        <translation>Cápsula do tempo</translation>
    </message>
    <message>
        <source>opening soon</source>
        <translation>abre em breve</translation>
    </message>
    <message>
        <source>time capsule opened</source>
        <translation>cápsula do tempo aberta</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Cutucada</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Rabisco</translation>
    </message>
    <message>
        <source>You</source>
        <translation>Você</translation>
    </message>
</context>
<context>
    <name>KivoloAPI</name>
    <message>
        <source>The text holds a broken character and cannot be sent.</source>
        <translation>O texto contém um caractere corrompido e não pode ser enviado.</translation>
    </message>
    <message>
        <source>Something went wrong. Please try again.</source>
        <translation>Algo deu errado. Tente de novo.</translation>
    </message>
    <message>
        <source>The server's address is not valid.</source>
        <translation>O endereço do servidor não é válido.</translation>
    </message>
    <message>
        <source>The server's address must begin with https.</source>
        <translation>O endereço do servidor precisa começar com https.</translation>
    </message>
    <message>
        <source>The server's reply could not be read.</source>
        <translation>Não foi possível ler a resposta do servidor.</translation>
    </message>
</context>
<context>
    <name>KivoloApp</name>
    <message>
        <source>Without an X server (XWayland) no card can float on this desktop: what arrives is shown as a notification.</source>
        <translation>Sem um servidor X (XWayland), nenhum cartão pode flutuar nesta área de trabalho: o que chega aparece como notificação.</translation>
    </message>
    <message>
        <source>No notification service answers: what arrives is in the window alone.</source>
        <translation>Nenhum serviço de notificações responde: o que chega aparece só na janela.</translation>
    </message>
</context>
<context>
    <name>Store</name>
    <message>
        <source>Enter your name first.</source>
        <translation>Digite seu nome primeiro.</translation>
    </message>
    <message>
        <source>Enter your name and a code.</source>
        <translation>Digite seu nome e um código.</translation>
    </message>
</context>
<context>
    <name>UrlSession</name>
    <message>
        <source>The program is ending.</source>
        <translation>O programa está sendo encerrado.</translation>
    </message>
    <message>
        <source>The request timed out.</source>
        <translation>A solicitação demorou demais.</translation>
    </message>
    <message>
        <source>The connection closed before the server had answered. What you sent may have arrived all the same.</source>
        <translation>A conexão caiu antes de o servidor responder. O que você enviou pode ter chegado mesmo assim.</translation>
    </message>
    <message>
        <source>The server's reply is too large.</source>
        <translation>A resposta do servidor é grande demais.</translation>
    </message>
</context>
<context>
    <name>kivolo::ActivityIndicator</name>
    <message>
        <source>Busy</source>
        <translation>Em andamento</translation>
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
        <translation>Cápsula do tempo de %1</translation>
    </message>
    <message>
        <source>Opens in %1</source>
        <translation>Abre em %1</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeHeader</name>
    <message>
        <source>Copy your invite code</source>
        <translation>Copiar seu código de convite</translation>
    </message>
    <message>
        <source>Copy invite code</source>
        <translation>Copiar código de convite</translation>
    </message>
    <message>
        <source>Leave circle</source>
        <translation>Sair do círculo</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Fechar o Kivolo</translation>
    </message>
    <message>
        <source>Your circle</source>
        <translation>Seu círculo</translation>
    </message>
    <message>
        <source>You &amp; %1</source>
        <translation>Você e %1</translation>
    </message>
    <message numerus="yes">
        <source>You &amp; %n others</source>
        <translation>
            <numerusform>Você e mais %n</numerusform>
            <numerusform>Você e mais %n</numerusform>
        </translation>
    </message>
    <message>
        <source>Connected · %1/%2</source>
        <translation>Conectado · %1/%2</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>Copiado!</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeView</name>
    <message>
        <source>Say hi to your people</source>
        <translation>Dê um oi para a sua gente</translation>
    </message>
    <message>
        <source>Your first note or doodle shows up here — and pops live on their screen.</source>
        <translation>Seu primeiro recado ou rabisco aparece aqui – e na hora na tela deles.</translation>
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
        <translation>Limpar</translation>
    </message>
    <message>
        <source>Send doodle</source>
        <translation>Enviar rabisco</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Cutucada</translation>
    </message>
    <message>
        <source>Capsule</source>
        <translation>Cápsula</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Rabisco</translation>
    </message>
    <message>
        <source>Time capsule — when should it open?</source>
        <translation>Cápsula do tempo: quando ela abre?</translation>
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
        <translation>Mensagem para a cápsula…</translation>
    </message>
    <message>
        <source>Send a little hi…</source>
        <translation>Mande um oizinho…</translation>
    </message>
    <message>
        <source>Send time capsule</source>
        <translation>Enviar cápsula do tempo</translation>
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
        <translation>Rabisco</translation>
    </message>
</context>
<context>
    <name>kivolo::FeatureGuideCard</name>
    <message>
        <source>Buzz</source>
        <translation>Cutucada</translation>
    </message>
    <message>
        <source>Need them to see your message right now? A Buzz drops a big shaking card in the center of their screen and pulls Kivolo to the front — perfect when a teammate has been ignoring your Slack for an hour.</source>
        <translation>Precisa que vejam sua mensagem agora mesmo? Uma cutucada faz um cartão grande tremer no meio da tela e traz o Kivolo para a frente – perfeito quando alguém da equipe ignora o seu Slack há uma hora.</translation>
    </message>
    <message>
        <source>Send a Buzz</source>
        <translation>Enviar cutucada</translation>
    </message>
    <message>
        <source>Time capsule</source>
        <translation>Cápsula do tempo</translation>
    </message>
    <message>
        <source>Write something and choose when it opens — in an hour, a day, a week. It lands on their Mac as a live countdown. Off tomorrow? Leave a task that opens in 24h so a coworker won't forget.</source>
        <translation>Escreva algo e escolha quando abre: em uma hora, um dia ou uma semana. Enquanto isso, uma contagem regressiva corre no Mac deles. Folga amanhã? Deixe uma tarefa que abre em 24 h, para ninguém esquecer.</translation>
    </message>
    <message>
        <source>Make a capsule</source>
        <translation>Criar uma cápsula</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Rabisco</translation>
    </message>
    <message>
        <source>Sketch something by hand and send it — it pops up on their screen like a sticky note.</source>
        <translation>Desenhe algo à mão e envie – aparece na tela deles como um bilhete colado.</translation>
    </message>
    <message>
        <source>Start a doodle</source>
        <translation>Começar a rabiscar</translation>
    </message>
    <message>
        <source>Maybe later</source>
        <translation>Talvez depois</translation>
    </message>
</context>
<context>
    <name>kivolo::FeedView</name>
    <message>
        <source>Feed</source>
        <translation>Histórico</translation>
    </message>
</context>
<context>
    <name>kivolo::ForceUpdateView</name>
    <message>
        <source>Update now</source>
        <translation>Atualizar agora</translation>
    </message>
    <message>
        <source>Update required</source>
        <translation>Atualização necessária</translation>
    </message>
    <message>
        <source>Update to the latest Kivolo
to keep going.</source>
        <translation>Instale o Kivolo mais recente
para continuar.</translation>
    </message>
</context>
<context>
    <name>kivolo::IncomingBeamView</name>
    <message>
        <source>Close</source>
        <translation>Fechar</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>Rabisco</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>Cutucada</translation>
    </message>
</context>
<context>
    <name>kivolo::InviteWaitingView</name>
    <message>
        <source>Invite your person</source>
        <translation>Convide sua pessoa favorita</translation>
    </message>
    <message>
        <source>Kivolo is better together. Share this code with the one
you want to be with — the moment they join, you’re connected.</source>
        <translation>O Kivolo é melhor em companhia. Passe este código para quem
você quer por perto – assim que entrar, vocês estão juntos.</translation>
    </message>
    <message>
        <source>Make sure they download Kivolo first:
%1</source>
        <translation>Antes, a pessoa precisa instalar o Kivolo:
%1</translation>
    </message>
    <message>
        <source>Leave / use another code</source>
        <translation>Sair / usar outro código</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Fechar o Kivolo</translation>
    </message>
    <message>
        <source>YOUR INVITE CODE</source>
        <translation>SEU CÓDIGO DE CONVITE</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>Copiado!</translation>
    </message>
    <message>
        <source>Tap to copy</source>
        <translation>Clique para copiar</translation>
    </message>
    <message>
        <source>Invite code %1</source>
        <translation>Código de convite %1</translation>
    </message>
    <message>
        <source>Waiting for them to join…  %1/%2</source>
        <translation>Esperando alguém entrar…  %1/%2</translation>
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
        <translation>Perto da sua gente, direto da sua mesa</translation>
    </message>
    <message>
        <source>your name</source>
        <translation>seu nome</translation>
    </message>
    <message>
        <source>invite code</source>
        <translation>código de convite</translation>
    </message>
    <message>
        <source>Join</source>
        <translation>Entrar</translation>
    </message>
    <message>
        <source>or</source>
        <translation>ou</translation>
    </message>
    <message>
        <source>Start a circle</source>
        <translation>Criar um círculo</translation>
    </message>
</context>
<context>
    <name>kivolo::SingleInstance</name>
    <message>
        <source>The lock file %1.lock cannot be written.</source>
        <translation>Não é possível gravar o arquivo de trava %1.lock.</translation>
    </message>
    <message>
        <source>The program is already running but does not answer: %1</source>
        <translation>O programa já está aberto, mas não responde: %1</translation>
    </message>
</context>
<context>
    <name>kivolo::UpdateBanner</name>
    <message>
        <source>Version %1 is out</source>
        <translation>A versão %1 chegou</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>Atualizar</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Fechar</translation>
    </message>
</context>
<context>
    <name>kivolo::WelcomeCarousel</name>
    <message>
        <source>Be with your people</source>
        <translation>Perto da sua gente</translation>
    </message>
    <message>
        <source>Leave a note or doodle for the people who matter — your partner, family, a friend, or a coworker. It pops up live on their Mac screen. No phone, no group chat.</source>
        <translation>Deixe um recado ou um rabisco para quem importa: seu amor, a família, os amigos ou o pessoal do trabalho. Aparece na hora no Mac deles. Sem celular, sem grupo.</translation>
    </message>
    <message>
        <source>A note or a doodle</source>
        <translation>Um recado ou um rabisco</translation>
    </message>
    <message>
        <source>Scribble something or type a line from your menu bar. Hit send — and you never left your work.</source>
        <translation>Rabisque algo ou escreva uma linha direto da barra de menus. É só enviar – e você nem saiu do trabalho.</translation>
    </message>
    <message>
        <source>Live on their screen</source>
        <translation>Ao vivo na tela deles</translation>
    </message>
    <message>
        <source>Your note appears right where they’re working, then gently fades. They can send one back from their desk, instantly.</source>
        <translation>Seu recado aparece bem onde eles trabalham e depois some de mansinho. Dá para responder na hora, sem sair da mesa.</translation>
    </message>
    <message>
        <source>Your circle, up to 5</source>
        <translation>Seu círculo, até 5</translation>
    </message>
    <message>
        <source>Share your code with your partner, family, friends or teammates. Everyone you invite is in — no extra setup.</source>
        <translation>Passe seu código para seu amor, a família, os amigos ou a equipe. Quem você convida já está dentro – sem configurar nada.</translation>
    </message>
    <message>
        <source>Back</source>
        <translation>Voltar</translation>
    </message>
    <message>
        <source>Page %1 of %2</source>
        <translation>Página %1 de %2</translation>
    </message>
    <message>
        <source>Connect now</source>
        <translation>Conectar agora</translation>
    </message>
    <message>
        <source>Next</source>
        <translation>Avançar</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>A desktop messenger for a closed circle.</source>
        <translation>Um mensageiro para o computador, para um círculo fechado.</translation>
    </message>
    <message>
        <source>Start without the window, for autostart.</source>
        <translation>Iniciar sem a janela, para a inicialização automática.</translation>
    </message>
    <message>
        <source>There is no display to open a window on, neither an X server (DISPLAY) nor Wayland (WAYLAND_DISPLAY).</source>
        <translation>Não há tela para abrir uma janela: nem servidor X (DISPLAY), nem Wayland (WAYLAND_DISPLAY).</translation>
    </message>
    <message>
        <source>There is no X server (XWayland), and Qt lacks its support for Wayland (the package qt6-wayland).</source>
        <translation>Não há servidor X (XWayland), e falta ao Qt o suporte ao Wayland (o pacote qt6-wayland).</translation>
    </message>
</context>
<context>
    <name>timeAgo</name>
    <message>
        <source>now</source>
        <translation>agora</translation>
    </message>
    <message>
        <source>%1m ago</source>
        <translation>há %1 min</translation>
    </message>
    <message>
        <source>%1h ago</source>
        <translation>há %1 h</translation>
    </message>
    <message>
        <source>%1d ago</source>
        <translation>há %1 d</translation>
    </message>
</context>
</TS>
