"""The package's library, see bridge.h."""
import ctypes
import os

LIBRARIES = os.path.join(os.path.dirname(__file__), "..", "..", "lib")
EVENT = ctypes.PYFUNCTYPE(None, ctypes.c_char_p, ctypes.c_char_p)

TEXT, NUMBER, REAL = ctypes.c_char_p, ctypes.c_int, ctypes.c_double
FUNCTIONS = {
    "sem_start": (TEXT, [TEXT, EVENT]),
    "sem_stop": (None, []),
    "sem_arrange_docks": (None, []),
    "sem_take_canvas": (NUMBER, []),
    "sem_set_view": (None, [REAL, REAL, REAL, NUMBER, NUMBER]),
    "sem_set_design": (None, [TEXT] + [REAL] * 5),
    "sem_set_ground": (None, [TEXT]),
    "sem_show_tab": (None, [TEXT, NUMBER]),
    "sem_set_mode": (None, [NUMBER]),
    "sem_act": (None, [TEXT]),
    "sem_connect": (None, [TEXT, NUMBER]),
    "sem_take_shapes": (None, [ctypes.POINTER(NUMBER), NUMBER]),
    "sem_write_clone": (TEXT, [TEXT]),
    "sem_copy_clone": (NUMBER, [TEXT, TEXT, ctypes.POINTER(REAL)]),
    "sem_list_clones": (None, [TEXT]),
}


def load():
    """The library, with its functions' types. It raises Python callbacks, so the interpreter's lock
    has to stay held while it runs: PyDLL, not CDLL."""
    library = ctypes.PyDLL(os.path.join(LIBRARIES, "libsembridge.so"))
    for name, (result, arguments) in FUNCTIONS.items():
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


def plugin_file():
    return os.path.join(LIBRARIES, "libbackgroundSEM.so").encode()
