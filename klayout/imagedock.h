#ifndef KLAYOUT_IMAGEDOCK_H
#define KLAYOUT_IMAGEDOCK_H

#include "hosting/imagepainter.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QListWidget;
class QPushButton;
class QSlider;

namespace klayout {

/// What is offered beside the plugin's panel: how the image is painted, in which tab, the clones.
class ImageDock : public QWidget {
    Q_OBJECT
public:
    explicit ImageDock(QWidget *parent = nullptr);

    hosting::DrawingStyle style() const;
    void showTab(const QString &title, bool elsewhere);
    /// Lines of id, visible and name, separated by tabs.
    void showClones(const QString &lines);

signals:
    void styleChanged();
    void outlineOnlyChanged(bool on);
    void designOffChanged(bool off);
    void contoursChanged(bool shown);
    void tabWanted();
    void cloneShown(const QString &id, bool visible);
    void cloneToSave(const QString &id);
    void cloneToRemove(const QString &id);

private:
    QWidget *buildPainting();
    QWidget *buildClones();
    QSlider *addSlider(QGridLayout *grid, int row, const QString &label, const char *name);
    QString currentClone() const;
    void enableCloneButtons();

    QComboBox *m_order;
    QSlider *m_imageOpacity, *m_designOpacity;
    QLabel *m_tab;
    QPushButton *m_takeTab;
    QListWidget *m_clones;
    QPushButton *m_save, *m_remove;
};

} // namespace klayout

#endif
