# The device server against a real service in private folders, driven through the control
# system's Python client. Every device server listens on loopback only, on a free port.
import json
import os
import queue
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

import pytest
import tango

BIN = Path(os.environ.get("TAVU_BIN_DIR", Path(__file__).resolve().parents[2] / "build" / "bin"))
SIM = Path(os.environ.get("TAVU_SIM_DIR", BIN.parent / "sim"))


def eventually(condition, bound=15.0, what="condition"):
    """Waits for condition() to be true, looking often; fails the test past the bound."""
    deadline = time.monotonic() + bound
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            pytest.fail(f"timed out waiting for {what}")
        time.sleep(0.02)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Home:
    """Private runtime and data folders, and the environment every process here gets."""

    def __init__(self, root, extra):
        self.root = Path(root)
        (self.root / "run").mkdir()
        (self.root / "data").mkdir()
        self.env = {k: v for k, v in os.environ.items() if not k.startswith(("TAVUSRV_", "QUILLON_", "TANGO_"))}
        self.env.update({"XDG_RUNTIME_DIR": str(self.root / "run"), "XDG_DATA_HOME": str(self.root / "data")})
        self.env.update(extra)

    def tavuctl(self, *args):
        done = subprocess.run([BIN / "tavuctl", "--json", *args], env=self.env, capture_output=True, text=True,
                              timeout=60, stdin=subprocess.DEVNULL)
        assert done.returncode == 0, done.stderr
        return json.loads(done.stdout)

    def service_pids(self):
        """The services of this home: tavusvc processes with its runtime folder."""
        mine = f"XDG_RUNTIME_DIR={self.root / 'run'}".encode()
        pids = []
        for entry in Path("/proc").iterdir():
            try:
                if entry.name.isdigit() and os.readlink(entry / "exe").endswith("/tavusvc") \
                        and mine in (entry / "environ").read_bytes().split(b"\0"):
                    pids.append(int(entry.name))
            except OSError:
                pass
        return pids


def shared_regions(pid):
    """The shared memory objects a process maps."""
    maps = Path(f"/proc/{pid}/maps").read_text().splitlines()
    return {Path(line.split()[-1]) for line in maps if "/dev/shm/orek_tavu" in line}


class Server:
    """tavutango with one device, without a database (or with a file holding its properties)."""

    def __init__(self, home, properties=None):
        self.home = home
        options = ["-nodb", "-dlist", "test/tavu/1"]
        if properties is not None:
            path = home.root / "devices.db"
            lines = ['tavutango/test/DEVICE/TavuRecorder: "test/tavu/1"']
            lines += [f'test/tavu/1->{key}: "{value}"' for key, value in properties.items()]
            path.write_text("\n".join(lines) + "\n")
            options = [f"-file={path}"]
        # A free port can be taken by another test before the server binds it: then another one.
        for _ in range(3):
            self.port = free_port()
            self.log = open(home.root / "tavutango.log", "w+")
            self.process = subprocess.Popen(
                [BIN / "tavutango", "test", *options, "-ORBendPoint", f"giop:tcp:127.0.0.1:{self.port}"],
                env=home.env, stdout=self.log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
            self.device = eventually(self._connect, what="the device server to answer")
            if self.device != "ended":
                return
        pytest.fail(f"tavutango ended at start:\n{self.output()}")

    def _connect(self):
        if self.process.poll() is not None:
            return "ended"
        try:
            device = tango.DeviceProxy(f"tango://127.0.0.1:{self.port}/test/tavu/1#dbase=no")
            device.ping()
            return device
        except tango.DevFailed:
            return None

    def output(self):
        self.log.seek(0)
        return self.log.read()

    def stop(self):
        """SIGTERM, once; the exit status."""
        if self.process.returncode is None:
            self.process.send_signal(signal.SIGTERM)
            self.process.wait(timeout=20)
            self.log.close()
        return self.process.returncode


class Events:
    """Change (or other) events of one attribute, in the order they came."""

    def __init__(self, device, attribute, kind=tango.EventType.CHANGE_EVENT):
        self.queue = queue.Queue()
        self.device = device
        self.id = device.subscribe_event(attribute, kind, self._arrived)

    def _arrived(self, event):
        if not event.err:
            self.queue.put(event.attr_value.value)

    def wait_for(self, wanted, bound=15.0):
        """Every value up to the first that `wanted` accepts."""
        seen = []
        deadline = time.monotonic() + bound
        while True:
            try:
                value = self.queue.get(timeout=max(0.0, deadline - time.monotonic()))
            except queue.Empty:
                pytest.fail(f"no wanted event; saw {seen}")
            seen.append(value)
            if wanted(value):
                return seen

    def close(self):
        self.device.unsubscribe_event(self.id)


@pytest.fixture
def emulator_home():
    with tempfile.TemporaryDirectory(prefix="tavutango-") as root:
        yield Home(root, {"TAVUSRV_ENABLE_EMULATOR": "1"})


@pytest.fixture
def emulator(emulator_home):
    """The device server on the emulated recorder; the server starts the service itself."""
    server = Server(emulator_home)
    yield server
    assert server.stop() == 0


def write_recorders(home, recorders):
    """Replaces the simulated recorders' description in one step, as the library wants it."""
    staged = home.root / "sim" / "recorders.json.new"
    staged.write_text(json.dumps({"recorders": recorders}))
    staged.rename(home.root / "sim" / "recorders.json")


def sim_recorder(name, ports, connected=True):
    return {"name": name, "deviceType": 15, "clusterBytes": 4096, "connected": connected,
            "ports": [{"name": port, "measuredFrameRate": 100.0} for port in ports],
            "driveGroups": [{"drives": [{"physicalIndex": 0, "capacity": 100000000}]}]}


@pytest.fixture
def sim_home():
    with tempfile.TemporaryDirectory(prefix="tavutango-") as root:
        (Path(root) / "sim").mkdir()
        home = Home(root, {"QUILLON_PATH_X64": str(SIM), "QUILLON_SIM_ROOT": str(Path(root) / "sim")})
        write_recorders(home, [sim_recorder("REC-A", ["A1"]), sim_recorder("REC-B", ["B1", "B2"])])
        yield home
