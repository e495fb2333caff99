#ifndef HOST_LAYOUTVIEW_H
#define HOST_LAYOUTVIEW_H

#include "host/alignmode.h"
#include "host/layerpicture.h"
#include "host/viewtransform.h"

#include <QWidget>

namespace viewer {

class Background;

/// The drawing area: background images, the design's layers above them, scale bar and banner. Left
/// or middle drag pans, the wheel zooms about the cursor; an alignment mode takes the left button.
class LayoutView : public QWidget {
    Q_OBJECT
public:
    explicit LayoutView(Background *background, QWidget *parent = nullptr);

    void setDesign(const DesignPointer &design);
    void setHiddenLayers(const QSet<int> &numbers);

    const ViewTransform &view() const { return m_view; }
    void setView(const ViewTransform &view);
    /// Shows `widthUnits` database units from left to right round `centre`.
    void showWidth(const QPointF &centre, double widthUnits);
    void zoomIn(double factor); ///< about the middle of the view
    void fitDesign();
    /// Centres on the live image; changes the zoom only when it would be a speck or fill the screen
    /// many times over.
    void centreOnImage();
    void fitImage();

    AlignMode *alignMode() { return &m_alignMode; }
    /// Waits for the layers, so that a grabbed picture is complete.
    void finishDrawing() { m_layers.finish(); }

    QSize sizeHint() const override { return QSize(900, 700); }

signals:
    void cursorMoved(const QPointF &design);
    void cursorLeft();
    void viewChanged();
    void painted(qint64 nanoseconds);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    void applyView();
    void requestLayers();
    void alignModeChanged();
    void paintScene(QPainter *painter);

    Background *m_background;
    AlignMode m_alignMode;
    LayerPicture m_layers;
    LayerScene m_scene;
    ViewTransform m_view;
    bool m_keepFit = true; ///< until the user chooses a view, a resize fits the design again
    bool m_panning = false;
    QPointF m_lastPan;
};

} // namespace viewer

#endif
