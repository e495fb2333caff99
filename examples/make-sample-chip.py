#!/usr/bin/env python3
"""Writes sample-chip.gds: a chip of 2 mm x 1.6 mm drawn from seeded random numbers.

Usage: make-sample-chip.py [OUTPUT]
"""

import os
import random
import struct
import sys

DIFFUSION, POLY, CONTACT, METAL1, VIA, METAL2 = 1, 2, 3, 4, 5, 6
UM = 1000  # database units per micrometre
WIDTH, HEIGHT = 2000 * UM, 1600 * UM
ROW_HEIGHT = 10 * UM
CROSS_INSET, CROSS_ARM, CROSS_WIDTH = 200 * UM, 60 * UM, 8 * UM

FONT = {  # 5 x 7 dots, one number per row, leftmost dot in bit 4
    "A": (14, 17, 17, 31, 17, 17, 17), "B": (30, 17, 17, 30, 17, 17, 30),
    "C": (14, 17, 16, 16, 16, 17, 14), "E": (31, 16, 16, 30, 16, 16, 31),
    "H": (17, 17, 17, 31, 17, 17, 17), "I": (14, 4, 4, 4, 4, 4, 14),
    "L": (16, 16, 16, 16, 16, 16, 31), "M": (17, 27, 21, 21, 17, 17, 17),
    "P": (30, 17, 17, 30, 16, 16, 16), "R": (30, 17, 17, 30, 20, 18, 17),
    "S": (15, 16, 16, 14, 1, 1, 30), "V": (17, 17, 17, 17, 17, 10, 4),
    "1": (4, 12, 4, 4, 4, 4, 14), "0": (14, 17, 19, 21, 25, 17, 14), " ": (0,) * 7,
}


# The GDSII stream: records of a big-endian length, a record type and a data type.

def record(kind, payload=b""):
    return struct.pack(">HH", 4 + len(payload), kind) + payload


def shorts(*values):
    return struct.pack(f">{len(values)}h", *values)


def longs(*values):
    return struct.pack(f">{len(values)}i", *values)


def text_bytes(text):
    data = text.encode("ascii")
    return data + b"\0" * (len(data) % 2)


def real8(value):
    """The excess-64 base-16 real of GDSII."""
    exponent = 64
    while value >= 1:
        value, exponent = value / 16, exponent + 1
    while 0 < value < 1 / 16:
        value, exponent = value * 16, exponent - 1
    return struct.pack(">Q", exponent << 56 | round(value * 2 ** 56))


class Cell:
    def __init__(self, name):
        self.name = name
        self.data = [record(0x0502, shorts(*[2020, 1, 1, 0, 0, 0] * 2)),
                     record(0x0606, text_bytes(name))]

    def add(self, *records):
        self.data += records + (record(0x1100),)

    def polygon(self, layer, points):
        corners = [c for p in [*points, points[0]] for c in p]
        self.add(record(0x0800), record(0x0D02, shorts(layer)), record(0x0E02, shorts(0)),
                 record(0x1003, longs(*corners)))

    def box(self, layer, x1, y1, x2, y2):
        self.polygon(layer, [(x1, y1), (x2, y1), (x2, y2), (x1, y2)])

    def path(self, layer, width, points, pathtype=2):
        self.add(record(0x0900), record(0x0D02, shorts(layer)), record(0x0E02, shorts(0)),
                 record(0x2102, shorts(pathtype)), record(0x0F03, longs(width)),
                 record(0x1003, longs(*[c for p in points for c in p])))

    def label(self, layer, x, y, text):
        self.add(record(0x0C00), record(0x0D02, shorts(layer)), record(0x1602, shorts(0)),
                 record(0x1003, longs(x, y)), record(0x1906, text_bytes(text)))

    def placement(self, mirrored, angle):
        if not mirrored and not angle:
            return ()
        strans = (record(0x1A01, struct.pack(">H", 0x8000 if mirrored else 0)),)
        return strans + ((record(0x1C05, real8(angle)),) if angle else ())

    def place(self, cell, x, y, mirrored=False, angle=0):
        self.add(record(0x0A00), record(0x1206, text_bytes(cell)),
                 *self.placement(mirrored, angle), record(0x1003, longs(x, y)))

    def array(self, cell, x, y, columns, rows, pitch_x, pitch_y):
        self.add(record(0x0B00), record(0x1206, text_bytes(cell)),
                 record(0x1302, shorts(columns, rows)),
                 record(0x1003, longs(x, y, x + columns * pitch_x, y, x, y + rows * pitch_y)))

    def stream(self):
        return b"".join(self.data) + record(0x0700)


def standard_cell(rng, name, gates):
    """A row-high cell: rails, two diffusions, gates, contacts and some metal between them."""
    cell, pitch = Cell(name), 1400
    width = (gates + 1) * pitch
    cell.box(METAL1, 0, 0, width, 800)
    cell.box(METAL1, 0, ROW_HEIGHT - 800, width, ROW_HEIGHT)
    for low, high in ((1400, 3400), (5600, 8600)):
        cell.box(DIFFUSION, 400, low, width - 400 - rng.randrange(2) * 600, high)
    for gate in range(gates):
        x = (gate + 1) * pitch - 200
        cell.box(POLY, x, 1000 + 200 * rng.randrange(2), x + 400, 9000)
        contact = x - 500
        for y in rng.sample((1800, 2600, 6000, 6800, 7600), 2):
            cell.box(CONTACT, contact, y, contact + 300, y + 300)
        top = rng.choice((3600, 4800, 6400, 7800))
        if rng.random() < 0.7:
            cell.box(METAL1, contact - 100, 1700, contact + 500, top)
        if rng.random() < 0.5:
            reach = rng.randrange(1, 3) * pitch
            cell.box(METAL1, contact - 100, 4200, min(contact + reach, width - 200), 4800)
    return cell, width


def memory_cell():
    cell = Cell("BIT")
    cell.polygon(DIFFUSION, [(300, 300), (1100, 300), (1100, 1500), (2100, 1500), (2100, 2700),
                             (1300, 2700), (1300, 2100), (300, 2100)])
    cell.box(POLY, 0, 800, 2400, 1100)
    cell.box(POLY, 1500, 1300, 1800, 3000)
    cell.box(CONTACT, 500, 1400, 800, 1700)
    cell.box(METAL1, 450, 0, 850, 3000)
    cell.box(METAL1, 1750, 0, 2150, 3000)
    return cell


def pad_cell():
    cell = Cell("PAD")
    cell.box(METAL1, 0, 0, 90 * UM, 90 * UM)
    cell.array("VIA4", 4 * UM, 4 * UM, 20, 1, 4200, 4200)
    cell.array("VIA4", 4 * UM, 82 * UM, 20, 1, 4200, 4200)
    cut = 12 * UM
    cell.polygon(METAL2, [(cut, 0), (78 * UM, 0), (90 * UM, cut), (90 * UM, 78 * UM),
                          (78 * UM, 90 * UM), (cut, 90 * UM), (0, 78 * UM), (0, cut)])
    return cell


def small_cells():
    via = Cell("VIA4")
    for x in (0, 1200):
        for y in (0, 1200):
            via.box(VIA, x, y, x + 700, y + 700)
    tie = Cell("TIE")
    tie.box(METAL1, 0, 0, 1600, 1600)
    tie.box(VIA, 400, 400, 1200, 1200)
    tie.box(METAL2, -200, -200, 1800, 1800)
    return [via, tie]


def row_macros(rng, kinds, count, width):
    """Rows of randomly chosen cells; the core places them in a random order and mirrored."""
    rows = []
    for index in range(count):
        row, x = Cell(f"ROW{index}"), 0
        while True:
            name, cell_width = rng.choice(kinds)
            if x + cell_width > width:
                break
            row.place(name, x, 0)
            x += cell_width + rng.choice((0, 0, 0, 1400, 2800))
        rows.append(row)
    return rows


def fill_core(rng, chip, rows, left, bottom, columns, row_count, width):
    for line in range(row_count):
        for column in range(columns):
            flipped = line % 2 == 1
            y = bottom + line * 12 * UM + (ROW_HEIGHT if flipped else 0)
            chip.place(rng.choice(rows).name, left + column * (width + 6 * UM), y, flipped)


def wander(rng, x, y, steps, reach, area):
    points, horizontal = [(x, y)], rng.random() < 0.5
    for _ in range(steps):
        step = rng.choice((-1, 1)) * rng.randrange(4 * UM, reach)
        if horizontal:
            x = min(max(x + step, area[0]), area[2])
        else:
            y = min(max(y + step, area[1]), area[3])
        horizontal = not horizontal
        if (x, y) != points[-1]:
            points.append((x, y))
    return points


def wire(rng, chip, area, count, layer, widths, reach):
    for _ in range(count):
        x = rng.randrange(area[0], area[2]) // 100 * 100
        y = rng.randrange(area[1], area[3]) // 100 * 100
        points = wander(rng, x, y, rng.randrange(2, 7), reach, area)
        if len(points) < 2:
            continue
        chip.path(layer, rng.choice(widths), points)
        for px, py in (points[0], points[-1]):
            chip.place("TIE", px - 800, py - 800)


def pads(rng, chip, core):
    pitch = 130 * UM
    for index in range(10):
        x = 370 * UM + index * pitch
        for y, edge, near in ((50 * UM, 140 * UM, core[1]),
                              (HEIGHT - 140 * UM, HEIGHT - 140 * UM, core[3])):
            chip.place("PAD", x, y)
            bend, target = (edge + near) // 2, x + rng.randrange(-60, 150) * UM
            target = min(max(target, core[0] + 20 * UM), core[2] - 20 * UM)
            chip.path(METAL2, rng.choice((6, 10, 14)) * UM,
                      [(x + 45 * UM, edge), (x + 45 * UM, bend), (target, bend), (target, near)], 0)
    for index in range(7):
        y = 360 * UM + index * pitch
        for x, edge, near in ((50 * UM, 140 * UM, core[0]),
                              (WIDTH - 140 * UM, WIDTH - 140 * UM, core[2])):
            chip.place("PAD", x, y)
            shift = rng.randrange(-40, 40) * UM
            middle = (edge + near) // 2
            chip.path(METAL2, rng.choice((6, 10, 14)) * UM,
                      [(edge, y + 45 * UM), (middle, y + 45 * UM), (middle + abs(shift) // 4,
                       y + 45 * UM + shift), (near, y + 45 * UM + shift)], 1)


def lettering(chip, layer, x, y, dot, text):
    for index, letter in enumerate(text):
        for line, bits in enumerate(FONT[letter]):
            run = 0
            for column in range(6):
                if column < 5 and bits >> (4 - column) & 1:
                    run += 1
                elif run:
                    left, top = x + (index * 6 + column - run) * dot, y + (7 - line) * dot
                    chip.box(layer, left, top - dot, left + run * dot, top)
                    run = 0
    chip.label(layer, x, y, text)


def alignment_cross(chip, number, x, y):
    a, w = CROSS_ARM, CROSS_WIDTH // 2
    chip.polygon(METAL2, [(x - w, y - a), (x + w, y - a), (x + w, y - w), (x + a, y - w),
                          (x + a, y + w), (x + w, y + w), (x + w, y + a), (x - w, y + a),
                          (x - w, y + w), (x - a, y + w), (x - a, y - w), (x - w, y - w)])
    chip.label(METAL2, x, y, f"ALIGN_{number}")


def seal_ring(chip):
    for inset, width, layer in ((4, 8, METAL2), (16, 4, METAL1)):
        a, b = inset * UM, (inset + width) * UM
        chip.box(layer, a, a, WIDTH - a, b)
        chip.box(layer, a, HEIGHT - b, WIDTH - a, HEIGHT - a)
        chip.box(layer, a, b, b, HEIGHT - b)
        chip.box(layer, WIDTH - b, b, WIDTH - a, HEIGHT - b)


def sample_chip(rng):
    cells = small_cells() + [memory_cell(), pad_cell()]
    kinds = []
    for index in range(14):
        cell, width = standard_cell(rng, f"CELL{index}", rng.randrange(2, 9))
        cells.append(cell)
        kinds.append((cell.name, width))
    row_width = 240 * UM
    rows = row_macros(rng, kinds, 28, row_width)

    chip = Cell("CHIP")
    core = (360 * UM, 300 * UM, 1640 * UM, 1300 * UM)
    fill_core(rng, chip, rows, 380 * UM, 320 * UM, 3, 78, row_width)
    for block, (x, y) in enumerate(((1150, 320), (1150, 600), (1400, 320), (1400, 600))):
        chip.array("BIT", x * UM, y * UM, 90 - 5 * block, 85, 2400, 3000)
        chip.label(METAL1, x * UM, y * UM, f"MEMORY_{block + 1}")
    fill_core(rng, chip, rows, 1150 * UM, 900 * UM, 1, 26, row_width)
    lettering(chip, METAL2, 1142 * UM, 1226 * UM, 6 * UM, "SAMPLE CHIP")
    lettering(chip, METAL2, 1420 * UM, 1140 * UM, 5 * UM, "REV 1")
    lettering(chip, METAL1, 1420 * UM, 1080 * UM, 3 * UM, "BASE 010")
    wire(rng, chip, (390 * UM, 330 * UM, 1110 * UM, 1250 * UM), 420, METAL2, (1200, 1600, 2400),
         160 * UM)
    wire(rng, chip, (1150 * UM, 590 * UM, 1630 * UM, 1200 * UM), 150, METAL2, (1200, 2000, 3200),
         120 * UM)
    wire(rng, chip, (380 * UM, 320 * UM, 1620 * UM, 1200 * UM), 130, METAL1, (800, 1200), 40 * UM)
    pads(rng, chip, core)
    seal_ring(chip)
    corners = ((CROSS_INSET, CROSS_INSET), (WIDTH - CROSS_INSET, CROSS_INSET),
               (WIDTH - CROSS_INSET, HEIGHT - CROSS_INSET), (CROSS_INSET, HEIGHT - CROSS_INSET))
    for number, (x, y) in enumerate(corners, 1):
        alignment_cross(chip, number, x, y)
    return cells + rows + [chip]


def main():
    default = os.path.join(os.path.dirname(os.path.abspath(__file__)), "sample-chip.gds")
    path = sys.argv[1] if len(sys.argv) > 1 else default
    stream = [record(0x0002, shorts(600)), record(0x0102, shorts(*[2020, 1, 1, 0, 0, 0] * 2)),
              record(0x0206, text_bytes("SAMPLECHIP")),
              record(0x0305, real8(1e-3) + real8(1e-9))]
    stream += [cell.stream() for cell in sample_chip(random.Random(20200101))]
    with open(path, "wb") as output:
        output.write(b"".join(stream) + record(0x0400))


if __name__ == "__main__":
    main()
