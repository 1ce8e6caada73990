// Uses a program's window from the command line: kivolo-ui --help
#include "ui/user_interface.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <cstdio>
#include <stdexcept>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

constexpr char usage[] = R"(What to do, one of

  press BUTTON         press it through the accessibility bus
  fill FIELD TEXT      put a text into it through the accessibility bus
  click BUTTON         with the mouse
  type FIELD TEXT      with mouse and keys
  draw                 a heart on the canvas, with the mouse
  place X Y            move the window
  wait TEXT            until a text or a name shows
  texts, rows, tree    print what shows: everything, the rows of the list, or a tree

A button, a field or a text goes by the name that it shows. What does not show yet is waited for.)";

void print(const QString &text)
{
    std::printf("%s\n", qUtf8Printable(text));
}

/// Throws std::runtime_error when it cannot be done, and std::invalid_argument when nobody knows
/// what it is.
void carryOut(UserInterface &ui, const QStringList &words)
{
    const QString what = words.value(0);
    const auto is = [&](QLatin1StringView command, qsizetype arguments) {
        return what == command && words.size() == arguments + 1;
    };
    if (is("press"_L1, 1))
        ui.press(words[1]);
    else if (is("fill"_L1, 2))
        ui.fill(words[1], words[2]);
    else if (is("click"_L1, 1))
        ui.click(words[1]);
    else if (is("type"_L1, 2))
        ui.type(words[1], words[2]);
    else if (is("draw"_L1, 0))
        ui.draw();
    else if (is("place"_L1, 2))
        ui.place({words[1].toInt(), words[2].toInt()});
    else if (is("wait"_L1, 1))
        ui.await(words[1]);
    else if (is("texts"_L1, 0))
        print(ui.texts().join(u'\n'));
    else if (is("rows"_L1, 0))
        print(ui.rows().join(u'\n'));
    else if (is("tree"_L1, 0))
        print(ui.tree());
    else
        throw std::invalid_argument("it is not clear what to do; --help tells what can be done");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Uses the window of a running kivolo."_s);
    parser.addHelpOption();
    const QCommandLineOption pid(u"pid"_s, u"The program's process id."_s, u"number"_s);
    const QCommandLineOption patience(u"patience"_s, u"How long to wait for what does not show."_s,
                                      u"seconds"_s, u"30"_s);
    parser.addOptions({pid, patience});
    parser.addPositionalArgument(u"what"_s, QString::fromUtf8(usage), u"WHAT..."_s);
    parser.process(application);

    try {
        const AccessibilityBus bus;
        UserInterface ui(bus, parser.value(pid).toLongLong(),
                         std::chrono::seconds(parser.value(patience).toInt()));
        carryOut(ui, parser.positionalArguments());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "kivolo-ui: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
