#include "app/translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace kivolo {

/// What is written in `language`, or else where most of those live who speak it.
static bool load(QTranslator &translator, const QLocale &language, const QString &name,
                 const QString &folder)
{
    const QString underscore = QStringLiteral("_");
    return translator.load(name + underscore + language.name(), folder) ||
           translator.load(name + underscore + QLocale(language.language()).name(), folder);
}

static void install(const QLocale &locale, const QString &name, const QString &folder)
{
    auto *translator = new QTranslator(QCoreApplication::instance());
    for (const QString &each : locale.uiLanguages()) {
        const QLocale language(each);
        if (language.language() == QLocale::English)
            return;
        if (load(*translator, language, name, folder)) {
            QCoreApplication::installTranslator(translator);
            return;
        }
    }
}

void installTranslations(const QLocale &locale)
{
    install(locale, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    install(locale, QStringLiteral("kivolo"), QStringLiteral(":/kivolo/translations"));
}

} // namespace kivolo
