# A private tavuweb, with the tavusvc it starts, for the console's tests: both run in a folder of
# their own (socket, emulator files), so tests run in parallel and leave nothing behind.
import json
import os
import pathlib
import re
import signal
import subprocess
import time
import urllib.error
import urllib.request

import pytest
import websocket

BIN = pathlib.Path(os.environ.get('TAVU_BIN_DIR', pathlib.Path(__file__).resolve().parents[2] / 'build' / 'bin'))
SIM = pathlib.Path(os.environ.get('TAVU_SIM_ROOT', BIN.parent / 'sim'))


class NoRedirect(urllib.request.HTTPRedirectHandler):
    def redirect_request(self, *args, **kwargs):
        return None


OPENER = urllib.request.build_opener(NoRedirect)


class PageSocket:
    """The page's WebSocket: messages in order, each JSON, or bytes for a frame."""

    def __init__(self, console, origin=None, token=True):
        headers = [f'Authorization: Bearer {console.token}'] if token else []
        self.ws = websocket.create_connection(console.base.replace('http', 'ws') + '/ws', header=headers,
                                              origin=origin or console.base, timeout=20)

    def next(self, kind, test=lambda message: True, bound=20):
        """The next message of that kind that passes the test; 'frame' for binary ones."""
        deadline = time.monotonic() + bound
        while time.monotonic() < deadline:
            data = self.ws.recv()
            message = data if isinstance(data, bytes) else json.loads(data)
            got = 'frame' if isinstance(data, bytes) else message['kind']
            if got == kind and test(message):
                return message
        raise AssertionError(f'no {kind} message within {bound} s')

    def send(self, message):
        self.ws.send(json.dumps(message))

    def close(self):
        self.ws.close()


class Console:
    def __init__(self, home, environment=None, args=()):
        self.home = pathlib.Path(home)
        env = {k: v for k, v in os.environ.items() if not k.startswith(('XDG_', 'TAVUSRV_', 'QUILLON_'))}
        env.update(XDG_RUNTIME_DIR=str(self.home / 'run'), XDG_DATA_HOME=str(self.home / 'data'))
        env.update(environment or {'TAVUSRV_ENABLE_EMULATOR': '1'})
        (self.home / 'run').mkdir(mode=0o700)
        (self.home / 'data').mkdir()
        self.process = subprocess.Popen([str(BIN / 'tavuweb'), '--listen', '127.0.0.1:0', *args],
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=env)
        line = self.process.stdout.readline()
        found = re.search(r'(http://[^/]+)/\?token=(\w+)', line)
        assert found, f'tavuweb printed {line!r}: {self.process.stderr.read() if not line else ""}'
        self.base, self.token = found.group(1), found.group(2)

    def request(self, method, path, body=None, headers=None, token=True):
        data = json.dumps(body).encode() if isinstance(body, (dict, list)) else body
        request = urllib.request.Request(self.base + path, data=data, method=method, headers=headers or {})
        if token:
            request.add_header('Authorization', f'Bearer {self.token}')
        try:
            with OPENER.open(request, timeout=30) as response:
                return response.status, response.headers, response.read()
        except urllib.error.HTTPError as error:
            return error.code, error.headers, error.read()

    def api(self, method, path, body=None, expect=200):
        status, _, data = self.request(method, '/api/' + path, body)
        value = json.loads(data) if data else None
        assert status == expect, f'{method} {path}: {status} {value}'
        return value

    def socket(self, **kwargs):
        return PageSocket(self, **kwargs)

    def service_pids(self):
        """The tavusvc processes that serve this console's folder."""
        pids = []
        for proc in pathlib.Path('/proc').iterdir():
            try:
                if proc.name.isdigit() and (proc / 'exe').resolve().name == 'tavusvc' and \
                        f'XDG_RUNTIME_DIR={self.home / "run"}'.encode() in (proc / 'environ').read_bytes():
                    pids.append(int(proc.name))
            except OSError:
                pass
        return pids

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        try:
            return self.process.wait(timeout=20)
        finally:
            if self.process.poll() is None:
                self.process.kill()


def eventually(test, bound=20):
    deadline = time.monotonic() + bound
    while time.monotonic() < deadline:
        value = test()
        if value:
            return value
        time.sleep(0.05)
    return test()


def pixel(message, x, y):
    """Grey pixel (x, y) of a frame message, and its header."""
    length = int.from_bytes(message[:4], 'little')
    header = json.loads(message[4:4 + length])
    return message[4 + length + y * header['outWidth'] + x], header


@pytest.fixture
def console(tmp_path):
    running = Console(tmp_path)
    yield running
    assert running.stop() == 0


@pytest.fixture
def sim_console(tmp_path):
    root = tmp_path / 'sim'
    root.mkdir()
    # One recorder with a camera port at 100 frames per second; pixel (x, y) of frame f is f + x + 2y.
    recorder = {'name': 'REC-A', 'deviceType': 15, 'clusterBytes': 4096,
                'ports': [{'name': 'A1', 'measuredFrameRate': 100.0}, {'name': 'A2', 'measuredFrameRate': 100.0}],
                'driveGroups': [{'drives': [{'physicalIndex': 0, 'capacity': 100000000}]}]}

    def describe(connected=True):
        # In one step, so that the library never reads half a description.
        (root / 'new.json').write_text(json.dumps({'recorders': [dict(recorder, connected=connected)]}))
        (root / 'new.json').rename(root / 'recorders.json')

    describe()
    running = Console(tmp_path, {'QUILLON_PATH_X64': str(SIM), 'QUILLON_SIM_ROOT': str(root)})
    running.describe = describe
    yield running
    running.stop()
