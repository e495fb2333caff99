#ifndef TESTS_VIEWERFIXTURE_H
#define TESTS_VIEWERFIXTURE_H

#include "host/layoutview.h"
#include "host/mainwindow.h"
#include "tests/gdsiibytes.h"
#include "tests/stubplugin.h"

#include <QTemporaryDir>
#include <QtTest>

/// The real window with a stub plugin, on a design of one square, layer 5, from (0, 0) to (100,
/// 100). The view is 400 x 400 pixels, one pixel per database unit, the design's origin in its
/// middle.
struct ViewerFixture {
    QTemporaryDir folder;
    viewer::MainWindow window;
    StubPlugin *plugin = new StubPlugin;
    viewer::LayoutView *view = window.view();

    ViewerFixture()
    {
        const QByteArray square = gdsii::rectangle(5, 0, 0, 100, 100);
        QString error;
        if (!window.openDesign(write("square.gds", gdsii::library(gdsii::structure("TOP", square))),
                               &error))
            qFatal("%s", qPrintable(error));
        window.session()->attach(plugin);
        window.show();
        view->setFixedSize(400, 400);
        QCoreApplication::processEvents();
        viewer::ViewTransform transform;
        transform.setZoom(1);
        view->setView(transform);
    }

    QString write(const QString &name, const QByteArray &bytes)
    {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write a file");
        return file.fileName();
    }

    /// The live image `image` at `placement`, fetched and drawn.
    void show(const QImage &image, const viewer::Placement &placement)
    {
        plugin->image = image;
        plugin->place(placement);
        emit plugin->imageUpdate();
        QTRY_COMPARE(window.background()->image().size(), image.size());
    }

    QColor colourAt(double designX, double designY)
    {
        view->finishDrawing();
        return view->grab().toImage().pixelColor(
            view->view().toScreen(QPointF(designX, designY)).toPoint());
    }

    /// Presses the left button at the first of the screen points, moves through the others,
    /// releases.
    void drag(const QVector<QPoint> &points, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
              Qt::MouseButton button = Qt::LeftButton)
    {
        QTest::mousePress(view, button, modifiers, points.first());
        for (const QPoint &point : points.mid(1)) {
            QMouseEvent move(QEvent::MouseMove, point, Qt::NoButton, button, modifiers);
            QCoreApplication::sendEvent(view, &move);
        }
        QTest::mouseRelease(view, button, modifiers, points.last());
    }
};

/// Two by two pixels: red and green above blue and white.
inline QImage fourColours()
{
    QImage image(2, 2, QImage::Format_RGB32);
    image.setPixel(0, 0, 0xffff0000);
    image.setPixel(1, 0, 0xff00ff00);
    image.setPixel(0, 1, 0xff0000ff);
    image.setPixel(1, 1, 0xffffffff);
    return image;
}

inline QImage plain(int size, QRgb colour)
{
    QImage image(size, size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

#endif
