#!/usr/bin/python3
"""The main job on the emulated recorder, through the service's socket: pair and configure
the port, record 60 frames while showing progress, stop, list the recording, open it and
read a frame through its shared-memory region, and check the pixels."""
import mmap
import os
import socket
import sys
import time

import msgpack

WIDTH, HEIGHT, FRAMES = 640, 480, 60


class Client:
    def __init__(self, path):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.connect(path)
        self.unpacker = msgpack.Unpacker(raw=False)

    def request(self, message):
        self.sock.sendall(msgpack.packb(message, use_bin_type=True))
        for reply in self.unpacker:
            return reply
        while True:
            data = self.sock.recv(65536)
            if not data:
                sys.exit("the service closed the connection")
            self.unpacker.feed(data)
            for reply in self.unpacker:
                return reply

    def call(self, ordinal, **params):
        reply = self.request({"act": "exec", "ord": ordinal, "params": params})
        if "error" in reply:
            sys.exit(f"command {ordinal} failed: {reply['error']}")
        return reply.get("result", {})


def socket_path():
    runtime = os.environ.get("XDG_RUNTIME_DIR")
    return os.path.join(runtime, "tavusrv") if runtime else f"/tmp/tavusrv-{os.getuid()}/tavusrv"


def main():
    client = Client(socket_path())
    print("handshake:", client.request({"act": "verCheck", "ver": 0}))
    count = client.call(4)["count"]
    print(f"devices: {count}, device 0 is {client.call(5, deviceId=0)['name']!r}")

    client.call(34, deviceId=0, port=0, identity="demo-camera", info=b"\x01\x02", numFramesPerPacket=1)
    client.call(41, deviceId=0, port=0, width=WIDTH, height=HEIGHT, pixelFormat=0, tapGeometry=0)
    print(f"port 0 paired to {client.call(35, deviceId=0, port=0)['pairedTo']!r}, {WIDTH}x{HEIGHT}")

    client.call(42, deviceId=0, portMask=1, externalTrigger=0, type=1, count=FRAMES,
                usePretrigger=False, pretriggerCount=0)
    while not client.call(45, deviceId=0)["done"]:
        frames = client.call(47, deviceId=0, port=0)["numFrames"]
        print(f"\rrecording: {frames:3d}/{FRAMES} frames", end="", flush=True)
        time.sleep(0.1)
    client.call(43, deviceId=0)
    print(f"\rrecording: {FRAMES}/{FRAMES} frames, stopped")

    recording = client.call(26, deviceId=0)["files"][-1]
    print(f"recorded {recording['name']!r}: fileId {recording['fileId']}, streamId {recording['streamId']}, "
          f"{recording['numFrames']} frames of {recording['width']}x{recording['height']}")

    opened = client.call(27, deviceId=0, fileId=recording["fileId"], streamId=recording["streamId"])
    frame = 10
    client.call(30, deviceId=0, openFileId=opened["openFileId"], frame=frame)
    with open(f"/dev/shm/{opened['mapping']}", "r+b") as region_file:
        region = mmap.mmap(region_file.fileno(), WIDTH * HEIGHT * 2)
        # Below the header row every pixel continues the ramp that runs across frames.
        for pixel in (WIDTH, WIDTH + 1, WIDTH * HEIGHT // 2, WIDTH * HEIGHT - 1):
            value = int.from_bytes(region[pixel * 2:pixel * 2 + 2], "little")
            expected = (frame * WIDTH * HEIGHT + pixel) & 0xFFFF
            print(f"frame {frame} pixel {pixel}: {value} (expected {expected})")
            if value != expected:
                sys.exit("pixel mismatch")
        region.close()
    client.call(29, deviceId=0, openFileId=opened["openFileId"])
    print(f"read frame {frame} through shared memory region {opened['mapping']}: pixels check out")


if __name__ == "__main__":
    main()
