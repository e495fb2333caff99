#!/usr/bin/env python3
"""Draws the icons of the alignment rows: a pencil (being positioned) and a check mark (confirmed)."""
import os
import struct
import zlib

SIZE = 24
SAMPLES = 8  # per pixel and direction


def distance_to_segment(x, y, ax, ay, bx, by):
    dx, dy = bx - ax, by - ay
    t = max(0.0, min(1.0, ((x - ax) * dx + (y - ay) * dy) / (dx * dx + dy * dy)))
    return ((x - ax - t * dx) ** 2 + (y - ay - t * dy) ** 2) ** 0.5


def inside_polygon(x, y, corners):
    inside = False
    for (ax, ay), (bx, by) in zip(corners, corners[1:] + corners[:1]):
        if (ay > y) != (by > y) and x < ax + (y - ay) / (by - ay) * (bx - ax):
            inside = not inside
    return inside


def check_mark(x, y):
    stroke = min(distance_to_segment(x, y, 6.5, 12.5, 10.3, 16.3),
                 distance_to_segment(x, y, 10.3, 16.3, 17.5, 8))
    if stroke < 1.6:
        return (255, 255, 255)
    if (x - 12) ** 2 + (y - 12) ** 2 < 11 ** 2:
        return (46, 160, 67)
    return None


# From the tip at the lower left to the rubber at the upper right.
PENCIL = [([(2.5, 21.5), (4.2, 16), (8, 19.8)], (70, 60, 50)),
          ([(4.2, 16), (14.6, 5.6), (18.4, 9.4), (8, 19.8)], (245, 160, 20)),
          ([(15.3, 4.9), (17.6, 2.6), (21.4, 6.4), (19.1, 8.7)], (214, 90, 90))]


def pencil(x, y):
    for corners, colour in PENCIL:
        if inside_polygon(x, y, corners):
            return colour
    return None


def pixel(paint, column, row):
    hits = [paint(column + (i + .5) / SAMPLES, row + (j + .5) / SAMPLES)
            for i in range(SAMPLES) for j in range(SAMPLES)]
    hits_inside = [hit for hit in hits if hit]
    if not hits_inside:
        return bytes(4)
    mean = [sum(channel) // len(hits_inside) for channel in zip(*hits_inside)]
    return bytes(mean + [255 * len(hits_inside) // len(hits)])


def chunk(kind, data):
    checksum = zlib.crc32(kind + data)
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", checksum)


def write_icon(name, paint):
    rows = b"".join(b"\0" + b"".join(pixel(paint, column, row) for column in range(SIZE))
                    for row in range(SIZE))
    header = struct.pack(">IIBBBBB", SIZE, SIZE, 8, 6, 0, 0, 0)
    folder = os.path.dirname(os.path.abspath(__file__))
    with open(os.path.join(folder, name), "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
                   + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


write_icon("editicon.png", pencil)
write_icon("ok.png", check_mark)
