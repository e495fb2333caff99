#ifndef HOSTING_CANVASOVERLAY_H
#define HOSTING_CANVASOVERLAY_H

#include "hosting/changedrows.h"
#include "hosting/errorcontour.h"
#include "hosting/imagepainter.h"
#include "hosting/placement.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QRegion>
#include <QTimer>
#include <QWidget>

#include <optional>

class QPaintEvent;
class QPainter;

namespace hosting {

class AlignMode;
class Background;
class PluginSession;
class StatusLine;

/// Paints the live image and the marks of the alignment modes on a canvas that knows nothing of
/// them, and gives the modes its mouse and keys first. The canvas is any widget that paints itself;
/// what it painted last is kept, so that a new image costs no repaint of the design. A canvas that
/// changed has to update more of itself than the image covers, best all: less than that, together
/// with a new image, is taken for the image's.
class CanvasOverlay : public QObject {
    Q_OBJECT
public:
    /// All three must outlive this object.
    CanvasOverlay(PluginSession *session, Background *background, AlignMode *mode);
    ~CanvasOverlay() override;

    /// The canvas that shows the session's view; null for none.
    void setCanvas(QWidget *canvas);
    QWidget *canvas() const { return m_canvas; }

    void setStyle(const DrawingStyle &style);
    const DrawingStyle &style() const { return m_style; }
    /// The canvas's colour where there is no design; the palette's base if invalid, the default.
    void setGround(const QColor &ground);
    /// By how much the canvas draws a design point off the place where Qt's painter puts it, in
    /// device pixels.
    void setSamplingOffset(const QPointF &pixels);
    /// Shows the image alone while true.
    void setDesignOff(bool off);
    /// The key that does it while it is held, with the focus on the canvas; 0 for none.
    void setDesignOffKey(int key) { m_designOffKey = key; }
    /// Shown at the image, which is dimmed while it is not live; null for none, the default. It must
    /// outlive this object.
    void setStatusLine(StatusLine *status);
    /// Whether the predicted error is shown as contours over the design.
    void setContoursShown(bool shown);

    /// Repaints what the live image covers, or covered last.
    void update();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool handleInput(QEvent *event);
    bool handleKey(QEvent *event);
    void takeFocus();
    void paint(QPaintEvent *event);
    void keepPicture(const QRegion &region, QPaintEvent *event);
    QColor ground() const;
    void compose(const QRect &area);
    void composeWithImage(const QRect &window);
    void paintMarks(QPainter *painter) const;
    void paintTexts(QPainter *painter) const;
    QString notice() const;
    QRect imageArea() const;
    QRect statusArea() const;
    QRect coveredArea() const;
    QRect changedArea() const;
    void followBackground();
    void ask(const QRect &area);
    void updateStatus();
    void followAlignment();
    bool showsAnything() const;
    bool changesDesign() const { return m_designOff || m_style.designOpacity < 1; }

    PluginSession *m_session;
    Background *m_background;
    AlignMode *m_mode;
    StatusLine *m_status = nullptr;
    QVector<ErrorContour> m_contours;
    bool m_contoursShown = false;
    QPointer<QWidget> m_canvas;
    bool m_isOpaque = false; ///< the canvas by itself: it paints all of its area
    DrawingStyle m_style;
    QColor m_ground;
    QPointF m_samplingOffset;
    bool m_designOff = false;
    int m_designOffKey = 0;

    QImage m_picture; ///< what the canvas painted last, without us
    QImage m_composed; ///< what was put on it last
    QRegion m_asked; ///< by us, without the canvas having changed
    ChangedRows m_changed; ///< of the image
    QElapsedTimer m_sinceAll; ///< of it was painted
    Placement m_placement; ///< with which it was painted last
    QRect m_covered; ///< by image, its frame and the status line when they were painted last
    std::optional<QPointF> m_cursor; ///< on the canvas
    QString m_notice; ///< last shown
    bool m_dimmed = false;
    QRect m_statusArea; ///< of the status line when it was painted last
    QTimer m_viewChanges; ///< runs on while the canvas paints anew, again and again
    bool m_painting = false;
};

} // namespace hosting

#endif
