"""The live image of a scanning electron microscope behind the layout of a KLayout tab.

The work is done by a library that is called through ctypes; what is here tells it of view, design
and tabs, and keeps clones as images of the layout."""
import pya

from .host import Host
from .texts import tr

host = None
warning = None


def start():
    """Puts docks, tools and menu into KLayout's main window. A failure is shown, not raised."""
    global host
    try:
        host = host or Host(pya.MainWindow.instance())
    except (OSError, AttributeError) as error:  # AttributeError: a library of another version
        warn(str(error))


def warn(text):
    """Once the window is there: a message box before would hold up the start."""
    global warning
    warning = pya.QTimer(pya.MainWindow.instance())
    warning.singleShot = True
    warning.timeout = lambda: pya.MessageBox.warning(tr("SEM image"), text, pya.MessageBox.Ok)
    warning.start(0)


def connect(address, port):
    """Turns the live image on and connects to the microscope, as if typed into its panel."""
    if host is not None:
        host.bridge.sem_connect(address.encode(), port)
