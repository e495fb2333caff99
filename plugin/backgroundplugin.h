#ifndef PLUGIN_BACKGROUNDPLUGIN_H
#define PLUGIN_BACKGROUNDPLUGIN_H

// The interface between a layout viewer (the host) and a plugin that supplies a background image.
// This header stands alone: a host copies it, loads the library with QPluginLoader and casts the
// root object with qobject_cast<backgroundPlugIn *>().
//
// Besides these operations the plugin object has signals that the host connects by name:
//   imageUpdate()                     fetch the image again with getImage() and redraw
//   posUpdate()                       ask with getPos() where the image lies and redraw
//   addWidget(QWidget*,QString)       put the control panel into the window under that name
//   removeWidget(QWidget*)            take it out again (reserved, not emitted today)
//   centerImage()                     centre the view on the background image
//   requestAlignManuel()              enter the mode in which the user moves the image by hand
//   requestAlignAssist()              enter the assisted alignment mode
//   requestCloneImage()               keep a copy of the current live image in the layout
//   requestView()                     report the view with getView()
//   requestDefaultMode()              leave the alignment modes
//   requestDesignName()               report the design's name (reserved, not emitted today)
//
// Everything happens on the GUI thread. The host owns the plugin object; the plugin owns the panel.

#include <QtPlugin>
#include <QImage>
#include <QString>

class backgroundPlugIn {
public:
    virtual ~backgroundPlugIn() { }

    /// Builds panel and microscope link and emits addWidget(); once. Connect the signals before.
    virtual void init() = 0;
    /// Stops the reminders to fetch the image; the connection stays up.
    virtual void close() = 0;
    /// The background image, an implicitly shared copy that never changes afterwards.
    virtual QImage getImage() = 0;
    /// Corrects in place the seven values with which the host draws the image: x and y of the image
    /// origin (database units), scaleX and scaleY (database units per pixel), shearH, shearV and
    /// the rotation in degrees. The host maps image pixels to the design with the QMatrix built by
    /// translate(x, y), scale(scaleX, -scaleY), shear(shearH, shearV), rotate(rotation), in order.
    virtual void getPos(double *x, double *y, double *scaleX, double *scaleY, double *shearH,
                        double *shearV, double *rotation) = 0;
    /// The name of the plugin for the user.
    virtual QString getName() = 0;
    /// Tells the length of one database unit of the design in metres.
    virtual void setDatabaseUnits(double units) = 0;
    /// Reports the view: zoom in screen pixels per database unit, the centre in database units, the
    /// size in screen pixels.
    virtual void getView(double zoom, int centreX, int centreY, int width, int height) = 0;
    /// Reports the name of the design on the screen; an alignment stored under it comes back.
    virtual void getDesignName(QString name) = 0;
};

Q_DECLARE_INTERFACE(backgroundPlugIn, "com.omrandel.Quillmap.backgroundPlugIn/1.1")

#endif
