#ifndef TESTS_STUBPLUGIN_H
#define TESTS_STUBPLUGIN_H

#include "host/placement.h"
#include "plugin/backgroundplugin.h"

#include <QObject>
#include <QWidget>

#include <functional>

/// A background plugin whose every answer a test decides, and which writes down what the host says.
class StubPlugin : public QObject, public backgroundPlugIn {
    Q_OBJECT
    Q_INTERFACES(backgroundPlugIn)
public:
    ~StubPlugin() override { delete panel; }

    QStringList calls; ///< without getImage and getPos, which are counted
    int imageCalls = 0;
    QVector<viewer::Placement> positions; ///< as the host passed them to getPos
    std::function<void(viewer::Placement *)> correct = [](viewer::Placement *) {};
    QImage image;
    QWidget *panel = nullptr;

    void init() override
    {
        calls << "init";
        panel = new QWidget;
        panel->resize(246, 933);
        emit addWidget(panel, "STUB");
    }
    void close() override { calls << "close"; }
    QImage getImage() override
    {
        ++imageCalls;
        return image;
    }
    void getPos(double *x, double *y, double *scaleX, double *scaleY, double *shearH,
                double *shearV, double *rotation) override
    {
        viewer::Placement p{ *x, *y, *scaleX, *scaleY, *shearH, *shearV, *rotation };
        positions.append(p);
        correct(&p);
        *x = p.x;
        *y = p.y;
        *scaleX = p.scaleX;
        *scaleY = p.scaleY;
        *shearH = p.shearH;
        *shearV = p.shearV;
        *rotation = p.rotationDegrees;
    }
    QString getName() override { return "stub"; }
    void setDatabaseUnits(double units) override { calls << QString("units %1").arg(units); }
    void getView(double zoom, int centreX, int centreY, int width, int height) override
    {
        calls << QString("view %1 %2 %3 %4 %5")
                     .arg(zoom)
                     .arg(centreX)
                     .arg(centreY)
                     .arg(width)
                     .arg(height);
    }
    void getDesignName(QString name) override { calls << "name " + name; }

    /// Lets the host take `placement`.
    void place(const viewer::Placement &placement)
    {
        correct = [placement](viewer::Placement *p) { *p = placement; };
        emit posUpdate();
        correct = [](viewer::Placement *) {};
    }
    /// The values the host draws with now.
    viewer::Placement drawnWith()
    {
        emit posUpdate();
        return positions.last();
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
    void alignClear() { calls << "alignClear"; }
};

#endif
