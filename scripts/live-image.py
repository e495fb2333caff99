# Connects KLayout's SEM panel to the microscope at SEM_MICROSCOPE (host:port) with the live image on.
# With SEM_SCREENSHOT it saves the window there after SEM_SECONDS, and ends KLayout.
import os

import pya

import sem_background

window = pya.MainWindow.instance()
timers = []


def later(seconds, act):
    timer = pya.QTimer(window)
    timer.singleShot = True
    timer.timeout = act
    timer.start(int(1000 * seconds))
    timers.append(timer)


def connect():
    host, port = os.environ["SEM_MICROSCOPE"].rsplit(":", 1)
    sem_background.connect(host, int(port))


def look():
    """At what the microscope shows, near enough to see it between the layers."""
    sem_background.host.bridge.sem_act(b"centre")
    view = pya.LayoutView.current()
    box = view.box()
    reach = pya.DVector(0.06 * box.width(), 0.06 * box.height())
    view.zoom_box(pya.DBox(box.center() - reach, box.center() + reach))


def screenshot():
    window.grab().save(os.environ["SEM_SCREENSHOT"])
    pya.Application.instance().exit(0)


later(1, connect)
if "SEM_SCREENSHOT" in os.environ:
    later(0.5, lambda: window.resize(1400, 1000))
    later(float(os.environ["SEM_SECONDS"]) - 2, look)
    later(float(os.environ["SEM_SECONDS"]), screenshot)
