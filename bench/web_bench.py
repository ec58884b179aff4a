#!/usr/bin/python3
"""Figures of the web console beside the service's own, for scripts/run-bench.

Usage: web_bench.py BIN_DIR RESULTS_JSON

Starts BIN_DIR/tavuweb (which starts BIN_DIR/tavusvc) with the emulated recorder in private
folders, measures it as a page would see it, and adds its rows to RESULTS_JSON, written by
tavubench earlier in the same run:
- live frames per second of a 2048 x 2048 port that reach a WebSocket page, shown at
  1024 x 1024, beside the rate at which the service's liveFrame alone makes such frames;
- the time from a recording's start to the first pushed progress with frames in it (the page's
  bar moving), beside the time to the RecordingStarted event on the same socket.
"""
import json
import os
import pathlib
import re
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.request

import websocket

SIDE = 2048
SECONDS = float(os.environ.get('TAVU_BENCH_SECONDS', '1')) * 5


def start(bin_dir, home):
    env = {k: v for k, v in os.environ.items() if not k.startswith(('XDG_', 'TAVUSRV_', 'QUILLON_'))}
    env.update(XDG_RUNTIME_DIR=str(home / 'run'), XDG_DATA_HOME=str(home / 'data'), TAVUSRV_ENABLE_EMULATOR='1')
    (home / 'run').mkdir(mode=0o700)
    (home / 'data').mkdir()
    process = subprocess.Popen([str(bin_dir / 'tavuweb'), '--listen', '127.0.0.1:0', '--live-rate', '0'],
                               stdout=subprocess.PIPE, env=env, text=True)
    found = re.search(r'(http://[^/]+)/\?token=(\w+)', process.stdout.readline())
    if not found:
        raise SystemExit('tavuweb did not start')
    return process, found.group(1), found.group(2)


class Page:
    def __init__(self, base, token):
        self.base, self.token = base, token
        self.ws = websocket.create_connection(base.replace('http', 'ws') + '/ws', origin=base,
                                              header=[f'Authorization: Bearer {token}'], timeout=30)

    def post(self, path, body):
        request = urllib.request.Request(f'{self.base}/api/{path}', data=json.dumps(body).encode(), method='POST',
                                         headers={'Authorization': f'Bearer {self.token}'})
        urllib.request.urlopen(request, timeout=30).read()

    def until(self, test):
        while True:
            data = self.ws.recv()
            if isinstance(data, str):
                message = json.loads(data)
                if test(message):
                    return message


def live_rate(page):
    page.post('devices/0/ports/0/config', {'width': SIDE, 'height': SIDE})
    page.ws.send(json.dumps({'op': 'live', 'device': 0, 'port': 0, 'display': {'maxWidth': 1024, 'maxHeight': 1024}}))
    frames, started = 0, None
    while True:
        data = page.ws.recv()
        if not isinstance(data, bytes):
            continue
        page.ws.send('{"op":"ack"}')
        frames += 1
        now = time.monotonic()
        if started is None and frames == 10:  # after a warm-up of 10 frames
            started, frames = now, 0
        elif started is not None and now - started >= SECONDS:
            page.ws.send('{"op":"liveStop"}')
            return frames / (now - started)


def progress_delay(page, rounds=10):
    page.post('devices/0/ports/0/config', {'width': 256, 'height': 256})
    moved, started = [], []
    for _ in range(rounds):
        t0 = time.monotonic()
        page.post('devices/0/record', {'ports': [0], 'stop': 'frames', 'count': 5})
        page.until(lambda m: m['kind'] == 'event' and m['name'] == 'RecordingStarted')
        started.append(time.monotonic() - t0)
        page.until(lambda m: m['kind'] == 'recording' and any(p['frames'] > 0 for p in m['recording']['ports']))
        moved.append(time.monotonic() - t0)
        page.until(lambda m: m['kind'] == 'recordingEnded')
    return statistics.median(moved) * 1000, statistics.median(started) * 1000


def main():
    bin_dir, results_path = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    results = json.loads(results_path.read_text()) if results_path.exists() else {'results': []}
    live_mib = next((r['figure'] for r in results['results'] if r['name'].startswith('liveFrame')), 0)
    with tempfile.TemporaryDirectory() as folder:
        process, base, token = start(bin_dir, pathlib.Path(folder))
        try:
            page = Page(base, token)
            page.until(lambda m: m['kind'] == 'state' and m['devices'])
            page.post('devices/0/ports/0/pair', {'camera': 'bench'})
            fps = live_rate(page)
            moved, started = progress_delay(page)
            page.ws.close()
        finally:
            process.send_signal(signal.SIGTERM)
            process.wait(timeout=30)
    rows = [
        {'name': f'tavuweb live {SIDE}x{SIDE} to a page at 1024x1024', 'unit': 'fps', 'figure': fps,
         'baseline': live_mib / (SIDE * SIDE * 2 / 1048576), 'baselineName': 'liveFrame of the service alone'},
        {'name': 'recording start to the page\'s progress moving', 'unit': 'ms', 'figure': moved,
         'baseline': started, 'baselineName': 'RecordingStarted on the same socket'},
    ]
    for row in rows:
        row['ratio'] = row['figure'] / row['baseline'] if row['baseline'] else 0
        print(f"{row['name']:<48} {row['figure']:14.1f} {row['baseline']:14.1f} {row['unit']:<6} "
              f"{row['ratio']:7.3f} {'':>7}  {row['baselineName']}")
    if fps < 20:
        print(f'tavuweb live view: {fps:.1f} frames/s is below the 20 that a page needs')
    results['results'].extend(rows)
    results_path.write_text(json.dumps(results, indent=2) + '\n')


if __name__ == '__main__':
    main()
