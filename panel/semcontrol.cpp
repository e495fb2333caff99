#include "panel/semcontrol.h"

#include "panel/inputhabits.h"
#include "panel/newestlines.h"

#include <QStringList>

namespace {
enum Page { ConnectionPage, OperatingPage };

const int maximumInfoLength = 64 * 1024;
const int maximumStatusLines = 6;

QString developmentNotice()
{
    return QLatin1String("Under Development\n"
                         "\n"
                         "Please mail a screen copy\n"
                         "of this dialog to\n" SEM_SUPPORT_ADDRESS "\n"
                         "to support its development\n"
                         "\n"
                         "Thanks you!\n");
}

/// Drops the oldest lines below the notice. What came last, from `newest` on, stays however long.
void shorten(QString *text, int newest)
{
    const int excess = text->size() - maximumInfoLength;
    if (excess <= 0)
        return;
    const int notice = developmentNotice().size();
    const int line = text->indexOf(QLatin1Char('\n'), notice + excess);
    text->remove(notice, (line < 0 ? newest : qMin(line, newest)) - notice);
}

/// A tool tip that breaks long lines and takes the text for what it is.
QString toolTipOf(QString text)
{
    text.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    text.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    return QLatin1String("<p style=\"white-space: pre-wrap\">") + text + QLatin1String("</p>");
}

/// Lets a text break, or be cut, where it would otherwise make the panel wider or higher.
void keepWithin(QLabel *label)
{
    label->setWordWrap(true);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    label->setMinimumHeight(label->fontMetrics().lineSpacing());
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
}
} // namespace

semControl::semControl()
{
    setupUi(this);
    stackedWidget->setCurrentIndex(ConnectionPage);
    // The microscope words these texts. Taken for markup, one could have the label load any file.
    infoText->setTextFormat(Qt::PlainText);
    statusDisplay->setTextFormat(Qt::PlainText);
    keepWithin(infoText);
    new NewestLines(infoText);
    keepWithin(statusDisplay);
    statusDisplay->setMaximumHeight(maximumStatusLines * fontMetrics().lineSpacing());
    new InputHabits(this);
}

semControl::~semControl() { }

void semControl::setStatus(QString status)
{
    const QString beginning = status.left(9);
    if (beginning == QLatin1String("disconnec"))
        stackedWidget->setCurrentIndex(ConnectionPage);
    if (beginning == QLatin1String("connected"))
        stackedWidget->setCurrentIndex(OperatingPage);
    if (status.left(5) != QLatin1String("info:")) {
        statusDisplay->setText(status);
        statusDisplay->setToolTip(toolTipOf(status));
        return;
    }
    QString text = infoText->text();
    if (text.isEmpty())
        text = developmentNotice();
    const int newest = text.size();
    text += QLatin1Char('\n') + status.mid(6);
    shorten(&text, newest);
    infoText->setText(text);
    infoText->setToolTip(toolTipOf(status.mid(6))); // the newest may be higher than the label
}

void semControl::detectorInfo(QString info, int index)
{
    QStringList entries;
    QString name;
    int selection = 0;
    const QStringList lines = info.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QStringList parts = lines.at(i).split(QLatin1Char('='));
        if (parts.size() != 2)
            continue;
        const QString &value = parts.at(1);
        if (parts.at(0).contains(QLatin1String(".name"))) {
            name = value;
            continue;
        }
        entries.append(value + QLatin1String(" - ") + name);
        if (value.toInt() == index)
            selection = index;
    }
    detector->insertItems(detector->count(), entries);
    detector->setCurrentIndex(selection);
}
