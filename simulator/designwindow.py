# Run by KLayout in batch mode: answers what lies under a rectangle of pixels of a frame, in the
# design of the file DESIGN_FILE.
#
# A request is a line: width and height in pixels, how many samples a picture takes at most along
# each side of a pixel, then how the design lies under the pixels: pixels per database unit,
# degrees, and where its origin is, in pixels from the lower left corner. The answer is a line "kind
# size" and so many bytes: of kind "shapes" 32-bit integers, for each polygon its material, its
# number of points and their coordinates; of kind "picture" a PGM, the materials its grey levels; of
# kind "error" a text.
# Ends with its input.
import array
import collections
import math
import os
import shutil
import signal

import pya

MATERIALS = 7  # above the substrate
MOST_SHAPES = 30000  # more are painted faster by KLayout than handed over
DENSE = 500000  # of so many shapes the picture takes fewest samples
FEWEST_SAMPLES = 2
FINER = 3  # so many times more samples for a layer with small cells
CELL_SAMPLES = 1.51  # a larger cell KLayout draws with what is in it
FARTHEST = 1e9  # database units

output = os.dup(1)
os.dup2(2, 1)  # what KLayout itself prints is no answer
signal.signal(signal.SIGPIPE, signal.SIG_IGN)


def send(kind, payload):
    data = memoryview(kind.encode() + b" %d\n" % len(payload) + payload)
    while data:
        data = data[os.write(output, data):]


Layer = collections.namedtuple("Layer", "material index name smallest_cell")


class Place:
    """Pixels, and how the design lies under them."""

    def __init__(self, request):
        self.width, self.height, self.samples = map(int, request.split()[:3])
        scale, degrees, x, y = map(float, request.split()[3:])
        self.to_pixel = pya.DCplxTrans(scale, degrees, False, x, y)

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
        self.layers = [Layer(1 + n % MATERIALS, index, info.to_s(), self.smallest_cell(index))
                       for n, (info, index) in enumerate(layers)]
        for name in ("grid-visible", "text-visible", "cell-box-visible", "drop-small-cells",
                     "bitmap-caching"):  # cells from the cache lie up to half a pixel off
            self.view.set_config(name, "false")
        self.view.max_hier()

    def smallest_cell(self, index):
        """Its longer side in the layer, database units."""
        boxes = [self.layout.cell(cell).bbox_per_layer(index)
                 for cell in self.cell.called_cells()]
        return min((max(box.width(), box.height()) for box in boxes if not box.empty()),
                   default=FARTHEST)

    def describe(self):
        box = self.cell.bbox()
        if box.empty():
            raise RuntimeError("there is nothing in it")
        return "%r %d %d %d %d" % (self.layout.dbu * 1e-6, box.left, box.bottom, box.right, box.top)

    def found(self, index, window):
        iterator = pya.RecursiveShapeIterator(self.layout, self.cell, index, window, False)
        iterator.shape_flags = pya.Shapes.SPolygons | pya.Shapes.SBoxes | pya.Shapes.SPaths
        return iterator

    def count(self, window, limit):
        """How many shapes there are; not much more than the limit."""
        count = 0
        for layer in self.layers:
            found = self.found(layer.index, window)
            while count <= limit and not found.at_end():
                count += 1
                found.next()
        return count

    def is_dense(self, window):
        """Going by 8 x 8 small windows, a sixteenth of the whole."""
        width, height = window.width() // 32, window.height() // 32
        count = 0
        for n in range(64):
            x = window.left + (4 * (n % 8) + 2) * width
            y = window.bottom + (4 * (n // 8) + 2) * height
            count += self.count(pya.Box(x, y, x + width, y + height), DENSE // 16 - count)
        return count > DENSE // 16

    def samples(self, place, window):
        """Along each side of a pixel, and for a layer with small cells: as many as KLayout draws
        within half a second."""
        if self.is_dense(window):
            return FEWEST_SAMPLES, FEWEST_SAMPLES
        return place.samples, FINER * place.samples

    def shapes(self, window):
        result = array.array("i")
        for layer in self.layers:
            for polygon in pya.Region(self.found(layer.index, window)).each():
                if polygon.is_box():
                    box = polygon.bbox()
                    left, bottom, right, top = box.left, box.bottom, box.right, box.top
                    points = (left, bottom, left, top, right, top, right, bottom)
                else:
                    polygon = polygon.resolved_holes() if polygon.holes() else polygon
                    points = [c for p in polygon.each_point_hull() for c in (p.x, p.y)]
                result.extend((layer.material, len(points) // 2, *points))
        return result.tobytes()

    def mask(self, layer, place, samples, finest):
        """One bit for each pixel: whether the layer has a shape under the pixel's centre.

        Filled without outlines, exactly the samples within a shape are set, of which the one in the
        centre of each pixel is taken. But a cell of up to CELL_SAMPLES is nothing but an outline;
        where such cells cannot be avoided, all shapes have one and are half a sample larger."""
        needed = CELL_SAMPLES / (layer.smallest_cell * place.to_pixel.mag)
        if samples < needed <= finest:
            samples = 2 * math.ceil(needed / 2)
        properties = pya.LayerProperties()
        properties.source = layer.name + "@1"
        properties.dither_pattern = 0
        properties.width = int(needed > samples)
        properties.fill_color = properties.frame_color = 0xffffff  # else nothing is drawn
        properties.trans = [pya.DCplxTrans(float(samples), 0, False, 0, -1) * place.to_pixel
                            * pya.DCplxTrans(1 / self.layout.dbu)]
        self.view.clear_layers()
        self.view.insert_layer(self.view.end_layers(), properties)
        self.view.update_content()
        width, height = place.width * samples, place.height * samples
        fine = self.view.get_pixels_with_options_mono(width, height, 1,
                                                      pya.DBox(0, 0, width, height))
        return fine.to_qimage().scaled(place.width, place.height)

    def picture(self, place, window):
        samples, finest = self.samples(place, window)
        materials = pya.QImage(place.width, place.height, pya.QImage.Format_Grayscale8)
        materials.fill(0)
        painter = pya.QPainter(materials)
        for layer in self.layers:
            mask = self.mask(layer, place, samples, finest)
            mask.setColor(0, 0)
            mask.setColor(1, 0xff000000 | 0x010101 * layer.material)
            painter.drawImage(pya.QPoint(0, 0), mask)
        painter.end()
        data = pya.QBuffer()
        data.open(pya.QIODevice.WriteOnly)
        materials.save(data, "PGM")
        return data.data

    def answer(self, request):
        place = Place(request)
        window = place.window()
        if self.count(window, MOST_SHAPES) <= MOST_SHAPES:
            return "shapes", self.shapes(window)
        return "picture", self.picture(place, window)


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
