# Runs the tests of the library SEM_TESTS within KLayout and ends with their result.
import ctypes
import os
import sys

import pya

EVALUATE = ctypes.PYFUNCTYPE(ctypes.c_void_p, ctypes.c_char_p)
answer = None  # kept until the next one


@EVALUATE
def evaluate(expression):
    global answer
    names = {"pya": pya, "view": pya.LayoutView.current(), "window": pya.MainWindow.instance()}
    answer = ctypes.create_string_buffer(str(eval(expression.decode(), names)).encode())
    return ctypes.addressof(answer)


def ended(result):
    sys.stdout.flush()
    pya.Application.instance().exit(result)


FINISHED = ctypes.PYFUNCTYPE(None, ctypes.c_int)
finished = FINISHED(ended)
tests = ctypes.PyDLL(os.environ["SEM_TESTS"])
tests.start_tests(evaluate, finished)
