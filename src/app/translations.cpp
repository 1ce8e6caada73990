#include "app/translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace kivolo {

static void install(const QLocale &locale, const QString &name, const QString &folder)
{
    auto *translator = new QTranslator(QCoreApplication::instance());
    if (translator->load(locale, name, QStringLiteral("_"), folder))
        QCoreApplication::installTranslator(translator);
}

void installTranslations(const QLocale &locale)
{
    install(locale, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    install(locale, QStringLiteral("kivolo"), QStringLiteral(":/kivolo/translations"));
}

} // namespace kivolo
