#ifndef TESTS_WIREDLINK_H
#define TESTS_WIREDLINK_H

#include "sem/tescan.h"
#include "tests/fakemicroscope.h"

/// A link whose polls only come when a test asks for them, and the microscope it connects to.
struct Wired {
    explicit Wired(int scanSize = 4)
        : link(0, 500, scanSize)
    {
        link.close();
        const auto note = [this](const char *text) { return [this, text] { events << text; }; };
        QObject::connect(&link, &tescan::setStatus, [this](QString text) { events << text; });
        QObject::connect(&link, &tescan::imageChanged, [this] { events << "image " + grey(); });
        QObject::connect(&link, &tescan::stageMoved, note("stageMoved"));
        QObject::connect(&link, &tescan::zoomed, note("zoomed"));
        QObject::connect(&link, &tescan::detectorInfo, [this](QString text, int index) {
            events << QString("detectors %1 %2").arg(text).arg(index);
        });
    }
    void start() { link.connectToSEM("127.0.0.1", microscope.port(), 0); }
    /// Connects, and forgets what was said until then.
    bool up()
    {
        start();
        const bool isUp = spinUntil([this] { return isUpAgain(); });
        microscope.forget();
        events.clear();
        return isUp;
    }
    bool isUpAgain() const
    {
        return link.linkState == tescan::LinkUp && microscope.data
            && microscope.commands().contains("TcpGetSWVersion");
    }
    /// The levels of the frame row by row, in hexadecimal.
    QByteArray grey() const
    {
        QByteArray levels;
        for (int i = 0; i < link.scanSize * link.scanSize; ++i)
            levels += char(qRed(link.image.pixel(i % link.scanSize, i / link.scanSize)));
        return link.image.allGray() ? levels.toHex() : "coloured";
    }

    FakeMicroscope microscope;
    tescan link;
    QStringList events;
};

#endif
