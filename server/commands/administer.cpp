#include "command.h"
#include "records/wire.h"
#include "rules/caretaker.h"

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <algorithm>
#include <ctime>
#include <iostream>
#include <memory>

namespace kivolo::server {

namespace {

constexpr Seconds day = 86'400;

Seconds secondsNow()
{
    return wholeSeconds(std::chrono::system_clock::now());
}

/// What the commands have in common: the database, opened as a server does, beside those that
/// serve it.
struct Office
{
    explicit Office(const Options &options)
        : ledger(openLedger(databaseOf(options), [] { return std::chrono::system_clock::now(); }))
    {}
    std::unique_ptr<Ledger> ledger;
    Caretaker caretaker{*ledger, systemRandomness};
};

std::string dateOf(Seconds seconds)
{
    const std::time_t time = seconds;
    std::tm utc = {};
    gmtime_r(&time, &utc);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d", &utc)};
}

/// One line; what is in it is separated by tabs, for people and for programs.
template<typename... Cells>
void line(const Cells &...cells)
{
    const char *between = "";
    ((std::cout << std::exchange(between, "\t") << cells), ...);
    std::cout << '\n';
}

void stats(Caretaker &caretaker)
{
    const std::vector<CircleSummary> circles = caretaker.circles();
    std::int64_t members = 0;
    std::int64_t bytes = 0;
    std::int64_t used = 0;
    for (const CircleSummary &circle : circles) {
        members += circle.members;
        bytes += circle.bytes;
        used += circle.lastUse >= secondsNow() - 30 * day ? 1 : 0;
    }
    line("circles", circles.size());
    line("used in 30 days", used);
    line("members", members);
    line("bytes of beams", bytes);
}

void listCircles(Caretaker &caretaker, const std::string &order)
{
    std::vector<CircleSummary> circles = caretaker.circles();
    if (order == "size")
        std::ranges::stable_sort(circles, std::greater(), &CircleSummary::bytes);
    else
        std::ranges::stable_sort(circles, std::less(), &CircleSummary::lastUse);
    line("circle", "members", "seats", "bytes", "last use", "created");
    for (const CircleSummary &circle : circles)
        line(circle.number, circle.members, circle.maxSeats, circle.bytes, dateOf(circle.lastUse),
             dateOf(circle.created));
}

void listMembers(Caretaker &caretaker, std::int64_t circle)
{
    caretaker.circle(circle);
    std::vector<Member> members = caretaker.members(circle);
    line("member", "name", "last seen", "beams", "bytes");
    for (const Sent &sent : caretaker.sent(circle)) {
        const auto found = std::ranges::find(members, sent.sender, &Member::number);
        if (found == members.end()) {
            line(sent.sender, "(left)", "", sent.beams, sent.bytes);
            continue;
        }
        line(found->number, found->handle, dateOf(found->seen), sent.beams, sent.bytes);
        members.erase(found);
    }
    for (const Member &member : members)
        line(member.number, member.handle, dateOf(member.seen), 0, 0);
}

/// Whose beams are meant: a member of a circle, who may have left, or a device.
struct Sender
{
    std::int64_t circle = 0, member = 0;
    std::string device;

    void addTo(CLI::App &command)
    {
        CLI::Option *ofDevice =
            command.add_option("--device", device, "The device that is in the seat now");
        command.add_option("CIRCLE", circle, "Its number, as circles tells it")->excludes(ofDevice);
        command.add_option("MEMBER", member, "The number, as members tells it")->excludes(ofDevice);
    }
    void find(Caretaker &caretaker)
    {
        if (!device.empty()) {
            const Seat seat = caretaker.seatOf(device);
            circle = seat.circle.number;
            member = seat.member.number;
        }
        if (member == 0)
            throw std::runtime_error("a circle and a member have to be named, or a --device");
        caretaker.circle(circle);
    }
};

/// Adds a command that does that in the office.
template<typename What>
CLI::App &addDeed(CLI::App &app, const Options &options, Action &action, const char *name,
                  const char *meaning, What what)
{
    CLI::App &command = addCommand(app, name, meaning);
    command.callback([&options, &action, what] {
        action = [&options, what] {
            Office office(options);
            what(office.caretaker);
            std::cout.flush();
        };
    });
    return command;
}

/// One that is about a circle.
template<typename What>
void addCircleDeed(CLI::App &app, const Options &options, Action &action, const char *name,
                   const char *meaning, What what)
{
    const auto circle = std::make_shared<std::int64_t>();
    addDeed(app, options, action, name, meaning,
            [circle, what](Caretaker &caretaker) { what(caretaker, *circle); })
        .add_option("CIRCLE", *circle, "Its number, as circles tells it")
        ->required();
}

/// One that is about what somebody has sent.
template<typename What>
void addSenderDeed(CLI::App &app, const Options &options, Action &action, const char *name,
                   const char *meaning, What what)
{
    const auto sender = std::make_shared<Sender>();
    CLI::App &command =
        addDeed(app, options, action, name, meaning, [sender, what](Caretaker &caretaker) {
            sender->find(caretaker);
            what(caretaker, *sender);
        });
    sender->addTo(command);
}

} // namespace

void addAdministration(CLI::App &app, const Options &options, Action &action)
{
    addDeed(app, options, action, "stats", "Says how much there is of everything", stats);
    const auto order = std::make_shared<std::string>("size");
    addDeed(app, options, action, "circles", "Lists the circles",
            [order](Caretaker &caretaker) { listCircles(caretaker, *order); })
        .add_option("--by", *order, "size: the largest first; use: the longest unused first")
        ->option_text("size|use [size]")
        ->check(CLI::IsMember({"size", "use"}));
    addCircleDeed(app, options, action, "members",
                  "Lists who is in a circle, and what each has sent", listMembers);
    addSenderDeed(app, options, action, "remove-member",
                  "Frees a member's seat; what was sent stays",
                  [](Caretaker &caretaker, const Sender &sender) {
                      caretaker.removeMember(sender.circle, sender.member);
                  });
    addCircleDeed(
        app, options, action, "change-code", "Gives a circle another code, and prints it",
        [](Caretaker &caretaker, std::int64_t circle) { line(caretaker.changeCode(circle)); });
    // So that servers have told those who wait in it, before it is forgotten.
    addCircleDeed(app, options, action, "delete-circle", "Removes a circle with all that is in it",
                  [](Caretaker &caretaker, std::int64_t circle) {
                      caretaker.removeCircle(circle, std::chrono::seconds(1));
                      caretaker.giveRoomBack();
                  });
    addSenderDeed(app, options, action, "export",
                  "Prints what somebody has sent, a beam in each line",
                  [](Caretaker &caretaker, const Sender &sender) {
                      caretaker.eachSent(sender.circle, sender.member,
                                         [](const Beam &beam) { line(wire::beam(beam)); });
                  });
    addSenderDeed(app, options, action, "erase", "Removes what somebody has sent",
                  [](Caretaker &caretaker, const Sender &sender) {
                      line(caretaker.erase(sender.circle, sender.member), "beams were removed");
                      caretaker.giveRoomBack();
                  });
}

} // namespace kivolo::server
