#include "overlays/beam_notifications.h"

#include "doodle/doodle_url.h"
#include "staging/beams.h"
#include "staging/manual_main_queue.h"
#include "support/eventually.h"

#include <gmock/gmock.h>
#include <limits>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using testing::ElementsAre;

Beam beam(const QString &body, const QString &handle = u"Mia"_s)
{
    Beam result = noteOf(body, body);
    result.from_handle = handle;
    return result;
}

class BeamNotificationsTest : public testing::Test
{
protected:
    void add(const QString &id, std::optional<qint64> openAt)
    {
        Beam sealed = beam(id);
        sealed.open_at = openAt;
        beams.add(sealed, [this](const Beam &due) { opened.push_back(due.id.toStdString()); });
    }

    ManualMainQueue queue{1000};
    std::vector<Notification> shown;
    std::vector<std::string> opened;
    int activations = 0;
    BeamNotifications beams{{queue, [this](const Notification &each) { shown.push_back(each); },
                             [this] { ++activations; }}};
};

TEST_F(BeamNotificationsTest, SayWhatTheCardsSay)
{
    const struct
    {
        const char *what;
        Beam given;
        bool shake;
        QString summary, body;
        std::chrono::milliseconds life;
    } cases[] = {
        {"a note", beam(u"Hi <b>you</b>"_s), false, u"Mia"_s, u"Hi <b>you</b>"_s, 8s},
        {"a buzz", beam(u"Buzzed you!"_s), true, u"Mia · Buzz"_s, u"Buzzed you!"_s, 12s},
        {"two lines for a name", beam(u"Hi"_s, u"Mia\nMoe"_s), false, u"Mia Moe"_s, u"Hi"_s, 8s},
        {"a megabyte", beam(QString(1'000'000, u'x')), false, u"Mia"_s, QString(1024, u'x'), 8s},
    };
    int buzzes = 0;
    for (const auto &[what, given, shake, summary, body, life] : cases) {
        SCOPED_TRACE(what);
        shown.clear();
        beams.show(given, shake);
        ASSERT_EQ(shown.size(), 1U);
        EXPECT_EQ(shown[0].summary, summary);
        EXPECT_EQ(shown[0].body, body);
        EXPECT_EQ(shown[0].life, life);
        EXPECT_EQ(shown[0].urgent, shake);
        EXPECT_EQ(activations, buzzes += shake);
    }
}

TEST_F(BeamNotificationsTest, ShowADoodleAsAPictureAndWhatIsNoneAsText)
{
    QImage drawing(1000, 300, QImage::Format_ARGB32);
    drawing.fill(Qt::black);
    Beam doodle = beam(*encodeDoodle(drawing));
    doodle.type = u"doodle"_s;
    beams.show(doodle, false);
    ASSERT_TRUE(eventually([&] { return shown.size() == 1; }));
    EXPECT_EQ(shown[0].body, u"Doodle"_s);
    EXPECT_EQ(shown[0].picture.size(), QSize(256, 192));
    EXPECT_EQ(shown[0].picture.pixelColor(128, 96), QColor(Qt::black));
    EXPECT_EQ(shown[0].picture.pixelColor(128, 10), QColor(Qt::white));

    doodle.body = u"data:image/png;base64,no picture"_s;
    beams.show(doodle, false);
    ASSERT_TRUE(eventually([&] { return shown.size() == 2; }));
    EXPECT_EQ(shown[1].body, doodle.body);
    EXPECT_TRUE(shown[1].picture.isNull());
}

TEST_F(BeamNotificationsTest, AnnounceACapsuleOnceAndOpenItInTime)
{
    add(u"late"_s, 1090);
    add(u"soon"_s, 1010);
    add(u"late"_s, 1000); // known
    ASSERT_EQ(shown.size(), 2U);
    EXPECT_EQ(shown[0].summary, u"Mia's time capsule"_s);
    EXPECT_EQ(shown[0].body, u"Opens in 1m 30s"_s) << "what is sealed stays hidden";
    EXPECT_EQ(shown[0].life, 8s);
    queue.advance(9s);
    EXPECT_TRUE(opened.empty());
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("soon"));
    queue.setNow(5000); // as after a suspend
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("soon", "late"));
    add(u"past"_s, std::numeric_limits<qint64>::min());
    add(u"timeless"_s, {});
    EXPECT_EQ(shown.back().body, u"Opens in 0s"_s);
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("soon", "late", "past", "timeless"));
    EXPECT_EQ(queue.pending(), 0) << "ticking for nothing";
    add(u"soon"_s, 5004);
    queue.advance(2s);
    EXPECT_EQ(opened.back(), "soon");
}

} // namespace
} // namespace kivolo
