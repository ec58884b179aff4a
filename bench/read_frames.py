"""Frames a second of reading a recording into NumPy through the tavu package, for scripts/run-bench.

Usage: read_frames.py SOCKET FILE_ID SECONDS. Reads frames of stream 0 on device 0 round and
round, a tenth of the time to warm up and then the time measured, and prints the rate.
"""

import sys
import time

import tavu


def rate(recording: tavu.Recording, seconds: float) -> float:
    count, start = 0, time.perf_counter()
    while True:
        recording[count % len(recording)]
        count += 1
        now = time.perf_counter()
        if now >= start + seconds:
            return count / (now - start)


def main() -> None:
    socket_path, file_id, seconds = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
    with tavu.connect(socket_path, start_service=False) as client:
        with client.open_recording(0, file_id, 0) as recording:
            rate(recording, seconds / 10)
            print(rate(recording, seconds))


if __name__ == "__main__":
    main()
