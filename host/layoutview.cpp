#include "host/layoutview.h"
#include "host/background.h"
#include "host/viewdecoration.h"

#include <QElapsedTimer>
#include <QPainter>

namespace viewer {

static const QColor ground(22, 26, 32);

LayoutView::LayoutView(Background *background, QWidget *parent)
    : QWidget(parent)
    , m_background(background)
    , m_alignMode(background)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(200, 150);
    connect(background, &Background::changed, this, [this] { update(); });
    connect(&m_layers, &LayerPicture::ready, this, [this] { update(); });
    connect(&m_alignMode, &AlignMode::changed, this, &LayoutView::alignModeChanged);
}

void LayoutView::setDesign(const DesignPointer &design)
{
    m_scene.design = design;
    m_scene.hiddenLayers.clear();
    requestLayers();
    fitDesign();
}

void LayoutView::setHiddenLayers(const QSet<int> &numbers)
{
    m_scene.hiddenLayers = numbers;
    requestLayers();
}

void LayoutView::setView(const ViewTransform &view)
{
    m_keepFit = false;
    m_view.setCentre(view.centre());
    m_view.setZoom(view.zoom());
    applyView();
}

void LayoutView::showWidth(const QPointF &centre, double widthUnits)
{
    ViewTransform wanted = m_view;
    wanted.setCentre(centre);
    wanted.setZoom(width() / widthUnits);
    setView(wanted);
}

void LayoutView::zoomIn(double factor)
{
    ViewTransform wanted = m_view;
    wanted.zoomAbout(rect().center(), factor);
    setView(wanted);
}

void LayoutView::fitDesign()
{
    if (!m_scene.design)
        return;
    m_view.fit(QRectF(m_scene.design->bounds()), 0.92);
    m_keepFit = true;
    applyView();
}

void LayoutView::centreOnImage()
{
    if (!m_background->isShown())
        return;
    const QSizeF onScreen = m_background->outline().boundingRect().size() * m_view.zoom();
    const double views = qMax(onScreen.width() / width(), onScreen.height() / height());
    if (views < 0.05 || views > 20)
        return fitImage();
    ViewTransform wanted = m_view;
    wanted.setCentre(m_background->centre());
    setView(wanted);
}

void LayoutView::fitImage()
{
    if (!m_background->isShown())
        return;
    ViewTransform wanted = m_view;
    wanted.fit(m_background->outline().boundingRect(), 0.6);
    setView(wanted);
}

void LayoutView::applyView()
{
    requestLayers();
    emit viewChanged();
}

void LayoutView::requestLayers()
{
    m_scene.view = m_view;
    m_scene.devicePixelRatio = devicePixelRatioF();
    m_layers.request(m_scene);
    update();
}

// The keys belong to the mode as soon as the plugin's button has been pressed.
void LayoutView::alignModeChanged()
{
    const bool active = m_alignMode.mode() != AlignMode::Off;
    if (active)
        setFocus();
    if (!active)
        unsetCursor();
    else
        setCursor(m_alignMode.mode() == AlignMode::Manual ? Qt::SizeAllCursor : Qt::CrossCursor);
    update();
}

void LayoutView::resizeEvent(QResizeEvent *)
{
    m_view.setSize(size());
    if (m_keepFit && m_scene.design)
        fitDesign();
    else
        applyView();
}

void LayoutView::paintEvent(QPaintEvent *)
{
    QElapsedTimer timer;
    timer.start();
    {
        QPainter painter(this);
        paintScene(&painter);
    }
    emit painted(timer.nsecsElapsed());
}

void LayoutView::paintScene(QPainter *painter)
{
    painter->fillRect(rect(), ground);
    m_background->paint(painter, m_view);
    m_layers.paint(painter, m_view);
    m_alignMode.paint(painter, m_view);
    if (m_scene.design)
        paintScaleBar(painter, rect(), m_view.zoom() / m_scene.design->databaseUnitMetres());
    else
        paintHint(painter, rect(), tr("Open a GDSII file with Ctrl+O, or drop one here."));
    if (m_alignMode.mode() != AlignMode::Off)
        paintBanner(painter, rect(), m_alignMode.colour(), m_alignMode.title(),
                    m_alignMode.instruction());
}

} // namespace viewer
