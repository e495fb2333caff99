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
        if (!open("TINY", gdsii::rectangle(5, 0, 0, 100, 100)))
            qFatal("cannot open the design");
        window.session()->attach(plugin);
        window.show();
        view->setFixedSize(400, 400);
        QCoreApplication::processEvents();
        look({ 0, 0 }, 1);
    }

    QString write(const QString &name, const QByteArray &bytes)
    {
        QFile file(folder.filePath(name));
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
        return file.fileName();
    }

    bool open(const char *name, const QByteArray &polygons)
    {
        QString error;
        const QByteArray bytes = gdsii::library(gdsii::structure("TOP", polygons), name);
        return window.openDesign(write(QString(name) + ".gds", bytes), &error);
    }

    void look(const QPointF &centre, double zoom)
    {
        viewer::ViewTransform transform;
        transform.setCentre(centre);
        transform.setZoom(zoom);
        view->setView(transform);
    }

    /// The live image `image` at `placement`, fetched and drawn.
    void show(const QImage &image, const viewer::Placement &placement)
    {
        plugin->image = image;
        plugin->place(placement);
        emit plugin->imageUpdate();
        QTRY_COMPARE(window.background()->image().size(), image.size());
    }

    QColor colourAt(double x, double y)
    {
        view->finishDrawing();
        return view->grab().toImage().pixelColor(view->view().toScreen(QPointF(x, y)).toPoint());
    }

    /// Presses at the first of the screen points, moves through the others, releases.
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

inline QImage plain(int size, QRgb colour)
{
    QImage image(size, size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

#endif
