"""Frames as NumPy arrays that view the service's shared regions, for playback and live view."""

from __future__ import annotations

import dataclasses
import datetime
import mmap
import operator
import os
from typing import TYPE_CHECKING, Iterator

import msgpack
import numpy as np

from ._errors import ConnectionLost, TavuError
from ._types import FileEntry, FileInfo

if TYPE_CHECKING:
    from ._client import Client

#: Pixels as the service stores them: 16 bits, little-endian.
PIXEL = np.dtype("<u2")

# Where POSIX shared memory objects live on Linux.
_SHARED_MEMORY = "/dev/shm"


class _Region:
    """A shared region of the service mapped read-only. The mapping stays while any array made
    from it lives, also after the service removed the region's name."""

    def __init__(self, name: str) -> None:
        if not name or "/" in name or name.startswith("."):
            raise TavuError(f"the service named an unusable shared region {name!r}")
        try:
            fd = os.open(os.path.join(_SHARED_MEMORY, name), os.O_RDONLY | os.O_CLOEXEC)
            try:
                self._map = mmap.mmap(fd, os.fstat(fd).st_size, mmap.MAP_SHARED, mmap.PROT_READ)
            finally:
                os.close(fd)
        except OSError as error:
            raise TavuError(f"cannot map the shared region {name!r} of the service: {error}") from error

    def frame(self, width: int, height: int) -> np.ndarray:
        """The region's first frame of that geometry, as a read-only view without a copy."""
        if width * height * PIXEL.itemsize > len(self._map):
            raise TavuError(
                f"a frame of {width} x {height} pixels doesn't fit the shared region of {len(self._map)} bytes"
            )
        return np.frombuffer(self._map, dtype=PIXEL, count=width * height).reshape(height, width)


class Recording:
    """A recording opened for reading its frames; made by :meth:`Client.open_recording`.

    ``rec[i]`` is frame *i* (negative counts from the end) as a read-only ``uint16`` array of
    shape ``(height, width)`` that views the service's shared memory without a copy. **It is
    valid until the next read** of this recording: the next ``rec[j]`` (or step of iteration)
    puts frame *j* into the same memory, and every such view then shows frame *j*. Call
    ``.copy()`` to keep a frame. ``rec[a:b:c]`` reads those frames into one new array of shape
    ``(n, height, width)``. ``len(rec)`` is the number of frames; iterating yields every frame
    in turn, each valid until the next.

    The recording's catalogue fields are attributes: ``name``, ``port``, ``camera``,
    ``file_id``, ``stream_id``, ``width``, ``height``, ``num_frames``, ``num_dropped_frames``,
    ``size``, ``timestamp``, ``duration``, ``start_time``, ``end_time`` and ``recorded``; and
    ``device``. Use it as a context manager, or call :meth:`close`.
    """

    device: int
    name: str
    port: str
    camera: str
    file_id: int
    stream_id: int
    width: int
    height: int
    num_frames: int
    num_dropped_frames: int
    size: int
    timestamp: int
    duration: int
    start_time: int
    end_time: int

    def __init__(self, client: Client, device: int, file_id: int, stream_id: int) -> None:
        self._client = client
        self.device = device
        opened = client.open_file(device, file_id, stream_id)
        self._open_file_id: int | None = opened.open_file_id
        try:
            info: FileInfo = client.file_info(device, opened.open_file_id)
            self._frame = _Region(opened.mapping).frame(info.width, info.height)
            entry = next(
                (e for e in client.list_files(device) if e.file_id == file_id and e.stream_id == stream_id), None
            )
            if entry is None:
                raise TavuError(f"recording {file_id}/{stream_id} of device {device} is not in its catalogue")
        except BaseException:
            self.close()
            raise
        # Every readFrame request of this recording is the same but for the frame number, which
        # comes last: its bytes are packed once, and each read adds the number.
        self._read_request = client._packed_read_request(device, opened.open_file_id)
        self.entry = dataclasses.replace(entry, width=info.width, height=info.height, num_frames=info.num_frames)
        for field in dataclasses.fields(FileEntry):
            setattr(self, field.name, getattr(self.entry, field.name))

    @property
    def recorded(self) -> datetime.datetime | None:
        """When the recording was made, in UTC; None when the recorder didn't say."""
        return self.entry.recorded

    @property
    def shape(self) -> tuple[int, int, int]:
        """``(frames, height, width)``, as of the whole recording read into one array."""
        return (self.num_frames, self.height, self.width)

    def __len__(self) -> int:
        return self.num_frames

    def read(self, index: int) -> np.ndarray:
        """Frame ``index`` as a view of the shared memory, valid until the next read."""
        if self._open_file_id is None:
            raise TavuError("the recording is closed")
        self._client._read_packed(self._read_request + msgpack.packb(index))
        return self._frame.view()

    def __getitem__(self, index: int | slice) -> np.ndarray:
        if isinstance(index, slice):
            frames = range(*index.indices(self.num_frames))
            stack = np.empty((len(frames), self.height, self.width), dtype=PIXEL)
            for position, frame in enumerate(frames):
                stack[position] = self.read(frame)
            return stack
        position = operator.index(index)
        if position < 0:
            position += self.num_frames
        if not 0 <= position < self.num_frames:
            raise IndexError(f"frame {index} is beyond the {self.num_frames} frames of the recording")
        return self.read(position)

    def __iter__(self) -> Iterator[np.ndarray]:
        for index in range(self.num_frames):
            yield self.read(index)

    def close(self) -> None:
        """Closes the recording on the service. Arrays read before stay readable."""
        if self._open_file_id is not None:
            open_file_id, self._open_file_id = self._open_file_id, None
            try:
                self._client.close_file(self.device, open_file_id)
            except ConnectionLost:
                pass  # the service closes what a connection left open when it ends

    def __enter__(self) -> Recording:
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return (
            f"<tavu.Recording {self.file_id}/{self.stream_id} {self.name!r} of device {self.device}: "
            f"{self.num_frames} frames of {self.width} x {self.height}>"
        )


class LiveView:
    """Live view of one port; made by :meth:`Client.live`.

    :meth:`grab` takes the next frame as a read-only ``uint16`` array of shape
    ``(height, width)`` that views the service's shared memory without a copy, valid until the
    next grab. Use it as a context manager, or call :meth:`close`.
    """

    def __init__(self, client: Client, device: int, port: int) -> None:
        self._client = client
        self.device = device
        self.port = port
        self._region: _Region | None = None
        mapping = client.start_live(device, port)
        self._started = True
        try:
            self._region = _Region(mapping)
        except BaseException:
            self.close()
            raise

    def grab(self) -> np.ndarray:
        """Has the port deliver a frame and returns it, valid until the next grab."""
        if self._region is None:
            raise TavuError("the live view is closed")
        geometry = self._client.live_frame(self.device, self.port)
        return self._region.frame(geometry.width, geometry.height)

    def close(self) -> None:
        """Stops the live view. Arrays grabbed before stay readable."""
        self._region = None
        if self._started:
            self._started = False
            try:
                self._client.stop_live(self.device, self.port)
            except ConnectionLost:
                pass  # the service stops the live views of a connection when it ends

    def __enter__(self) -> LiveView:
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()
