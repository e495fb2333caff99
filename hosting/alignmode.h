#ifndef HOSTING_ALIGNMODE_H
#define HOSTING_ALIGNMODE_H

#include "hosting/movehistory.h"

#include <QObject>
#include <QPointF>
#include <QTimer>

class QColor;
class QInputEvent;
class QKeyEvent;
class QMouseEvent;
class QPainter;

namespace hosting {

class Background;
struct View;

/// The two ways in which the user moves the live image over the design. By hand: drag moves, Ctrl
/// and drag turns or scales about the pressed point, the arrow keys do the same in small steps,
/// with Ctrl about the image's centre; all of it is ten times finer while Shift is held. Assisted:
/// a click on a point of the image, then one on the design point where it belongs.
///
/// A drag, a pair of clicks, and a run of keys with less than a second between two of them are one
/// step of the history each. While there is a step to undo or redo, Ctrl+Z, Ctrl+Shift+Z and Ctrl+Y
/// are the mode's keys.
class AlignMode : public QObject {
    Q_OBJECT
public:
    enum Mode { Off = 0, Manual = 1, Assisted = 2 };

    explicit AlignMode(Background *background, QObject *parent = nullptr);

    Mode mode() const { return m_mode; }
    void setMode(Mode mode);
    /// Ends the mode when what the user moved has been made use of and is not to be undone.
    void finish();
    /// Assisted: the image's centre is the chosen point from now on.
    void chooseCentre();
    /// Moves the image there, as one step of the history.
    void put(const Placement &placement);
    /// True while the user is about to move the image: between two clicks, in a drag, among keys.
    bool isMoving() const { return m_drag != NoDrag || m_havePixel || m_nudging.isActive(); }
    MoveHistory *history() { return &m_history; }

    /// In which the readout is given; 0, the default, for database units.
    void setDatabaseUnit(double metres) { m_databaseUnitMetres = metres; }

    QString title() const;
    /// One line for the user: what to do, or the readout.
    QString instruction() const;
    /// True while a drag or a run of keys moves the image: the line then says how far and whither,
    /// by which angle (counter-clockwise) and factor, and changes whenever the background does.
    bool isReadingOut() const { return m_readingOut; }
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
    void findWanted(); ///< with the key F: where the image belongs
    void escaped(); ///< the mode was left with Esc
    /// The chosen point of the image, now at this design point, should become its centre first;
    /// whoever brings it there calls chooseCentre().
    void centreWanted(const QPointF &design);

private:
    enum Drag { NoDrag, Moving, Undecided, Turning, Scaling };

    using HistoryStep = void (MoveHistory::*)();

    void drag(const QPointF &screen, const View &view, double fineness);
    void decide(const QPointF &offset);
    void click(const QPointF &design);
    HistoryStep historyStepOf(const QKeyEvent &event) const;
    bool wantsCentre(const QKeyEvent &event) const;
    static bool wantsFinding(const QKeyEvent &event);
    void nudge(const QPointF &steps, bool turnsOrScales, const View &view);
    static double fineness(const QInputEvent &event);

    void beginMove();
    void endMove();
    void move(const QPointF &offset);
    void turn(const QPointF &pivot, double steps);
    void scale(const QPointF &pivot, double steps);
    QString readout() const;

    Background *m_background;
    MoveHistory m_history;
    double m_databaseUnitMetres = 0;
    Mode m_mode = Off;
    Drag m_drag = NoDrag;
    QPointF m_pivot; ///< design point where the button went down
    QPointF m_lastScreen, m_lastDesign;
    bool m_havePixel = false; ///< assisted: the image point is chosen
    bool m_missed = false; ///< assisted: the click was beside the image
    QPointF m_pixel;

    // By the drag or the run of keys under way:
    QTimer m_nudging; ///< active within a run of keys
    bool m_readingOut = false;
    QPointF m_moved; ///< database units
    double m_degrees = 0, m_factor = 1;
};

} // namespace hosting

#endif
