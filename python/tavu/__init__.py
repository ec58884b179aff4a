"""tavu: record high-speed cameras through tavusvc and read their frames as NumPy arrays.

tavusvc is the background service that drives multi-port camera data recorders (or an
emulated one). This package is its Python client: :func:`connect` finds the service, starting
it when none runs, and returns a :class:`Client` with one method per command of the service,
in snake_case with Python types.

Frames come as read-only ``uint16`` arrays of shape ``(height, width)`` that view the
service's shared memory without a copy, valid until the next read of the same recording or
live view::

    import tavu

    with tavu.connect() as client:
        client.pair_port(0, 0, "cam1")
        client.set_port_config(0, 0, 640, 480)
        [entry] = client.record(0, ports=[0], frames=100)
        with client.open_recording(0, entry.file_id, entry.stream_id) as rec:
            print(len(rec), rec[10].mean())
            stack = rec[0:5]            # a copy, shape (5, 480, 640)
        with client.live(0, 0) as live:
            image = live.grab().copy()
        for event in client.events(timeout=5):
            print(event)

Errors: :class:`ServiceError` carries the service's text when it refuses a command,
:class:`ConnectionLost` tells that the connection ended, :class:`NoService` that no service
could be reached or started.
"""

from ._client import Client, connect
from ._connection import Command, default_socket_path
from ._errors import ConnectionLost, NoService, ServiceError, TavuError
from ._frames import PIXEL, LiveView, Recording
from ._types import (
    Event,
    EventType,
    FileEntry,
    FileInfo,
    FrameGeometry,
    HardwareType,
    OpenedFile,
    PortConfig,
    RecordingFile,
    RecordingProgress,
    RecoveryStatus,
    StopCondition,
    Trigger,
    filetime_to_datetime,
)

__version__ = "1.0.0"

__all__ = [
    "Client",
    "Command",
    "ConnectionLost",
    "Event",
    "EventType",
    "FileEntry",
    "FileInfo",
    "FrameGeometry",
    "HardwareType",
    "LiveView",
    "NoService",
    "OpenedFile",
    "PIXEL",
    "PortConfig",
    "Recording",
    "RecordingFile",
    "RecordingProgress",
    "RecoveryStatus",
    "ServiceError",
    "StopCondition",
    "TavuError",
    "Trigger",
    "connect",
    "default_socket_path",
    "filetime_to_datetime",
]
