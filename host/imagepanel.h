#ifndef HOST_IMAGEPANEL_H
#define HOST_IMAGEPANEL_H

#include <QWidget>

class QListWidget;
class QPushButton;
class QSlider;

namespace viewer {

class Background;

/// Fades the background image, and lists the stills: switch on and off, save as PNG, remove.
class ImagePanel : public QWidget {
    Q_OBJECT
public:
    explicit ImagePanel(Background *background, QWidget *parent = nullptr);

private:
    void listStills();
    void enableButtons();
    void saveStill();
    void removeStill();

    Background *m_background;
    QSlider *m_fade;
    QListWidget *m_stills;
    QPushButton *m_save, *m_remove;
};

} // namespace viewer

#endif
