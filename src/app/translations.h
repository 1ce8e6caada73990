// The program's texts in the user's language.
#pragma once

class QLocale;

namespace kivolo {

/// Installs the translation for `locale` into the application object, together with that of
/// Qt's own texts where the system has it. English needs none, and serves where there is none.
/// To be called before the first text is shown.
void installTranslations(const QLocale &locale);

} // namespace kivolo
