#!/usr/bin/env python3
"""Talks to a running tavusvc: the version handshake, then the device count."""
import os
import socket
import sys


def socket_path():
    runtime = os.environ.get("XDG_RUNTIME_DIR")
    if runtime:
        return os.path.join(runtime, "tavusrv")
    return f"/tmp/tavusrv-{os.getuid()}/tavusrv"


def fixstr(text):
    data = text.encode()
    return bytes([0xA0 | len(data)]) + data


def read_reply(sock, expected_length):
    data = b""
    while len(data) < expected_length:
        chunk = sock.recv(expected_length - len(data))
        if not chunk:
            sys.exit(f"service closed the connection after {data.hex(' ')}")
        data += chunk
    return data


def main():
    path = socket_path()
    sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    sock.connect(path)
    print(f"connected to {path}")

    handshake = b"\x82" + fixstr("act") + fixstr("verCheck") + fixstr("ver") + b"\x00"
    sock.sendall(handshake)
    reply = read_reply(sock, 14)
    print(f"handshake: sent {handshake.hex(' ')}")
    print(f"           got  {reply.hex(' ')}")
    if reply != b"\x81" + fixstr("result") + b"\x81" + fixstr("ver") + b"\x00":
        sys.exit("unexpected handshake reply")

    device_count = b"\x83" + fixstr("act") + fixstr("exec") + fixstr("ord") + b"\x04" + fixstr("params") + b"\x80"
    sock.sendall(device_count)
    expected_head = b"\x81" + fixstr("result") + b"\x81" + fixstr("count")
    head = read_reply(sock, len(expected_head) + 1)
    if head[:-1] != expected_head:
        sys.exit(f"unexpected reply {head.hex(' ')}")
    count = head[-1]
    if count == 0xCC:
        count = read_reply(sock, 1)[0]
    print(f"deviceCount: {count}")
    sock.close()


if __name__ == "__main__":
    main()
