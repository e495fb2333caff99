#ifndef HOSTING_CONTROLPANEL_H
#define HOSTING_CONTROLPANEL_H

#include <QPointer>
#include <QStringList>
#include <QWidget>

class QAbstractButton;
class QStackedWidget;

namespace hosting {

/// A plugin's control panel as its host may look at it: the object names of its widgets are part of
/// the interface. Without a panel, or with one that lacks a widget, questions are answered with no
/// and nothing is done.
class ControlPanel {
public:
    void setWidget(QWidget *panel) { m_panel = panel; }
    QWidget *widget() const { return m_panel; }

    QStackedWidget *pages() const;
    bool showsConnectionPage() const;
    bool showsOperatingPage() const;
    /// Whether the last pair gave a map: plugins say it in the status line.
    bool saysAlignmentComplete() const;
    bool saysAlignmentError() const;
    /// The row, 1 to 3, whose pair is being positioned; 0 for none.
    int rowInWork() const;

    QString status() const; ///< the status line

    /// Host and port of the microscope, as if typed.
    void setAddress(const QString &host, int port);
    bool press(const char *button);
    QAbstractButton *button(const char *name) const; ///< null if there is none

    QString host() const;
    int port() const; ///< 0 if it is not known
    bool showsLiveImage() const; ///< whether that is the display mode chosen
    int detectorCount() const; ///< of those listed; the list only grows
    QString detector() const; ///< the one chosen

    /// What is chosen for dwell time and image size, which plugins do not always restore.
    QStringList scanSettings() const;
    void setScanSettings(const QStringList &texts);

private:
    QPointer<QWidget> m_panel;
};

} // namespace hosting

#endif
