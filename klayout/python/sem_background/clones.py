"""Clones of the live image: PNG files that say where they lie, shown as images of the layout."""
import ctypes
import os
import time

import pya

from .texts import tr

FOLDER = "sem-clones"


def is_clone(image):
    return os.path.basename(os.path.dirname(image.filename())) == FOLDER


def new_file():
    folder = os.path.join(pya.Application.instance().application_data_path(), FOLDER)
    os.makedirs(folder, exist_ok=True)
    stamp = time.strftime("%Y-%m-%d %H.%M.%S")
    names = [stamp] + ["%s (%d)" % (stamp, n) for n in range(2, 1000)]
    paths = (os.path.join(folder, name + ".png") for name in names)
    return next(path for path in paths if not os.path.exists(path))


def add(view, bridge):
    """Keeps the live image where it is now; False if there is none."""
    path = new_file()
    numbers = bridge.sem_write_clone(path.encode())
    if not numbers:  # empty: it could not be written, which has been said
        return numbers is not None
    m11, m12, m21, m22, dx, dy = map(float, numbers.split())
    image = pya.Image(path)
    image.matrix = pya.Matrix3d(m11, m21, dx, m12, m22, dy, 0, 0, 1)
    view.insert_image(image)
    return True


def in_view(view):
    return [image for image in view.each_image() if is_clone(image)]


def listing(view):
    """A line a clone: id, visible, name."""
    return "\n".join("%d\t%d\t%s" % (image.id(), image.visible,
                                      os.path.splitext(os.path.basename(image.filename()))[0])
                     for image in in_view(view))


def find(view, number):
    return next((image for image in in_view(view) if image.id() == number), None)


def show(view, number, visible):
    image = find(view, number)
    if image:
        # Changed in its place it would not be painted again, and one of the view's own cannot
        # replace another.
        copy = pya.Image.from_s(image.to_s())
        copy.visible = visible
        view.replace_image(number, copy)


def save(view, bridge, number):
    image = find(view, number)
    if not image:
        return
    path = pya.FileDialog.ask_save_file_name(tr("Save clone"), os.path.basename(image.filename()),
                                             tr("PNG images (*.png)"))
    if path:
        path += "" if path.lower().endswith(".png") else ".png"
        m = image.matrix
        values = (m.m(0, 0), m.m(1, 0), m.m(0, 1), m.m(1, 1), m.m(0, 2), m.m(1, 2))
        bridge.sem_copy_clone(image.filename().encode(), path.encode(),
                              (ctypes.c_double * 6)(*values))


def remove(view, number):
    if find(view, number):
        view.erase_image(number)
