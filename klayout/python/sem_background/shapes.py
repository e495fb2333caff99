"""What the layers have in a part of the design."""
import array

import pya

MOST = 200000  # collecting more would hold up KLayout for longer than half a second


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


def collect(view, region):
    """Numbers as the library takes them, see layershapes.h; None if there are too many shapes."""
    layers = visible_layers(view)
    count = 0
    for index in layers:
        shapes = found(view, index, region)
        while not shapes.at_end():
            count += 1
            if count > MOST:
                return None
            shapes.next()
    result = array.array("i")
    for place, index in enumerate(layers):
        for polygon in pya.Region(found(view, index, region)).each():
            if polygon.is_box():
                box = polygon.bbox()
                left, bottom, right, top = box.left, box.bottom, box.right, box.top
                points = (left, bottom, left, top, right, top, right, bottom)
            else:
                polygon = polygon.resolved_holes() if polygon.holes() else polygon
                points = [c for p in polygon.each_point_hull() for c in (p.x, p.y)]
            result.extend((place, len(points) // 2, *points))
    return result
