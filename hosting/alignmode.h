#ifndef HOSTING_ALIGNMODE_H
#define HOSTING_ALIGNMODE_H

#include <QObject>
#include <QPointF>

class QColor;
class QKeyEvent;
class QMouseEvent;
class QPainter;

namespace hosting {

class Background;
struct View;

/// The two ways in which the user moves the live image over the design. By hand: drag moves, Ctrl
/// and drag turns or scales about the pressed point, the arrow keys nudge. Assisted: a click on a
/// point of the image, then one on the design point where it belongs.
class AlignMode : public QObject {
    Q_OBJECT
public:
    enum Mode { Off = 0, Manual = 1, Assisted = 2 };

    explicit AlignMode(Background *background, QObject *parent = nullptr);

    Mode mode() const { return m_mode; }
    void setMode(Mode mode);

    QString title() const;
    QString instruction() const; ///< one line for the user
    QColor colour() const;

    /// Each returns true when the event belonged to the mode; points are screen points of `view`.
    bool mousePress(const QMouseEvent &event, const View &view);
    bool mouseMove(const QMouseEvent &event, const View &view);
    bool mouseRelease(const QMouseEvent &event);
    bool keyPress(const QKeyEvent &event, const View &view);
    /// Whether keyPress() would take the key.
    bool takesKey(const QKeyEvent &event) const;

    /// The frame round the image, and the marks of a drag or click under way.
    void paint(QPainter *painter, const View &view) const;

signals:
    void changed(); ///< mode, instruction or marks
    void modeChanged();

private:
    enum Drag { NoDrag, Moving, Undecided, Turning, Scaling };

    void drag(const QPointF &screen, const View &view);
    void decide(const QPointF &offset);
    void click(const QPointF &design);

    Background *m_background;
    Mode m_mode = Off;
    Drag m_drag = NoDrag;
    QPointF m_pivot; ///< design point where the button went down
    QPointF m_lastScreen, m_lastDesign;
    bool m_havePixel = false; ///< assisted: the image point is chosen
    bool m_missed = false; ///< assisted: the click was beside the image
    QPointF m_pixel;
};

} // namespace hosting

#endif
