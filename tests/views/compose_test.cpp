#include "core/store_fixture.h"
#include "doodle/drawing_ns_view.h"
#include "platform/foundation/user_defaults.h"
#include "staging/finders.h"
#include "style/button.h"
#include "views/compose_header.h"
#include "views/compose_view.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>
#include <gmock/gmock.h>

using namespace kivolo;
using namespace std::chrono_literals;

namespace {

/// Says the same for every text.
class ForeignLanguage : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *, const char *, const char *, int) const override
    {
        return QStringLiteral("foreign %1 %2");
    }
};

class ComposeTest : public StoreFixture
{
protected:
    void SetUp() override
    {
        StoreFixture::SetUp();
        startJoined();
        server.answer("/history", R"({"beams":[]})");
        view = std::make_unique<ComposeView>(store, defaults, queue);
        view->resize(520, 720);
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        ASSERT_TRUE(eventually([&] { return server.requestsTo("/history").size() == 1; }));
    }

    void TearDown() override
    {
        view.reset();
        StoreFixture::TearDown();
    }

    bool offers(const char *name) const
    {
        return kivolo::shows<Button>(*view, QLatin1String(name));
    }
    bool says(const char *text) const
    {
        return kivolo::shows<Text>(*view, QString::fromUtf8(text));
    }

    void press(const char *name) const
    {
        QTest::mouseClick(&kivolo::shown<Button>(*view, QLatin1String(name)), Qt::LeftButton);
        QTest::qWait(0); // what a press shows, the layout places in the next turn
    }

    QLineEdit &field() const { return *view->findChild<QLineEdit *>(); }
    void pressReturn() const { QTest::keyClick(&field(), Qt::Key_Return); }

    void markGuidesSeen()
    {
        for (const FeatureGuide guide :
             {FeatureGuide::buzz, FeatureGuide::capsule, FeatureGuide::doodle})
            defaults.setBoolean(QStringLiteral("kivolo_guide_") + rawValue(guide), true);
    }

    /// The one beam that was posted since it was last asked, without what names its sender.
    QByteArray sent()
    {
        EXPECT_TRUE(eventually([&] { return server.requestsTo("/beam").size() > posted; }));
        EXPECT_TRUE(eventually([&] { return !*store->sending; }));
        QTest::qWait(0);
        const auto beams = server.requestsTo("/beam");
        EXPECT_EQ(beams.size(), posted + 1);
        posted = beams.size();
        QJsonObject beam = QJsonDocument::fromJson(beams.last().body).object();
        beam.remove(QStringLiteral("circle_id"));
        beam.remove(QStringLiteral("from_member"));
        return QJsonDocument(beam).toJson(QJsonDocument::Compact);
    }

    void drawAStroke() const
    {
        auto *canvas = allShown<DrawingNSView>(*view).first();
        QTest::mousePress(canvas, Qt::LeftButton, {}, {20, 20});
        QTest::mouseMove(canvas, {90, 60});
        QTest::mouseRelease(canvas, Qt::LeftButton, {}, {90, 60});
    }

    QTemporaryDir folder;
    UserDefaults defaults{folder.filePath(QStringLiteral("kivolo.conf"))};
    std::unique_ptr<ComposeView> view;
    qsizetype posted = 0;
};

TEST_F(ComposeTest, SendsWhatIsTypedAndResetsWhetherItWasTakenOrNot)
{
    markGuidesSeen();
    server.answer("/beam", R"({"ok":true,"id":"b1","created_at":1000})");
    server.answer("/beam", R"({"error":"no"})", 500);
    const QString text = QStringLiteral("  hello \u2028");
    const QByteArray week = QByteArray::number(queue.now() + 604'800);
    const QByteArray day = QByteArray::number(queue.now() + 86'400);

    field().setText(QStringLiteral("   ")); // no note
    pressReturn();
    EXPECT_EQ(server.requestsTo("/beam").size(), 0);
    field().setText(text);
    pressReturn();
    EXPECT_EQ(sent(), R"({"body":"hello","type":"text"})");
    EXPECT_TRUE(field().text().isEmpty());

    ForeignLanguage foreign;
    QCoreApplication::installTranslator(&foreign);
    press("Buzz");
    QCoreApplication::removeTranslator(&foreign);
    EXPECT_EQ(sent(), R"({"body":"Buzzed you!","effect":"shake","type":"text"})");
    field().setText(text);
    press("Buzz");
    EXPECT_EQ(sent(), R"({"body":"hello","effect":"shake","type":"text"})");
    EXPECT_TRUE(field().text().isEmpty());

    press("Capsule");
    pressReturn();
    EXPECT_TRUE(offers("24 hours")) << "sealing nothing disarmed the capsule";
    field().setText(text);
    press("Send time capsule");
    EXPECT_EQ(sent(), R"({"body":"hello","open_at":)" + day + R"(,"type":"text"})");
    EXPECT_TRUE(field().text().isEmpty());
    press("Capsule");
    press("1 week");
    field().setText(text);
    pressReturn();
    EXPECT_EQ(sent(), R"({"body":"hello","open_at":)" + week + R"(,"type":"text"})");
    EXPECT_TRUE(offers("Buzz"));
}

TEST_F(ComposeTest, SendsADrawingOnceAndClosesTheCanvas)
{
    markGuidesSeen();
    server.answer("/beam", R"({"error":"no"})", 500);
    press("Doodle");
    press("Send doodle");
    EXPECT_TRUE(server.requestsTo("/beam").isEmpty()) << "an empty canvas";

    drawAStroke();
    press("Clear");
    press("Send doodle");
    EXPECT_TRUE(server.requestsTo("/beam").isEmpty()) << "a cleared canvas";

    drawAStroke();
    server.hold("/beam");
    press("Send doodle");
    ASSERT_TRUE(eventually([&] { return *store->sending; }));
    QTest::qWait(0);
    EXPECT_TRUE(says("Sending…"));
    server.release("/beam");
    EXPECT_THAT(sent().toStdString(), testing::HasSubstr("data:image/png;base64,iVBORw0KGgo"));
    EXPECT_FALSE(view->findChild<DrawingNSView *>());
    EXPECT_TRUE(offers("Send"));
}

TEST_F(ComposeTest, ExplainsAFeatureUntilItIsUsed)
{
    const QString key = QStringLiteral("kivolo_guide_capsule");
    press("Capsule");
    press("Maybe later");
    EXPECT_FALSE(offers("Maybe later"));

    press("Capsule");
    QTest::keyClick(view->focusWidget(), Qt::Key_Escape);
    QTest::qWait(0);
    EXPECT_FALSE(offers("Maybe later"));

    press("Capsule");
    auto *guide = view->findChild<FeatureGuideCard *>();
    const QPoint beside(5, 5);
    const QPoint onCard = guide->rect().center();
    const auto drag = [&](Qt::MouseButton with, const QPoint &from, const QPoint &to) {
        QTest::mousePress(guide, with, {}, from);
        EXPECT_TRUE(offers("Maybe later")) << "a press is no click";
        QTest::mouseRelease(guide, with, {}, to);
        return !offers("Maybe later");
    };
    EXPECT_FALSE(drag(Qt::LeftButton, beside, onCard));
    EXPECT_FALSE(drag(Qt::LeftButton, onCard, beside));
    EXPECT_FALSE(drag(Qt::LeftButton, beside, {-5, 5})) << "outside of the window";
    EXPECT_TRUE(drag(Qt::LeftButton, beside, {5, view->height() - 5}));
    EXPECT_FALSE(defaults.boolean(key));

    press("Capsule");
    press("Make a capsule");
    EXPECT_TRUE(defaults.boolean(key));
    EXPECT_TRUE(offers("24 hours"));
    press("Cancel");
    press("Capsule");
    EXPECT_TRUE(offers("24 hours"));
}

TEST_F(ComposeTest, NamesTheCircleAndCopiesItsCode)
{
    const auto title = [&](const QStringList &others) {
        QList<Member> members{{.id = *store->memberId, .handle = {}, .emoji = {}, .last_seen = {}}};
        for (const QString &other : others)
            members.append({.id = other, .handle = other, .emoji = {}, .last_seen = {}});
        store->members = members;
        return ComposeHeader::titleText(*store).toStdString();
    };
    EXPECT_EQ(title({}), "Your circle");
    EXPECT_EQ(title({QStringLiteral("<b>%1\n")}), "You & <b>%1 ");
    EXPECT_EQ(title({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}),
              "You & 3 others");
    QTest::qWait(0);
    EXPECT_TRUE(says("Connected · 4/3"));

    press("Copy your invite code");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("AB12CD34"));
    queue.advance(1s);
    press("Copy your invite code");
    EXPECT_TRUE(says("Copied!"));
    queue.advance(500ms);
    EXPECT_TRUE(says("AB12CD34")) << "the first copy ends the confirmation";
}

TEST_F(ComposeTest, RefreshesWhenShownAndAsksNothingMoreOnceHidden)
{
    view->hide();
    server.hold("/me");
    view->show();
    const auto asked = server.requestsTo("/me").size();
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/me").size() > asked; }));
    view->hide();
    server.release("/me");
    view->show();
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/history").size() > 1; }));
    EXPECT_EQ(server.requestsTo("/history").size(), 2) << "the task of before went on";
}

} // namespace
