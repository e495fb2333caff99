# Run by KLayout in batch mode: answers what lies under a rectangle of pixels of a microscope's frame,
# in the design of the file DESIGN_FILE.
#
# A request is a line: width and height in pixels, how many samples a picture takes along each side
# of a pixel, then how the design lies under the pixels: pixels per database unit, degrees, and where
# its origin is, in pixels from the lower left corner. The answer is a line "kind size" and so many
# bytes: of kind "shapes" 32-bit integers, for each polygon its material, its number of points and
# their coordinates; of kind "picture" a PGM, the materials its grey levels; of kind "error" a text.
# Ends with its input.
import array
import os
import shutil
import signal

import pya

MATERIALS = 7  # above the substrate
MOST_SHAPES = 100000  # more are painted faster by KLayout than handed over
MOST_FINE_SHAPES = 500000  # of more the picture takes fewer samples
COARSE = 4  # samples along each side of a pixel
FARTHEST = 1e9  # database units

output = os.dup(1)
os.dup2(2, 1)  # what KLayout itself prints is no answer
signal.signal(signal.SIGPIPE, signal.SIG_IGN)


def send(kind, payload):
    data = memoryview(kind.encode() + b" %d\n" % len(payload) + payload)
    while data:
        data = data[os.write(output, data):]


class Place:
    """Pixels, and how the design lies under them."""

    def __init__(self, request):
        width, height, self.samples, scale, *where = request.split()
        self.width, self.height = int(width), int(height)
        degrees, x, y = map(float, where)
        self.to_pixel = pya.DCplxTrans(float(scale), degrees, False, x, y)

    def window(self):
        """The rectangle of the design that holds the pixels."""
        box = self.to_pixel.inverted() * pya.DBox(0, 0, self.width, self.height)
        box &= pya.DBox(-FARTHEST, -FARTHEST, FARTHEST, FARTHEST)
        return pya.Box() if box.empty() else pya.Box(box).enlarged(1, 1)


class Design:
    def __init__(self, path):
        self.view = pya.LayoutView(False)
        self.cellview = self.view.cellview(self.view.load_layout(path, False))
        self.layout, self.cell = self.cellview.layout(), self.cellview.cell
        layers = [(self.layout.get_info(index), index) for index in self.layout.layer_indexes()
                  if not self.found(index, self.cell.bbox()).at_end()]
        layers.sort(key=lambda layer: (layer[0].layer, layer[0].datatype, layer[0].name))
        self.layers = [(1 + n % MATERIALS, index, info) for n, (info, index) in enumerate(layers)]
        for name in ("grid-visible", "text-visible", "cell-box-visible", "drop-small-cells",
                     "bitmap-caching"):  # cells from the cache lie up to half a pixel off
            self.view.set_config(name, "false")
        self.view.max_hier()

    def describe(self):
        box = self.cell.bbox()
        if box.empty():
            raise RuntimeError("there is nothing in it")
        return "%r %d %d %d %d" % (self.layout.dbu * 1e-6, box.left, box.bottom, box.right, box.top)

    def found(self, index, window):
        iterator = pya.RecursiveShapeIterator(self.layout, self.cell, index, window, False)
        iterator.shape_flags = pya.Shapes.SPolygons | pya.Shapes.SBoxes | pya.Shapes.SPaths
        return iterator

    def has_more(self, window, limit):
        for _, index, _ in self.layers:
            found = self.found(index, window)
            while not found.at_end():
                limit -= 1
                if limit < 0:
                    return True
                found.next()
        return False

    def is_dense(self, window):
        """Whether, going by its middle, there are too many shapes for a fine picture."""
        middle = window.enlarged(-3 * window.width() // 8, -3 * window.height() // 8)
        return self.has_more(middle, MOST_FINE_SHAPES // 16)

    def shapes(self, window):
        result = array.array("i")
        for material, index, _ in self.layers:
            for polygon in pya.Region(self.found(index, window)).each():
                if polygon.is_box():
                    box = polygon.bbox()
                    left, bottom, right, top = box.left, box.bottom, box.right, box.top
                    points = (left, bottom, left, top, right, top, right, bottom)
                else:
                    polygon = polygon.resolved_holes() if polygon.holes() else polygon
                    points = [c for p in polygon.each_point_hull() for c in (p.x, p.y)]
                result.extend((material, len(points) // 2, *points))
        return result.tobytes()

    def mask(self, info, place, samples):
        """One bit for each pixel: whether the layer has a shape under the pixel's centre. KLayout
        fills exactly the samples that lie within a shape, but of a shape smaller than a sample
        draws one. Of each pixel the sample in the centre is taken."""
        self.view.clear_layers()
        layer = pya.LayerProperties()
        layer.source = info.to_s() + "@1"
        layer.dither_pattern = 0
        layer.fill_color = layer.frame_color = 0xffffff  # else nothing is drawn
        layer.width = 0  # an outline would add half a sample on each side
        layer.trans = [pya.DCplxTrans(float(samples), 0, False, 0, -1) * place.to_pixel
                       * pya.DCplxTrans(1 / self.layout.dbu)]
        self.view.insert_layer(self.view.end_layers(), layer)
        self.view.update_content()
        width, height = place.width * samples, place.height * samples
        fine = self.view.get_pixels_with_options_mono(width, height, 1,
                                                      pya.DBox(0, 0, width, height))
        return fine.to_qimage().scaled(place.width, place.height)

    def picture(self, place, samples):
        materials = pya.QImage(place.width, place.height, pya.QImage.Format_Grayscale8)
        materials.fill(0)
        painter = pya.QPainter(materials)
        for material, _, info in self.layers:
            mask = self.mask(info, place, samples)
            mask.setColor(0, 0)
            mask.setColor(1, 0xff000000 | 0x010101 * material)
            painter.drawImage(pya.QPoint(0, 0), mask)
        painter.end()
        data = pya.QBuffer()
        data.open(pya.QIODevice.WriteOnly)
        materials.save(data, "PGM")
        return data.data

    def answer(self, request):
        place = Place(request)
        window = place.window()
        if not self.has_more(window, MOST_SHAPES):
            return "shapes", self.shapes(window)
        samples = int(place.samples)
        return "picture", self.picture(place,
                                       min(samples, COARSE) if self.is_dense(window) else samples)


def requests():
    """Lines of the standard input, as they come."""
    pending = b""
    while True:
        more = os.read(0, 4096)
        if not more:
            return
        *lines, pending = (pending + more).split(b"\n")
        yield from lines


def serve():
    try:
        design = Design(os.environ["DESIGN_FILE"])
        send("design", design.describe().encode())
    except Exception as error:
        send("error", str(error).encode())
        return
    for request in requests():
        try:
            send(*design.answer(request))
        except BrokenPipeError:
            raise
        except Exception as error:
            send("error", str(error).encode())
    shutil.rmtree(os.environ["KLAYOUT_HOME"], ignore_errors=True)  # made for this process


try:
    serve()
except BrokenPipeError:  # whom it was made for is gone
    shutil.rmtree(os.environ["KLAYOUT_HOME"], ignore_errors=True)
os._exit(0)
