"""Tells the library what KLayout shows, and does in KLayout what the library asks for."""
import ctypes

import pya

from . import bridge, clones, shapes, tools
from .texts import tr

POLL_MS = 300
COLLECT_S = 0.02  # at a time: the live image comes thirty times a second
MESSAGE_MS = 10000


def name_of(layout, cell):
    """Many editors give every library the same name, others none."""
    library = layout.meta_info_value("libname") or ""
    return cell.name if library in ("", cell.name) else library + "/" + cell.name


class Host:
    """One for the main window. The image belongs to one view, `self.view`; it stays there when
    another tab comes to the front, until the user wants it there or its tab is closed."""

    def __init__(self, window):
        self.window, self.view = window, None
        self.outline, self.patterns = False, None
        self.bridge = bridge.load()
        self.event = bridge.EVENT(self.handle)  # kept: the library calls it
        error = self.bridge.sem_start(bridge.plugin_file(), self.event)
        if error:
            raise OSError(error.decode())
        self.factories = [tools.ToolFactory(mode, self) for mode in tools.TOOLS]
        self.entries = tools.add_menu(window, self.bridge.sem_act, self.take_tab)
        self.told, self.arranged, self.upright = {}, False, True
        self.collection = None
        self.collecting = pya.QTimer(window)
        self.collecting.singleShot = True
        self.collecting.timeout = self.collect_shapes
        self.timer = pya.QTimer(window)
        self.timer.timeout = self.tick
        self.timer.start(POLL_MS)
        window.on_current_view_changed += self.poll
        window.on_view_closed += lambda index: self.poll()

    # What KLayout shows. There is no event for a database unit or a colour that changes, so all of
    # it is looked at now and then.

    def tick(self):
        if not self.arranged:
            self.arranged = True
            self.bridge.sem_arrange_docks()
        self.keep_outlines_unsaved()
        self.poll()

    def poll(self):
        if self.view is not None and self.view._destroyed():
            self.view = None
        current = pya.LayoutView.current()
        if self.view is None and current is not None:
            self.follow(current)
        self.tell("sem_set_design", *self.design())
        if self.view is None:
            self.tell("sem_show_tab", b"", 0)
            return
        self.tell("sem_set_ground", self.ground())
        self.tell("sem_list_clones", clones.listing(self.view).encode())
        self.tell("sem_show_tab", self.view.title.encode(), int(current != self.view))
        if current == self.view:
            self.bridge.sem_take_canvas()
        self.show_view()

    def tell(self, function, *values):
        if self.told.get(function) != values:
            self.told[function] = values
            getattr(self.bridge, function)(*values)

    def follow(self, view):
        self.restore_patterns()
        self.view, self.patterns = view, None
        view.on_viewport_changed += self.show_view
        self.told.pop("sem_set_design", None)
        self.on_outline("1" if self.outline else "0")

    def take_tab(self):
        current = pya.LayoutView.current()
        if current is not None and current != self.view:
            self.follow(current)
        self.poll()

    def design(self):
        cellview = self.view.cellview(0) if self.view is not None and self.view.cellviews() else None
        if cellview is None or not cellview.is_valid() or cellview.cell is None:
            return (b"",) + (0.0,) * 5
        layout = cellview.layout()
        # Not the cell that is edited in its place: the coordinates are those of the one around it.
        cell = layout.cell(cellview.ctx_cell_index())
        box = cell.bbox()
        return (name_of(layout, cell).encode(), layout.dbu * 1e-6,
                box.left, box.bottom, box.right, box.top)

    def ground(self):
        colour = self.view.get_config("background-color")
        return b"" if colour == "auto" else colour.encode()

    def show_view(self):
        if self.view is None or self.view._destroyed():
            return
        view, trans = self.view, self.view.viewport_trans()
        upright = trans.angle == 0 and not trans.is_mirror()
        if not upright and self.upright:
            self.on_message(tr("There is no SEM image in a view that is turned or mirrored."))
        self.upright = upright
        self.bridge.sem_set_view(trans.mag if upright else 0, trans.disp.x, trans.disp.y,
                                 view.viewport_width(), view.viewport_height())

    # What the library asks for.

    def handle(self, name, argument):
        handler = getattr(self, "on_" + name.decode().replace("-", "_"))
        try:
            handler(argument.decode())
        except Exception as error:  # within a paint or a socket event there is nobody to catch it
            print("sem_background:", name.decode(), error)

    def on_view(self, _):
        for index in range(self.window.views()):
            if self.window.view(index) == self.view != pya.LayoutView.current():
                self.window.select_view(index)
        self.poll()

    def on_centre(self, argument):
        if self.view is not None:
            self.view.pan_center(pya.DPoint(*map(float, argument.split())))

    def on_mode(self, argument):
        if int(argument) != tools.OFF:
            self.on_view(None)  # it is there that the image can be moved
        if self.view is not None:
            tools.select(self.view, int(argument))

    def on_tab(self, _):
        self.take_tab()

    def on_clone(self, _):
        if self.view is not None and not clones.add(self.view, self.bridge):
            self.on_message(tr("There is no live image to clone."))
        self.poll()

    def on_clone_show(self, argument):
        number, visible = argument.split()
        clones.show(self.view, int(number), visible == "1")

    def on_clone_save(self, argument):
        clones.save(self.view, self.bridge, int(argument))

    def on_clone_remove(self, argument):
        clones.remove(self.view, int(argument))
        self.poll()

    def on_shapes(self, argument):
        self.collection = shapes.Collection(self.view, pya.Box(*map(int, argument.split())))
        self.collect_shapes()

    def collect_shapes(self):
        collection = self.collection
        if collection is None or collection.view != self.view or self.view._destroyed():
            return
        collection.step(COLLECT_S)
        if collection.has_too_many():
            self.on_message(tr("SEM: There are too many shapes around the image to compare it with;"
                               " try a smaller view field or fewer layers."))
        elif not collection.is_complete():
            self.collecting.start(0)
            return
        else:
            numbers = collection.numbers
            buffer = (ctypes.c_int * len(numbers)).from_buffer(numbers)
            self.bridge.sem_take_shapes(buffer, len(numbers))
        self.collection = None

    def on_message(self, text):
        self.window.message(text, MESSAGE_MS)

    def on_warning(self, text):
        pya.MessageBox.warning(tr("SEM image"), text, pya.MessageBox.Ok)

    HOLLOW = 1  # KLayout's fill pattern that is none
    SAVING = ("Session", "Layer Properties")  # in the titles of the dialogs that save patterns

    def keep_outlines_unsaved(self):
        """KLayout asks for a file name before it saves: until that is answered, the layers have the
        user's patterns."""
        dialog = pya.QApplication.activeModalWidget()
        saving = dialog is not None and any(word in dialog.windowTitle for word in self.SAVING)
        if saving:
            self.restore_patterns()
        elif self.outline:
            self.on_outline("1")  # for layers that have come since, too

    def on_outline(self, argument):
        """Layers without fill; the user's patterns come back."""
        self.outline = argument == "1"
        if not self.outline:
            self.restore_patterns()
        elif self.view is not None:
            self.patterns = self.patterns or {}
            for key, layer in self.layers():
                if layer.dither_pattern != self.HOLLOW:  # new, if others are hollow already
                    self.patterns[key] = layer.dither_pattern_(False)
            self.set_patterns(lambda key: self.HOLLOW)

    def restore_patterns(self):
        patterns, self.patterns = self.patterns, None
        if patterns is not None and self.view is not None and not self.view._destroyed():
            self.set_patterns(patterns.get)

    def layers(self):
        """Each layer of all lists with what tells it from others when layers come and go."""
        seen = {}
        for index in range(self.view.num_layer_lists()):
            for layer in self.view.each_layer(index):
                key = (index, layer.source)
                seen[key] = seen.get(key, 0) + 1
                yield key + (seen[key],), layer

    def set_patterns(self, wanted):
        """What is done outside a transaction would end the user's chance to undo."""
        changes = [(layer, wanted(key)) for key, layer in self.layers()
                   if wanted(key) is not None and layer.dither_pattern_(False) != wanted(key)]
        if changes:
            self.view.transaction(tr("SEM outlines"))
            for layer, pattern in changes:
                layer.dither_pattern = pattern
            self.view.commit()
