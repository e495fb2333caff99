// The control panel: status texts and detector lists as the microscope words them.

#include "fuzz/driver.h"
#include "panel/semcontrol.h"

namespace {
bool beginsWith(const QString &text, const char *beginning)
{
    return text.startsWith(QLatin1String(beginning));
}

void showStatus(semControl *panel, const QString &status)
{
    const int page = panel->stackedWidget->currentIndex();
    const QString line = panel->statusDisplay->text(), collected = panel->infoText->text();
    panel->setStatus(status);
    const int expectedPage = beginsWith(status, "connected") ? 1
        : beginsWith(status, "disconnec")                    ? 0
                                                             : page;
    const bool isInfo = beginsWith(status, "info:");
    require(panel->stackedWidget->currentIndex() == expectedPage, "the page follows the status");
    require(panel->statusDisplay->text() == (isInfo ? line : status), "the status line");
    require(isInfo ? panel->infoText->text().startsWith(collected)
                    && panel->infoText->text().endsWith(status.mid(6))
                   : panel->infoText->text() == collected,
            "the information label collects");
}

void showDetectors(semControl *panel, const QString &list, int index)
{
    const int before = panel->detector->count();
    panel->detectorInfo(list, index);
    const int added = panel->detector->count() - before;
    require(added >= 0 && added <= list.count('\n') + 1, "one entry for each line at most");
}
} // namespace

void fuzzOne(Input &input)
{
    static semControl *const panel = new semControl;
    panel->infoText->clear();
    panel->detector->clear();
    while (!input.atEnd()) {
        const int kind = input.byte();
        const QString text = QString::fromLatin1(input.take(2 * input.byte()));
        if (kind % 2 == 0)
            showStatus(panel, text);
        else
            showDetectors(panel, text, kind / 2 - 16);
    }
    // Laying out the texts is where a text that looks like markup would be taken for it.
    panel->sizeHint();
    panel->infoText->heightForWidth(200);
    panel->statusDisplay->heightForWidth(200);
}
