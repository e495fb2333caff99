#ifndef TESTS_STUBPLUGIN_H
#define TESTS_STUBPLUGIN_H

#include "host/placement.h"
#include "plugin/backgroundplugin.h"

#include <QObject>
#include <QWidget>

#include <functional>
#include <tuple>

/// A background plugin whose every answer a test decides, and which writes down what the host says.
class StubPlugin : public QObject, public backgroundPlugIn {
    Q_OBJECT
    Q_INTERFACES(backgroundPlugIn)
public:
    QStringList calls; ///< without getImage and getPos
    int imageCalls = 0;
    viewer::Placement passed; ///< to getPos by the host
    std::function<void(viewer::Placement *)> correct; ///< makes the answer of getPos
    QImage image;
    QWidget *panel = nullptr;
    bool placed = false;

    ~StubPlugin() override { delete panel; }
    void init() override
    {
        panel = new QWidget;
        emit addWidget(panel, "STUB");
    }
    void close() override { }
    QImage getImage() override
    {
        ++imageCalls;
        return image;
    }
    void getPos(double *x, double *y, double *scaleX, double *scaleY, double *shearH,
                double *shearV, double *rotation) override
    {
        passed = { *x, *y, *scaleX, *scaleY, *shearH, *shearV, *rotation };
        viewer::Placement p = passed;
        if (correct)
            correct(&p);
        std::tie(*x, *y, *scaleX, *scaleY, *shearH, *shearV, *rotation) =
            std::tie(p.x, p.y, p.scaleX, p.scaleY, p.shearH, p.shearV, p.rotationDegrees);
    }
    QString getName() override { return "stub"; }
    void setDatabaseUnits(double units) override { calls << QString("units %1").arg(units); }
    void getView(double zoom, int x, int y, int width, int height) override
    {
        calls << QString::asprintf("view %g %d %d %d %d", zoom, x, y, width, height);
    }
    void getDesignName(QString name) override { calls << "name " + name; }

    /// Lets the host take `placement`.
    void place(const viewer::Placement &placement)
    {
        correct = [placement](viewer::Placement *p) { *p = placement; };
        emit posUpdate();
        correct = nullptr;
    }
    /// Places the image as after connecting or "clear alignment".
    void placeFirst(const viewer::Placement &placement)
    {
        placed = true;
        correct = [this, placement](viewer::Placement *p) {
            *p = placement;
            emit centerImage();
        };
        emit posUpdate();
        correct = nullptr;
    }
    /// The seven values the host draws with now.
    QString drawnWith()
    {
        emit posUpdate();
        const viewer::Placement &p = passed;
        return QString::asprintf("%g %g %g %g %g %g %g", p.x, p.y, p.scaleX, p.scaleY, p.shearH,
                                 p.shearV, p.rotationDegrees);
    }

signals:
    void imageUpdate();
    void posUpdate();
    void addWidget(QWidget *, QString);
    void removeWidget(QWidget *);
    void centerImage();
    void requestAlignManuel();
    void requestAlignAssist();
    void requestCloneImage();
    void requestView();
    void requestDefaultMode();
    void requestDesignName();

public slots:
    void alignAssist() { emit requestAlignAssist(); }
    void alignClear()
    {
        calls << "alignClear";
        if (placed)
            placeFirst(passed);
    }
};

#endif
