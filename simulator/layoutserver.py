# Run by KLayout in batch mode: answers what lies in a window of the design in the file DESIGN_FILE.
#
# A request is a line: left bottom right top width height, the window in database units and the size
# of a picture of it in pixels. The answer is a line "kind size" and so many bytes: of kind "shapes"
# 32-bit integers, for each polygon its material, its number of points and their coordinates; of kind
# "picture" a PNG, the materials in its red channel. Ends with its input.
import array
import os
import shutil
import sys

import pya

MATERIALS = 7  # above the substrate
MOST_SHAPES = 100000  # more are painted faster by KLayout than handed over

output = os.dup(1)
os.dup2(2, 1)  # what KLayout itself prints is no answer


def send(kind, payload):
    data = kind.encode() + b" %d\n" % len(payload) + payload
    while data:
        data = data[os.write(output, data):]


def colour(material):
    return material << 16


class Design:
    def __init__(self, path):
        self.view = pya.LayoutView(False)
        self.cellview = self.view.cellview(self.view.load_layout(path, False))
        self.layout, self.cell = self.cellview.layout(), self.cellview.cell
        layers = [(self.layout.get_info(index), index) for index in self.layout.layer_indexes()]
        layers.sort(key=lambda layer: (layer[0].layer, layer[0].datatype, layer[0].name))
        self.layers = [(1 + n % MATERIALS, index, info) for n, (info, index) in enumerate(layers)]
        self.prepare_view()

    def prepare_view(self):
        """Every layer solid and in its material's colour, the later ones on top."""
        for name, value in (("background-color", "#000000"), ("grid-visible", "false"),
                            ("text-visible", "false"), ("cell-box-visible", "false"),
                            ("bitmap-oversampling", "1")):
            self.view.set_config(name, value)
        self.view.max_hier()
        self.view.clear_layers()
        for material, _, info in self.layers:
            properties = pya.LayerProperties()
            properties.source = info.to_s() + "@1"
            properties.dither_pattern = 0
            properties.fill_color = properties.frame_color = colour(material)
            self.view.insert_layer(self.view.end_layers(), properties)
        self.view.update_content()

    def describe(self):
        box = self.cell.bbox()
        if box.empty():
            raise RuntimeError("there is nothing in it")
        return "%r %d %d %d %d" % (self.layout.dbu * 1e-6, box.left, box.bottom, box.right, box.top)

    def found(self, window):
        for material, index, _ in self.layers:
            found = pya.RecursiveShapeIterator(self.layout, self.cell, index, window, False)
            while not found.at_end():
                yield material, found
                found.next()

    def are_few(self, window):
        return not any(n >= MOST_SHAPES for n, _ in enumerate(self.found(window)))

    def shapes(self, window):
        result = array.array("i")
        for material, found in self.found(window):
            polygon = found.shape().polygon
            if polygon is not None:
                polygon = polygon.transformed(found.trans())
                polygon = polygon.resolved_holes() if polygon.holes() else polygon
                points = [c for p in polygon.each_point_hull() for c in (p.x, p.y)]
                result.extend([material, len(points) // 2] + points)
        return result.tobytes()

    def picture(self, window, width, height):
        target = pya.DBox(window) * self.layout.dbu
        return self.view.get_pixels_with_options(width, height, 1, 1, 1, target).to_png_data()

    def answer(self, request):
        left, bottom, right, top, width, height = map(int, request.split())
        window = pya.Box(left, bottom, right, top)
        if width > 0:
            send("picture", self.picture(window, width, height))
        elif self.are_few(window):
            send("shapes", self.shapes(window))
        else:
            send("many", b"")


def requests():
    """Lines of the standard input, as they come."""
    pending = b""
    while True:
        more = os.read(0, 4096)
        if not more:
            return
        *lines, pending = (pending + more).split(b"\n")
        yield from lines


try:
    design = Design(os.environ["DESIGN_FILE"])
    send("design", design.describe().encode())
except Exception as error:
    send("error", str(error).encode())
    os._exit(1)
for request in requests():
    design.answer(request)
shutil.rmtree(os.environ["KLAYOUT_HOME"], ignore_errors=True)  # made for this process
os._exit(0)
