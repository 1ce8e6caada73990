// A program that may run once: says on its output what became of its claim and who knocked.
#include "platform/desktop/single_instance.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    kivolo::SingleInstance instance(QString::fromLocal8Bit(argv[1]));
    const auto say = [](const char *word) {
        std::puts(word);
        std::fflush(stdout);
    };
    QObject::connect(&instance, &kivolo::SingleInstance::raiseRequested, [&] { say("raised"); });
    switch (instance.claim(kivolo::SingleInstance::Ask::ToRaise)) {
    case kivolo::SingleInstance::Outcome::First:
        say("first");
        return QCoreApplication::exec();
    case kivolo::SingleInstance::Outcome::AlreadyRunning:
        say("running");
        return 0;
    case kivolo::SingleInstance::Outcome::Failed:
        say(qUtf8Printable(instance.errorText()));
        return 1;
    }
}
