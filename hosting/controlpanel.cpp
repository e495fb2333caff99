#include "hosting/controlpanel.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QStackedWidget>

namespace hosting {

static const char *const scanLists[] = { "dwellTime", "imageSize" };

template <typename Widget> static Widget *find(QWidget *panel, const char *name)
{
    return panel ? panel->findChild<Widget *>(name) : nullptr;
}

QStackedWidget *ControlPanel::pages() const
{
    return find<QStackedWidget>(m_panel, "stackedWidget");
}

bool ControlPanel::showsConnectionPage() const
{
    return pages() && pages()->currentIndex() == 0;
}

bool ControlPanel::showsOperatingPage() const
{
    return pages() && pages()->currentIndex() == 1;
}

static QString pluginsWord(const char *text)
{
    return QCoreApplication::translate("backgroundSEM", text);
}

bool ControlPanel::saysAlignmentComplete() const
{
    const auto *third = find<QAbstractButton>(m_panel, "align3"); // open once there are two pairs
    return third && third->isEnabled() && status() == pluginsWord("alignment complete");
}

bool ControlPanel::saysAlignmentError() const
{
    return status() == pluginsWord("alignment error");
}

int ControlPanel::rowInWork() const
{
    int row = 0;
    for (const char *name : { "align1", "align2", "align3" }) {
        ++row;
        if (const auto *button = find<QAbstractButton>(m_panel, name))
            if (button->text() == pluginsWord("align"))
                return row;
    }
    return 0;
}

QString ControlPanel::status() const
{
    const auto *status = find<QLabel>(m_panel, "statusDisplay");
    return status ? status->text() : QString();
}

void ControlPanel::setAddress(const QString &host, int port)
{
    if (auto *edit = find<QLineEdit>(m_panel, "host"))
        edit->setText(host);
    if (auto *box = find<QSpinBox>(m_panel, "port"))
        box->setValue(port);
}

QAbstractButton *ControlPanel::button(const char *name) const
{
    return find<QAbstractButton>(m_panel, name);
}

bool ControlPanel::press(const char *name)
{
    QAbstractButton *found = button(name);
    if (found)
        found->click();
    return found;
}

QString ControlPanel::host() const
{
    const auto *edit = find<QLineEdit>(m_panel, "host");
    return edit ? edit->text() : QString();
}

int ControlPanel::port() const
{
    const auto *box = find<QSpinBox>(m_panel, "port");
    return box ? box->value() : 0;
}

bool ControlPanel::showsLiveImage() const
{
    return button("displayLive") && button("displayLive")->isChecked();
}

int ControlPanel::detectorCount() const
{
    const auto *list = find<QComboBox>(m_panel, "detector");
    return list ? list->count() : 0;
}

QString ControlPanel::detector() const
{
    const auto *list = find<QComboBox>(m_panel, "detector");
    return list ? list->currentText() : QString();
}

QStringList ControlPanel::scanSettings() const
{
    QStringList texts;
    for (const char *list : scanLists) {
        const auto *box = find<QComboBox>(m_panel, list);
        texts << (box ? box->currentText() : QString());
    }
    return texts;
}

void ControlPanel::setScanSettings(const QStringList &texts)
{
    for (int i = 0; i < texts.size(); ++i)
        if (auto *box = find<QComboBox>(m_panel, scanLists[i]))
            box->setCurrentText(texts[i]);
}

} // namespace hosting
