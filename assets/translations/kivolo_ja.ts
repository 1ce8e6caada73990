<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja" sourcelanguage="en">
<context>
    <name>BeamBubble</name>
    <message>
        <source>Time capsule</source>
        <translation>タイムカプセル</translation>
    </message>
    <message>
        <source>opening soon</source>
        <translation>もうすぐ開きます</translation>
    </message>
    <message>
        <source>time capsule opened</source>
        <translation>タイムカプセルが開きました</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>ブルブル</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>らくがき</translation>
    </message>
    <message>
        <source>You</source>
        <translation>あなた</translation>
    </message>
</context>
<context>
    <name>KivoloAPI</name>
    <message>
        <source>The text holds a broken character and cannot be sent.</source>
        <translation>壊れた文字が含まれているため、送信できません。</translation>
    </message>
    <message>
        <source>Something went wrong. Please try again.</source>
        <translation>うまくいきませんでした。もう一度お試しください。</translation>
    </message>
    <message>
        <source>The server's address is not valid.</source>
        <translation>サーバーのアドレスが正しくありません。</translation>
    </message>
    <message>
        <source>The server's address must begin with https.</source>
        <translation>サーバーのアドレスはhttpsで始まる必要があります。</translation>
    </message>
    <message>
        <source>The server's reply could not be read.</source>
        <translation>サーバーの応答を読み取れませんでした。</translation>
    </message>
</context>
<context>
    <name>KivoloApp</name>
    <message>
        <source>Without an X server (XWayland) no card can float on this desktop: what arrives is shown as a notification.</source>
        <translation>Xサーバー(XWayland)がないため、このデスクトップではカードを浮かべられません。届いたものは通知で表示します。</translation>
    </message>
    <message>
        <source>No notification service answers: what arrives is in the window alone.</source>
        <translation>通知サービスから応答がありません。届いたものはウィンドウにだけ表示します。</translation>
    </message>
</context>
<context>
    <name>Store</name>
    <message>
        <source>Enter your name first.</source>
        <translation>先に名前を入力してください。</translation>
    </message>
    <message>
        <source>Enter your name and a code.</source>
        <translation>名前とコードを入力してください。</translation>
    </message>
</context>
<context>
    <name>UrlSession</name>
    <message>
        <source>The program is ending.</source>
        <translation>プログラムを終了しています。</translation>
    </message>
    <message>
        <source>The request timed out.</source>
        <translation>応答がなく、時間切れになりました。</translation>
    </message>
    <message>
        <source>The connection closed before the server had answered. What you sent may have arrived all the same.</source>
        <translation>サーバーが応答する前に接続が切れました。送ったものは届いているかもしれません。</translation>
    </message>
    <message>
        <source>The server's reply is too large.</source>
        <translation>サーバーの応答が大きすぎます。</translation>
    </message>
</context>
<context>
    <name>kivolo::ActivityIndicator</name>
    <message>
        <source>Busy</source>
        <translation>処理中</translation>
    </message>
</context>
<context>
    <name>kivolo::Button</name>
    <message>
        <source>Menu</source>
        <translation>メニュー</translation>
    </message>
</context>
<context>
    <name>kivolo::CapsuleCard</name>
    <message>
        <source>%1's time capsule</source>
        <translation>%1のタイムカプセル</translation>
    </message>
    <message>
        <source>Opens in %1</source>
        <translation>開くまで %1</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeHeader</name>
    <message>
        <source>Copy your invite code</source>
        <translation>自分の招待コードをコピー</translation>
    </message>
    <message>
        <source>Copy invite code</source>
        <translation>招待コードをコピー</translation>
    </message>
    <message>
        <source>Leave circle</source>
        <translation>サークルを退出</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Kivoloを終了</translation>
    </message>
    <message>
        <source>Your circle</source>
        <translation>あなたのサークル</translation>
    </message>
    <message>
        <source>You &amp; %1</source>
        <translation>あなたと%1</translation>
    </message>
    <message numerus="yes">
        <source>You &amp; %n others</source>
        <translation>
            <numerusform>あなたと%n人</numerusform>
        </translation>
    </message>
    <message>
        <source>Connected · %1/%2</source>
        <translation>接続中 · %1/%2</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>コピー済み</translation>
    </message>
</context>
<context>
    <name>kivolo::ComposeView</name>
    <message>
        <source>Say hi to your people</source>
        <translation>みんなにあいさつしましょう</translation>
    </message>
    <message>
        <source>Your first note or doodle shows up here — and pops live on their screen.</source>
        <translation>最初のメモやらくがきはここに残り、すぐ相手の画面にも届きます。</translation>
    </message>
</context>
<context>
    <name>kivolo::Composer</name>
    <message>
        <source>Text</source>
        <translation>テキスト</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>消す</translation>
    </message>
    <message>
        <source>Send doodle</source>
        <translation>らくがきを送る</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>ブルブル</translation>
    </message>
    <message>
        <source>Capsule</source>
        <translation>カプセル</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>らくがき</translation>
    </message>
    <message>
        <source>Time capsule — when should it open?</source>
        <translation>タイムカプセルをいつ開けますか？</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1時間</translation>
    </message>
    <message>
        <source>24 hours</source>
        <translation>24時間</translation>
    </message>
    <message>
        <source>1 week</source>
        <translation>1週間</translation>
    </message>
    <message>
        <source>Sending…</source>
        <translation>送信中…</translation>
    </message>
    <message>
        <source>Message to seal in the capsule…</source>
        <translation>カプセルに入れるメッセージ…</translation>
    </message>
    <message>
        <source>Send a little hi…</source>
        <translation>ひとことどうぞ…</translation>
    </message>
    <message>
        <source>Send time capsule</source>
        <translation>タイムカプセルを送る</translation>
    </message>
    <message>
        <source>Send</source>
        <translation>送信</translation>
    </message>
</context>
<context>
    <name>kivolo::DrawingNSView</name>
    <message>
        <source>Doodle</source>
        <translation>らくがき</translation>
    </message>
</context>
<context>
    <name>kivolo::FeatureGuideCard</name>
    <message>
        <source>Buzz</source>
        <translation>ブルブル</translation>
    </message>
    <message>
        <source>Need them to see your message right now? A Buzz drops a big shaking card in the center of their screen and pulls Kivolo to the front — perfect when a teammate has been ignoring your Slack for an hour.</source>
        <translation>今すぐ見てほしいときに。ブルブルを送ると、相手の画面の真ん中で大きなカードが震え、Kivoloが一番手前に出てきます。Slackに1時間も返事がないときにぴったりです。</translation>
    </message>
    <message>
        <source>Send a Buzz</source>
        <translation>ブルブルを送る</translation>
    </message>
    <message>
        <source>Time capsule</source>
        <translation>タイムカプセル</translation>
    </message>
    <message>
        <source>Write something and choose when it opens — in an hour, a day, a week. It lands on their Mac as a live countdown. Off tomorrow? Leave a task that opens in 24h so a coworker won't forget.</source>
        <translation>メッセージを書いて、1時間後、1日後、1週間後など、いつ開くかを選びます。相手のMacではカウントダウンが進みます。明日はお休みですか？24時間後に開くタスクを残しておけば、だれも忘れません。</translation>
    </message>
    <message>
        <source>Make a capsule</source>
        <translation>カプセルを作る</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>らくがき</translation>
    </message>
    <message>
        <source>Sketch something by hand and send it — it pops up on their screen like a sticky note.</source>
        <translation>手描きの絵を送ると、相手の画面に付せんのように現れます。</translation>
    </message>
    <message>
        <source>Start a doodle</source>
        <translation>らくがきを始める</translation>
    </message>
    <message>
        <source>Maybe later</source>
        <translation>あとで</translation>
    </message>
</context>
<context>
    <name>kivolo::FeedView</name>
    <message>
        <source>Feed</source>
        <translation>やりとり</translation>
    </message>
</context>
<context>
    <name>kivolo::ForceUpdateView</name>
    <message>
        <source>Update now</source>
        <translation>今すぐ更新</translation>
    </message>
    <message>
        <source>Update required</source>
        <translation>更新が必要です</translation>
    </message>
    <message>
        <source>Update to the latest Kivolo
to keep going.</source>
        <translation>続けるには、Kivoloを
最新版に更新してください。</translation>
    </message>
</context>
<context>
    <name>kivolo::IncomingBeamView</name>
    <message>
        <source>Close</source>
        <translation>閉じる</translation>
    </message>
    <message>
        <source>Doodle</source>
        <translation>らくがき</translation>
    </message>
    <message>
        <source>Buzz</source>
        <translation>ブルブル</translation>
    </message>
</context>
<context>
    <name>kivolo::InviteWaitingView</name>
    <message>
        <source>Invite your person</source>
        <translation>大切な人を招待しましょう</translation>
    </message>
    <message>
        <source>Kivolo is better together. Share this code with the one
you want to be with — the moment they join, you’re connected.</source>
        <translation>Kivoloはだれかと一緒だともっと楽しくなります。
そばにいたい人にこのコードを渡しましょう。
参加するとすぐにつながります。</translation>
    </message>
    <message>
        <source>Make sure they download Kivolo first:
%1</source>
        <translation>先にKivoloを入れてもらってください：
%1</translation>
    </message>
    <message>
        <source>Leave / use another code</source>
        <translation>退出 / 別のコードを使う</translation>
    </message>
    <message>
        <source>Quit Kivolo</source>
        <translation>Kivoloを終了</translation>
    </message>
    <message>
        <source>YOUR INVITE CODE</source>
        <translation>あなたの招待コード</translation>
    </message>
    <message>
        <source>Copied!</source>
        <translation>コピー済み</translation>
    </message>
    <message>
        <source>Tap to copy</source>
        <translation>クリックでコピー</translation>
    </message>
    <message>
        <source>Invite code %1</source>
        <translation>招待コード %1</translation>
    </message>
    <message>
        <source>Waiting for them to join…  %1/%2</source>
        <translation>参加を待っています…  %1/%2</translation>
    </message>
</context>
<context>
    <name>kivolo::MenuBarExtra</name>
    <message>
        <source>Open</source>
        <translation>開く</translation>
    </message>
</context>
<context>
    <name>kivolo::OnboardingView</name>
    <message>
        <source>Be with your people, right from your desk</source>
        <translation>デスクから、大切な人のそばに</translation>
    </message>
    <message>
        <source>your name</source>
        <translation>名前</translation>
    </message>
    <message>
        <source>invite code</source>
        <translation>招待コード</translation>
    </message>
    <message>
        <source>Join</source>
        <translation>参加する</translation>
    </message>
    <message>
        <source>or</source>
        <translation>または</translation>
    </message>
    <message>
        <source>Start a circle</source>
        <translation>サークルを作る</translation>
    </message>
</context>
<context>
    <name>kivolo::SingleInstance</name>
    <message>
        <source>The lock file %1.lock cannot be written.</source>
        <translation>ロックファイル%1.lockに書き込めません。</translation>
    </message>
    <message>
        <source>The program is already running but does not answer: %1</source>
        <translation>プログラムはすでに起動していますが、応答しません：%1</translation>
    </message>
</context>
<context>
    <name>kivolo::UpdateBanner</name>
    <message>
        <source>Version %1 is out</source>
        <translation>バージョン%1が出ました</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>更新</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>閉じる</translation>
    </message>
</context>
<context>
    <name>kivolo::WelcomeCarousel</name>
    <message>
        <source>Be with your people</source>
        <translation>大切な人のそばに</translation>
    </message>
    <message>
        <source>Leave a note or doodle for the people who matter — your partner, family, a friend, or a coworker. It pops up live on their Mac screen. No phone, no group chat.</source>
        <translation>パートナー、家族、友だち、同僚。大切な人にメモやらくがきを残しましょう。相手のMacの画面にすぐ現れます。スマホもグループチャットもいりません。</translation>
    </message>
    <message>
        <source>A note or a doodle</source>
        <translation>メモでも、らくがきでも</translation>
    </message>
    <message>
        <source>Scribble something or type a line from your menu bar. Hit send — and you never left your work.</source>
        <translation>メニューバーから、さっと描いたりひとこと書いたり。送信したら、そのまま仕事に戻れます。</translation>
    </message>
    <message>
        <source>Live on their screen</source>
        <translation>相手の画面にすぐ届く</translation>
    </message>
    <message>
        <source>Your note appears right where they’re working, then gently fades. They can send one back from their desk, instantly.</source>
        <translation>メモは作業中の画面に現れて、やさしく消えていきます。返事もデスクからすぐに送れます。</translation>
    </message>
    <message>
        <source>Your circle, up to 5</source>
        <translation>サークルは5人まで</translation>
    </message>
    <message>
        <source>Share your code with your partner, family, friends or teammates. Everyone you invite is in — no extra setup.</source>
        <translation>パートナー、家族、友だち、チームの仲間にコードを渡しましょう。招待した人はそれだけで参加でき、面倒な設定はありません。</translation>
    </message>
    <message>
        <source>Back</source>
        <translation>戻る</translation>
    </message>
    <message>
        <source>Page %1 of %2</source>
        <translation>%2ページ中%1ページ目</translation>
    </message>
    <message>
        <source>Connect now</source>
        <translation>つながる</translation>
    </message>
    <message>
        <source>Next</source>
        <translation>次へ</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>A desktop messenger for a closed circle.</source>
        <translation>身近な仲間だけのデスクトップメッセンジャー。</translation>
    </message>
    <message>
        <source>Start without the window, for autostart.</source>
        <translation>ウィンドウを表示せずに起動します(自動起動用)。</translation>
    </message>
    <message>
        <source>There is no display to open a window on, neither an X server (DISPLAY) nor Wayland (WAYLAND_DISPLAY).</source>
        <translation>ウィンドウを開く画面がありません。Xサーバー(DISPLAY)もWayland(WAYLAND_DISPLAY)も見つかりません。</translation>
    </message>
    <message>
        <source>There is no X server (XWayland), and Qt lacks its support for Wayland (the package qt6-wayland).</source>
        <translation>Xサーバー(XWayland)がなく、QtのWayland対応(qt6-waylandパッケージ)も入っていません。</translation>
    </message>
</context>
<context>
    <name>timeAgo</name>
    <message>
        <source>now</source>
        <translation>たった今</translation>
    </message>
    <message>
        <source>%1m ago</source>
        <translation>%1分前</translation>
    </message>
    <message>
        <source>%1h ago</source>
        <translation>%1時間前</translation>
    </message>
    <message>
        <source>%1d ago</source>
        <translation>%1日前</translation>
    </message>
</context>
</TS>
