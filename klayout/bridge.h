#ifndef KLAYOUT_BRIDGE_H
#define KLAYOUT_BRIDGE_H

// What the package's Python calls through ctypes; everything on KLayout's GUI thread. Texts are
// UTF-8; returned ones are valid until the next call.

extern "C" {

/// Is told what the bridge wants of KLayout: an event's name and its argument, see host.h.
typedef void (*sem_event)(const char *name, const char *argument);

/// Starts the background plugin in KLayout's main window. Returns the reason if it cannot, or null.
const char *sem_start(const char *library, sem_event event);
/// Ends the plugin, which saves its settings; KLayout's end does the same.
void sem_stop(void);

/// Puts the docks where they were last; once the window is shown.
void sem_arrange_docks(void);
/// The canvas on the screen now is the one of the tab with the image; 0 if there is none.
int sem_take_canvas(void);
/// What KLayout reports of the tab's view: pixels per micrometre, where the origin lies (pixels
/// from the lower left), and the viewport's size.
void sem_set_view(double magnification, double x, double y, int width, int height);
/// The design in that tab, its extent in database units; a database unit of 0 for none.
void sem_set_design(const char *name, double databaseUnitMetres, double left, double bottom,
                    double right, double top);
/// KLayout's background colour; empty for the palette's.
void sem_set_ground(const char *colour);
/// In which tab the image is, and whether another tab is in front of it.
void sem_show_tab(const char *title, int elsewhere);
/// 0 off, 1 by hand, 2 by two clicks.
void sem_set_mode(int mode);
/// "hand", "clicks", "find", "bringBack", "clone", "centre", "panels"; unknown ones do nothing.
void sem_act(const char *action);
/// Types host and port into the panel, turns the live image on, and presses "connect".
void sem_connect(const char *host, int port);

/// Shapes that were asked for: so many numbers, as hosting::LayerShapes takes them.
void sem_take_shapes(const int *numbers, int count);

/// Writes the live image to a PNG. Returns its matrix as six numbers, m11 m12 m21 m22 dx dy, from
/// pixels about the image's centre (y upwards) to micrometres; or null if there is no image, and
/// empty if the file cannot be written, with a message shown.
const char *sem_write_clone(const char *file);
/// Copies a clone's PNG with the matrix that it has in KLayout now; 0 if it failed, with a message.
int sem_copy_clone(const char *from, const char *to, const double *matrix);
/// The clones in the tab: lines of id, visible (0 or 1) and name, separated by tabs.
void sem_list_clones(const char *lines);
}

#endif
