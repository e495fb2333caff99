#ifndef BENCH_KLAYOUT_CANVASWATCH_H
#define BENCH_KLAYOUT_CANVASWATCH_H

#include <QColor>
#include <QElapsedTimer>
#include <QObject>
#include <QVector>
#include <QWidget>

/// Sees what is painted on KLayout's canvas, by whom and when. To be made after the package has
/// taken the canvas.
class CanvasWatch : public QObject {
public:
    explicit CanvasWatch(QWidget *canvas);

    /// From now on there is an image: the package lets KLayout paint, and paints over it.
    void expectImage() { m_passesOfOwnPaint = 2; }

    /// Begins to count and to time.
    void start();
    int images() const { return m_images; } ///< paints that brought new scan data
    int ownPaints() const { return m_ownPaints; } ///< those for which KLayout painted itself
    double seconds() const { return m_clock.nsecsElapsed() * 1e-9; }
    /// From start() to the end of the last paint that was KLayout's own; negative if there was
    /// none.
    double lastOwnPaintMs() const { return m_lastOwnPaintMs; }
    /// For pixels that changed: how long ago they went out at the other end.
    const QVector<double> &agesMs() const { return m_agesMs; }

protected:
    bool eventFilter(QObject *canvas, QEvent *event) override;

private:
    void look();

    QWidget *m_canvas;
    int m_passesOfOwnPaint = 1;
    int m_passes = 0; ///< of the paint event under way
    int m_images = 0, m_ownPaints = 0;
    double m_lastOwnPaintMs = -1;
    QElapsedTimer m_clock;
    QVector<QRgb> m_seen; ///< some pixels of each row
    QVector<double> m_agesMs;
};

#endif
