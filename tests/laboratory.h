#ifndef TESTS_LABORATORY_H
#define TESTS_LABORATORY_H

#include "hosting/background.h"
#include "hosting/pluginsession.h"
#include "tests/fakemicroscope.h"

#include <QLineF>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

using namespace hosting;

const hosting::Design chip = { "chip;1/TOP", 1e-9, QRectF() },
                      other = { "other/TOP", 1e-8, QRectF() };

inline QImage plain(int size, const QColor &colour)
{
    QImage image(size, size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

inline bool areNear(const QPolygonF &is, const QPolygonF &should, double tolerance)
{
    const auto near = [=](QPointF a, QPointF b) { return QLineF(a, b).length() < tolerance; };
    return std::equal(is.begin(), is.end(), should.begin(), should.end(), near);
}

/// A host with the library, a microscope whose wafer lies turned and stretched, and the user.
struct Laboratory {
    QTemporaryDir folder;
    FakeMicroscope microscope;
    Background background;
    QScopedPointer<PluginSession> session;
    QPointF stageMm = { 1, 2 };
    double fieldMm = 0.5;
    int pixels = 512;
    Pose pose = { 1.05, 1.03, 0.02, 0, 11 }; ///< in which the user puts the image
    Design design = chip;
    bool connected = false, shownElsewhere = false;

    Laboratory()
    {
        QCoreApplication::setOrganizationName("layout-tests");
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.path());
        const auto look = [this] { shownElsewhere |= background.isShown() && !isInPlace(); };
        QObject::connect(&background, &Background::changed, &background, look,
                         Qt::QueuedConnection);
        QObject::connect(&microscope.dataServer, &QTcpServer::newConnection, [this] { report(); });
    }
    void report()
    {
        microscope.setStage(stageMm.x(), stageMm.y());
        microscope.setViewField(fieldMm);
    }
    bool moves(const QPointF &byMm)
    {
        const QTransform before = background.placement().toTransform();
        stageMm += byMm;
        report();
        return spinUntil([&] { return background.placement().toTransform() != before; });
    }
    bool press(const char *button) { return session->panel()->press(button); }
    void setScan(const QString &texts) { session->panel()->setScanSettings(texts.split(' ')); }
    void start()
    {
        QString error;
        session.reset();
        session.reset(new PluginSession(&background));
        session->setView({ { 1000, 2000 }, 0.001, { 800, 600 } });
        session->setDesign(design);
        session->load(LIBRARY_FILE, &error);
        session->panel()->setAddress("127.0.0.1", microscope.port());
        connected = press("connectButton");
    }
    double nominal() const { return fieldMm * 1e6 / pixels; } ///< database units per pixel
    Placement expected() const
    {
        const auto wafer = QTransform(-1.02e6, 0, 0, -1.02e6, 3e5, -2e5).rotate(12);
        const Placement p = { 0,           0, pose.scaleX * nominal(), pose.scaleY * nominal(),
                              pose.shearH, 0, pose.rotationDegrees };
        return p.moved(wafer.map(stageMm) - p.centre(pixels));
    }
    bool isInPlace() const
    {
        const QPolygonF frame(QRectF(0, 0, pixels, pixels));
        return areNear(background.outline(), expected().toTransform().map(frame), nominal() / 100);
    }
    bool seesStage(bool moving) const
    {
        return spinUntil([=] { return session->isStageMoving() == moving; });
    }
    /// Puts the image where it belongs, with a row of the panel.
    bool align(const char *row)
    {
        const bool moved = moves({ 0.7, -0.4 }) && press(row);
        background.setPlacement(expected());
        return moved && press(row);
    }
    void edit(double degrees, double factor)
    {
        Placement p = background.placement();
        pose.rotationDegrees = p.rotationDegrees += degrees;
        background.setPlacement(p.scaled({}, factor));
    }

    /// Does what a word says; true once the image is where it can be for now.
    bool act(const QString &word)
    {
        const QMap<QString, std::function<void()>> acts = {
            { "restart", [this] { start(); } },
            { "connect", [this] { connected = press("connectButton"); } },
            { "disconnect", [this] { connected = !press("disconnectButton"); } },
            { "origin", [this] { stageMm = QPointF(); } },
            { "away", [this] { stageMm *= 2; } },
            { "pair", [this] { press("align3"), edit(0, 2); } },
            { "seek",
              [this] {
                  press("align3"), fieldMm = 0.3, moves({ 1, 1 });
              } },
            { "clear", [this] { press("alignClear"); } },
            { "back", [this] { session->bringBackAlignment(); } },
            { "turn", [this] { edit(5, 1); } },
            { "grow", [this] { edit(0, 1.5), pose.scaleX = pose.scaleY = 1; } }, // until "zoom"
            { "zoom", [this] { fieldMm = 0.2, moves({}); } },
            { "fine", [this] { setScan("500ns 1024x1024"), pixels = 1024; } },
            { "slow",
              [this] { setScan("100000ns 512x512"); } }, // which the plugin does not restore
            { "close", [this] { design = Design(); } },
            { "other", [this] { design = other; } },
            { "chip", [this] { design = chip; } },
        };
        shownElsewhere = false;
        acts[word]();
        session->setDesign(design);
        return spinUntil([this] {
            const bool told = background.isShown() || !session->notice().isEmpty();
            return !connected || (told && session->panel()->showsOperatingPage());
        });
    }
};

#endif
