#ifndef TESTS_ALIGNMENTBENCH_H
#define TESTS_ALIGNMENTBENCH_H

#include "tests/pluginfixture.h"

#include <QLabel>
#include <QPushButton>

#include <cmath>

/// A host and a microscope, stage at (10, 20), view field 1 mm.
struct Bench : PluginFixture {
    static const int edge = 512; ///< of the image, pixels

    Bench()
        : PluginFixture(LIBRARY_FILE)
    {
        microscope.answers["GetViewField"] = wire::real(1);
        microscope.answers["StgGetPosition"] = wire::position(10, 20);
    }
    bool place()
    {
        const bool placed = PluginFixture::place(&microscope);
        forget();
        return placed;
    }
    void forget()
    {
        events.clear();
        microscope.forget();
    }
    /// Lets the microscope report something new; true once the host was asked to place the image.
    bool report(const std::function<void()> &send)
    {
        events.clear();
        send();
        return spinUntil([this] { return events.contains("posUpdate"); });
    }
    /// Unanswered: the plugin knows while the host has not got round to placing the image.
    bool stage(const QPointF &at, bool answered = true)
    {
        answering = answered;
        const bool reported = report([&] { microscope.setStage(at.x(), at.y()); });
        answering = true;
        return reported;
    }
    bool viewField(double viewFieldMm)
    {
        return report([&] { microscope.setViewField(viewFieldMm); });
    }
    /// As the user does in the host's manual alignment mode.
    void dragImageTo(const QPointF &design)
    {
        values[0] += design.x() - centre(edge).x();
        values[1] += design.y() - centre(edge).y();
    }
    bool imageAt(const QPointF &design) const
    {
        const QPointF off = centre(edge) - design;
        return std::hypot(off.x(), off.y()) < 0.01;
    }
    QVector<double> placement() const { return { values, values + 7 }; }
    /// Each row as "+text icon" or "-text icon", the clear button as "+" or "-".
    QString rows() const
    {
        QStringList texts;
        for (const QString name : { "align1", "align2", "align3" }) {
            const auto *button = panel->findChild<QPushButton *>(name);
            texts << (button->isEnabled() ? '+' : '-') + button->text();
            const QPixmap *shown = panel->findChild<QLabel *>(name + "status")->pixmap();
            for (const QString icon : { "ok", "editicon" })
                if (shown && shown->toImage() == QPixmap(":/icons/" + icon + ".png").toImage())
                    texts.last() += ' ' + icon;
        }
        const bool clear = widget<QPushButton>("alignClear")->isEnabled();
        return texts.join(", ") + (clear ? " +" : " -");
    }

    FakeMicroscope microscope;
};

#endif
