"""Relays between KLayout and the microscope at the control port given, and writes into every pixel of
the scan data when it went out: milliseconds of the monotonic clock, halved, as a grey value. Prints
the control port at which it listens."""
import contextlib
import socket
import struct
import sys
import threading
import time

HEADER, RUN = 32, 20  # bytes before the body, bytes of it before the pixels


def free_pair():
    while True:
        control = socket.create_server(("127.0.0.1", 0))
        with contextlib.suppress(OSError, OverflowError):
            return control, socket.create_server(("127.0.0.1", control.getsockname()[1] + 1))


def copy(source, target):
    while data := source.recv(65536):
        target.sendall(data)


def stamp(source, target):
    stream = source.makefile("rb", 1 << 18)
    while header := stream.read(HEADER):
        body = stream.read(struct.unpack_from("<I", header, 16)[0])
        grey = bytes([time.monotonic_ns() // 2000000 % 256])
        target.sendall(header + body[:RUN] + grey * (len(body) - RUN))


def until_either_ends(relay, source, target):
    with contextlib.suppress(OSError, struct.error):
        relay(source, target)
    for end in (source, target):
        with contextlib.suppress(OSError):
            end.shutdown(socket.SHUT_RDWR)


def start(work, *arguments):
    threading.Thread(target=work, args=arguments, daemon=True).start()


def serve(listener, port, downwards):
    while True:
        host, _ = listener.accept()
        microscope = socket.create_connection(("127.0.0.1", port))
        start(until_either_ends, copy, host, microscope)
        start(until_either_ends, downwards, microscope, host)


control, data = free_pair()
microscope_port = int(sys.argv[1])
print(control.getsockname()[1], flush=True)
start(serve, data, microscope_port + 1, stamp)
serve(control, microscope_port, copy)
