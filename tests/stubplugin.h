#ifndef TESTS_STUBPLUGIN_H
#define TESTS_STUBPLUGIN_H

#include "hosting/placement.h"
#include "plugin/backgroundplugin.h"

#include <QPointer>
#include <QStackedWidget>

#include <functional>
#include <tuple>

/// A background plugin whose answers a test decides, and which writes down what the host says.
class StubPlugin : public QObject, public backgroundPlugIn {
    Q_OBJECT
    Q_INTERFACES(backgroundPlugIn)
public:
    QPointer<QWidget> panel = new QWidget;
    QStackedWidget *pages = new QStackedWidget(panel); ///< 0 to connect, 1 to operate
    QStringList calls; ///< what the host said
    int fetched = 0; ///< images
    QImage image;
    std::function<void(hosting::Placement *)> correct; ///< makes the answer of getPos

    StubPlugin()
    {
        pages->setObjectName("stackedWidget");
        pages->addWidget(new QWidget);
        pages->addWidget(new QWidget);
    }
    ~StubPlugin() override { delete panel; }
    void init() override { emit addWidget(panel, "STUB"); }
    void close() override { }
    QImage getImage() override { return ++fetched, image; }
    void getPos(double *x, double *y, double *sx, double *sy, double *h, double *v,
                double *angle) override
    {
        hosting::Placement p = { *x, *y, *sx, *sy, *h, *v, *angle };
        if (correct)
            correct(&p);
        std::tie(*x, *y, *sx, *sy, *h, *v, *angle) =
            std::tie(p.x, p.y, p.scaleX, p.scaleY, p.shearH, p.shearV, p.rotationDegrees);
    }
    QString getName() override { return "stub"; }
    void setDatabaseUnits(double units) override { calls << QString("units %1").arg(units); }
    void getView(double zoom, int x, int y, int width, int height) override
    {
        calls << QString::asprintf("view %g %d %d %d %d", zoom, x, y, width, height);
    }
    void getDesignName(QString name) override { calls << "name " + name; }

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
};

#endif
