#!/usr/bin/env python3
"""Records the seeds in corpus/: what simulator and viewer say to each other, cut into small files.

usage: record-corpus.py BIN_FOLDER      (with microscope-simulator and layout-viewer)
"""
import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import threading

CORPUS = pathlib.Path(__file__).parent / "corpus"
SAMPLE = pathlib.Path(__file__).parent.parent / "examples" / "sample-chip.gds"
HEADER = 32
# The first byte of a control or data seed tells how the stream is cut, 0: not at all; that of a data
# seed's second byte chooses the edge of the frame, that of a commands seed the speed of the stage.
CUTS = (0, 1, 9)
SETTINGS = """[tescan]
imageSize={size}
port=8300
host=127.0.0.1
detector=1
dwelltime=1000
display={display}
alignMap={designs}
"""


class Relay(threading.Thread):
    """Passes one connection on to the simulator and keeps what either side said."""

    def __init__(self, listener, port):
        super().__init__(daemon=True)
        self.listener, self.port = listener, port
        self.said = {"client": b"", "microscope": b""}

    def run(self):
        client, _ = self.listener.accept()
        microscope = socket.create_connection(("127.0.0.1", self.port))
        pumps = [threading.Thread(target=self.pump, args=pair, daemon=True)
                 for pair in ((client, microscope, "client"), (microscope, client, "microscope"))]
        for pump in pumps:
            pump.start()

    def pump(self, source, sink, who):
        try:
            while data := source.recv(65536):
                self.said[who] += data
                sink.sendall(data)
            sink.shutdown(socket.SHUT_WR)
        except OSError:
            pass  # the viewer quits in the middle of the scan


def listen_pair():
    while True:
        control, data = socket.socket(), socket.socket()
        control.bind(("127.0.0.1", 0))
        try:
            data.bind(("127.0.0.1", control.getsockname()[1] + 1))
        except OSError:
            continue
        control.listen(), data.listen()
        return control, data


def record(bin_folder, edge, viewer_options, simulator_options=()):
    simulator = subprocess.Popen(
        [bin_folder / "microscope-simulator", "--port", "0", "--rows-per-message", "4",
         *simulator_options], stdout=subprocess.PIPE, text=True)
    try:
        while not (line := simulator.stdout.readline()).startswith("serving control port"):
            pass
        port = int(line.split()[3].rstrip(","))
        listeners = listen_pair()
        relays = [Relay(listener, port + i) for i, listener in enumerate(listeners)]
        for relay in relays:
            relay.start()
        with tempfile.TemporaryDirectory() as folder:
            store = pathlib.Path(folder) / "layout-viewer" / "layout-viewer.conf"
            store.parent.mkdir()
            store.write_text(SETTINGS.format(size=edge, display=0, designs=""))
            subprocess.run(
                [bin_folder / "layout-viewer", SAMPLE, "--settings", folder, "--connect",
                 f"127.0.0.1:{listeners[0].getsockname()[1]}", "--display", "live", "--screenshot",
                 pathlib.Path(folder) / "s.png", "--after", "2", *viewer_options],
                env={**os.environ, "QT_QPA_PLATFORM": "offscreen"}, check=True)
            stored = store.read_bytes()
        return relays[0].said["client"], relays[0].said["microscope"], \
            relays[1].said["microscope"], stored
    finally:
        simulator.terminate()


def messages(stream):
    while len(stream) >= HEADER:
        end = HEADER + int.from_bytes(stream[16:20], "little")
        yield stream[:end]
        stream = stream[end:]


def session(replies, data):
    # Steps of the session target: connected, answered, data channel up, placed, aligned, a scan run.
    def feed(name, channel=0):
        message = next(m for m in messages(replies if channel == 0 else data)
                       if m.startswith(name + b"\0"))[:255]
        return bytes([channel, len(message)]) + message

    return (b"\3\0" + feed(b"TcpRegDataPort") + feed(b"DtEnumDetectors") + b"\3\1"
            + feed(b"GetViewField") + feed(b"StgGetPosition") + b"\4\0" + b"\4\x08" * 2
            + feed(b"ScData", 2) + b"\x04\x02" + b"\x08\x05chipA" + b"\x05\x01\x02" + b"\x0b\x01"
            + b"\4\x07")


def write(target, name, content):
    path = CORPUS / target / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)


def main():
    bin_folder = pathlib.Path(sys.argv[1]).resolve()
    for name, faults in (("plain", ()), ("odd", ("--fault", "twice,unknown,nonfinite,truncated"))):
        commands, replies, data, stored = record(bin_folder, 32, ("--set", "dwellTime=500ns"), faults)
        for cut in CUTS:
            write("commands", f"{name}-{cut}", bytes([2, cut]) + commands[:1500])
            write("control", f"{name}-{cut}", bytes([cut]) + replies[:1500])
            write("data", f"{name}-{cut}", bytes([cut, 3]) + data[:2500])
        for reply in {m[:16]: m for m in messages(replies)}.values():
            label = reply[:16].rstrip(b"\0").decode()
            write("control", f"{name}-{label}", b"\0" + reply)
            # A step of the session: channel 0, so many bytes, the message.
            write("session", f"{name}-{label}", bytes([0, len(reply)]) + reply[:255])
        if name == "plain":
            write("session", "placed", session(replies, data))
    write("settings", "saved", stored)
    designs = ", ".join(f'"chip{i};{i};1;2.5;-3;1e+10;5;6;7"' for i in range(3))
    write("settings", "designs", SETTINGS.format(size=512, display=2, designs=designs).encode())
    lists = [b"det.0.name=SE\ndet.0.detector=0\ndet.1.name=BSE\ndet.1.detector=1\n", b"connected",
             b"info: Version: 1.0\0", b"disconnected..."]
    padded = [text + b"\0" * (len(text) % 2) for text in lists]
    write("panel", "statuses", b"".join(
        bytes([kind, len(text) // 2]) + text for kind, text in zip((33, 0, 0, 0), padded)))


if __name__ == "__main__":
    main()
