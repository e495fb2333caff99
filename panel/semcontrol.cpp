#include "panel/semcontrol.h"

#include <QStringList>

namespace {
enum Page { ConnectionPage, OperatingPage };

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
} // namespace

semControl::semControl()
{
    setupUi(this);
    stackedWidget->setCurrentIndex(ConnectionPage);
    // The microscope words these texts. Taken for markup, one could have the label load any file.
    infoText->setTextFormat(Qt::PlainText);
    statusDisplay->setTextFormat(Qt::PlainText);
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
        return;
    }
    QString text = infoText->text();
    if (text.isEmpty())
        text = developmentNotice();
    infoText->setText(text + QLatin1Char('\n') + status.mid(6));
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
