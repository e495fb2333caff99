#include "klayout/language.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

namespace klayout {

// Only the first language: who puts English before German reads the texts as they are.
void speakUsersLanguage()
{
    static QTranslator *installed = nullptr;
    if (installed)
        return;
    const QString language = QLocale::system().uiLanguages().value(0).replace('-', '_');
    installed = new QTranslator(qApp);
    if (installed->load(":/translations/sem-background_" + language))
        QCoreApplication::installTranslator(installed);
}

} // namespace klayout
