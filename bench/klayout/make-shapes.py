# Writes a layout of 200,000 boxes on four layers, 0.8 x 0.5 mm, to $SEM_SHAPES.
import os

import pya

COLUMNS, ROWS, PITCH_X, PITCH_Y, SIZE = 500, 400, 1600, 1250, 400  # nm
layout = pya.Layout()
layout.dbu = 0.001
cell = layout.create_cell("SHAPES")
layers = [layout.layer(number, 0) for number in range(1, 5)]
for row in range(ROWS):
    for column in range(COLUMNS):
        x, y = column * PITCH_X, row * PITCH_Y
        layer = layers[(row // 50 + column // 50) % len(layers)]
        cell.shapes(layer).insert(pya.Box(x, y, x + SIZE, y + SIZE))
layout.write(os.environ["SEM_SHAPES"])
