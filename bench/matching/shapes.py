# Run by KLayout in batch mode: writes all shapes of the layout `design` into the file `output`, as 32-bit
# integers: for each polygon its layer (from 1, in the order of layer and datatype), its number of
# points and their coordinates in database units.
import array

import pya

layout = pya.Layout()
layout.read(design)
layers = sorted(layout.layer_indexes(), key=lambda n: (layout.get_info(n).layer,
                                                       layout.get_info(n).datatype))
kinds = pya.Shapes.SPolygons | pya.Shapes.SBoxes | pya.Shapes.SPaths
number = 0
with open(output, "wb") as file:
    for index in layers:
        found = pya.RecursiveShapeIterator(layout, layout.top_cell(), index)
        found.shape_flags = kinds
        shapes = array.array("i")
        for shape in found.each():
            polygon = shape.shape().polygon.transformed(shape.trans()).resolved_holes()
            points = [c for p in polygon.each_point_hull() for c in (p.x, p.y)]
            shapes.extend((number + 1, len(points) // 2, *points))
        number += len(shapes) > 0
        shapes.tofile(file)
