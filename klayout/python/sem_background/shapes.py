"""What the layers have in a part of the design."""
import array
import time

import pya

MOST = 500000  # more take longer to compare than anybody waits
TILES = 12  # along either side of a region


def visible_layers(view):
    """Layer indexes of the first layout, the lowest first, going by their numbers."""
    layout = view.cellview(0).layout()
    indexes = {layer.layer_index() for layer in view.each_layer()
               if not layer.has_children() and layer.visible_(True)
               and layer.cellview() == 0 and layout.is_valid_layer(layer.layer_index())}
    infos = {index: layout.get_info(index) for index in indexes}
    return sorted(indexes, key=lambda n: (infos[n].layer, infos[n].datatype, infos[n].name))


def found(view, index, region):
    cellview = view.cellview(0)
    layout = cellview.layout()
    shapes = pya.RecursiveShapeIterator(layout, layout.cell(cellview.ctx_cell_index()), index,
                                        region, False)
    shapes.shape_flags = pya.Shapes.SPolygons | pya.Shapes.SBoxes | pya.Shapes.SPaths
    return shapes


class Collection:
    """Collects in small steps, between which KLayout goes on, the user may edit, and the image is
    live: each step looks at a tile of its own, and a shape on a border may come twice."""

    def __init__(self, view, region):
        self.view, self.layers, self.count = view, visible_layers(view), 0
        self.numbers = array.array("i")  # as the library takes them, see layershapes.h
        self.tiles = list(tiles(region))

    def is_complete(self):
        return not self.tiles

    def has_too_many(self):
        return self.count > MOST

    def step(self, seconds):
        end = time.monotonic() + seconds
        while self.tiles and not self.has_too_many() and time.monotonic() < end:
            self.take(self.tiles.pop())

    def take(self, tile):
        for place, index in enumerate(self.layers):
            for polygon in pya.Region(found(self.view, index, tile)).each():
                self.count += 1
                if self.has_too_many():
                    return
                points = points_of(polygon)
                self.numbers.extend((place, len(points) // 2, *points))


def tiles(region):
    width, height = region.width() // TILES + 1, region.height() // TILES + 1
    for n in range(TILES * TILES):
        left, bottom = region.left + n % TILES * width, region.bottom + n // TILES * height
        yield pya.Box(left, bottom, left + width, bottom + height)


def points_of(polygon):
    if polygon.is_box():
        box = polygon.bbox()
        return (box.left, box.bottom, box.left, box.top, box.right, box.top, box.right, box.bottom)
    polygon = polygon.resolved_holes() if polygon.holes() else polygon
    return [c for p in polygon.each_point_hull() for c in (p.x, p.y)]
