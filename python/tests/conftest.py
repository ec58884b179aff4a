# Fixtures: a private tavusvc of this build on the emulated or a simulated recorder.
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))
BIN = Path(os.environ.get("TAVU_BIN_DIR", ROOT / "build" / "bin"))
SIM = Path(os.environ.get("TAVU_SIM_ROOT", ROOT / "build" / "sim"))

import tavu  # noqa: E402


def eventually(condition, bound=10.0):
    end = time.monotonic() + bound
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.01)
    return True


def short_folder():
    """A private folder whose path leaves room for a socket's name, which must stay short."""
    return Path(tempfile.mkdtemp(prefix="tavu-", dir="/tmp"))


class Service:
    """tavusvc noautoclose in private folders of its own."""

    def __init__(self, **env: str):
        root = self.root = short_folder()
        (root / "run").mkdir()
        (root / "data").mkdir()
        self.env = {**os.environ, "XDG_RUNTIME_DIR": str(root / "run"), "XDG_DATA_HOME": str(root / "data"), **env}
        self.socket = str(root / "run" / "tavusrv")
        self.process = subprocess.Popen([str(BIN / "tavusvc"), "noautoclose"], env=self.env)
        assert eventually(self._listens), "the service did not listen"

    def _listens(self):
        try:
            tavu.connect(self.socket, start_service=False).close()
            return True
        except tavu.NoService:
            return False

    def connect(self) -> "tavu.Client":
        return tavu.connect(self.socket, start_service=False)

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        self.process.wait(10)
        shutil.rmtree(self.root, ignore_errors=True)


@pytest.fixture
def emulator():
    service = Service(TAVUSRV_ENABLE_EMULATOR="1")
    yield service
    service.stop()


@pytest.fixture
def client(emulator):
    with emulator.connect() as connected:
        connected.pair_port(0, 0, "cam1", b"id")
        connected.set_port_config(0, 0, 64, 32)
        yield connected


@pytest.fixture
def sim(tmp_path):
    """A simulated recorder "REC-A" with two ports of 100 frames a second."""
    (tmp_path / "sim").mkdir()
    port = {"measuredFrameRate": 100.0}
    unit = {
        "name": "REC-A",
        "deviceType": 15,
        "clusterBytes": 4096,
        "ports": [{"name": "A1", **port}, {"name": "A2", **port}],
        "driveGroups": [{"drives": [{"physicalIndex": 0, "capacity": 100000000}]}],
    }
    (tmp_path / "sim" / "recorders.json").write_text(json.dumps({"recorders": [unit]}))
    service = Service(QUILLON_PATH_X64=str(SIM), QUILLON_SIM_ROOT=str(tmp_path / "sim"))
    assert eventually(lambda: service.connect().device_count() == 1)
    yield service
    service.stop()


def sim_frame(frame, port, width, height):
    """Pixel (x, y) of a simulated camera's frame: f + x + 2y + 4096p, in 16 bits."""
    import numpy as np

    y, x = np.mgrid[0:height, 0:width]
    return ((frame + x + 2 * y + 4096 * port) % 65536).astype(np.uint16)
