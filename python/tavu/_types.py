"""Values that commands of the service return, as small immutable dataclasses."""

from __future__ import annotations

import dataclasses
import datetime
import enum
import re
from typing import Any, Mapping, TypeVar

_T = TypeVar("_T")
_FILETIME_EPOCH = datetime.datetime(1601, 1, 1, tzinfo=datetime.timezone.utc)


class EventType(enum.IntEnum):
    """What an :class:`Event` tells."""

    QUEUE_CLOSED = 0  #: another client destroyed this client's event queue
    DEVICES_CHANGED = 1  #: a recorder came, went, or changed its connection
    RECORDING_STARTED = 2  #: ``port`` holds the mask of the ports that record
    RECORDING_STOPPED = 3
    FILES_CHANGED = 4  #: recordings were added, renamed or removed
    PAIRING_CHANGED = 5  #: a camera was paired with a port or unpaired
    NO_EVENT = 6  #: a wait that found nothing; :meth:`Client.events` never yields it


class RecoveryStatus(enum.IntEnum):
    """State of the recovery of a recording that a crash cut off."""

    NOT_RUN = 0
    RUNNING = 1
    FAILED = 2  #: :meth:`Client.recovery_error` says why
    DONE = 3
    CANCELLED = 4


class HardwareType(enum.IntEnum):
    """What :meth:`Client.hardware_type` reports."""

    UNKNOWN = 0
    EMULATOR = 1
    FIRST_FAMILY = 2
    SECOND_FAMILY = 3


class Trigger(enum.IntFlag):
    """Bits of ``external_trigger`` in :meth:`Client.start_recording`."""

    NONE = 0
    EXTERNAL_START = 0x01
    EXTERNAL_STOP = 0x02
    EXTERNAL_START_VARIANT = 0x10
    EXTERNAL_STOP_VARIANT = 0x20


class StopCondition(enum.IntEnum):
    """What ends a recording by itself."""

    NONE = 0  #: a client stops it, or an external stop input
    FRAME_COUNT = 1  #: a number of frames per port
    TIME = 2  #: a time in the recorder's unit (microseconds on the emulated recorder)


@dataclasses.dataclass(frozen=True)
class Event:
    """Something that happened on the service's devices, as an event queue delivers it."""

    type: EventType
    device: int
    port: int  #: a port, or for RECORDING_STARTED the mask of ports


@dataclasses.dataclass(frozen=True)
class FileEntry:
    """One recorded stream of a device's catalogue, named by ``(file_id, stream_id)``.

    Times ``timestamp``, ``start_time`` and ``end_time`` are counts of 100 ns since
    1601-01-01 UTC as the recorder gives them; :attr:`recorded` turns the first into a datetime.
    """

    name: str
    port: str  #: the port's name, not its number
    camera: str
    file_id: int
    stream_id: int
    width: int
    height: int
    num_frames: int
    num_dropped_frames: int
    size: int  #: bytes
    timestamp: int
    duration: int
    start_time: int
    end_time: int

    @property
    def recorded(self) -> datetime.datetime | None:
        """When the recording was made, in UTC; None when the recorder didn't say."""
        return filetime_to_datetime(self.timestamp)


@dataclasses.dataclass(frozen=True)
class OpenedFile:
    """A recording opened for playback: its number, and the shared region that gets each frame."""

    open_file_id: int
    mapping: str


@dataclasses.dataclass(frozen=True)
class FileInfo:
    """Geometry and size of an opened recording."""

    width: int
    height: int
    image_size: int  #: bytes of one frame
    num_frames: int
    size: int  #: bytes of the whole stream


@dataclasses.dataclass(frozen=True)
class PortConfig:
    """The frame geometry and format that a port records."""

    width: int
    height: int
    pixel_format: int = 0
    tap_geometry: int = 0


@dataclasses.dataclass(frozen=True)
class RecordingFile:
    """Where a port's present or last recording is catalogued."""

    file_id: int
    stream_id: int


@dataclasses.dataclass(frozen=True)
class RecordingProgress:
    """Frames a port recorded so far, and whether it still fills its pre-trigger loop."""

    num_frames: int
    in_pretrigger: bool


@dataclasses.dataclass(frozen=True)
class FrameGeometry:
    """The geometry of the live frame just taken."""

    width: int
    height: int
    image_size: int  #: bytes


def filetime_to_datetime(filetime: int) -> datetime.datetime | None:
    """A count of 100 ns since 1601-01-01 UTC as an aware datetime; None for 0."""
    if filetime == 0:
        return None
    return _FILETIME_EPOCH + datetime.timedelta(microseconds=filetime // 10)


def snake_case(key: str) -> str:
    """``"numDroppedFrames"`` -> ``"num_dropped_frames"``."""
    return re.sub(r"(?<!^)(?=[A-Z])", "_", key).lower()


def from_reply(cls: type[_T], result: Mapping[str, Any]) -> _T:
    """Builds a dataclass from a reply's camelCase keys; keys it has no field for are left out."""
    names = {field.name for field in dataclasses.fields(cls)}  # type: ignore[arg-type]
    return cls(**{snake_case(key): value for key, value in result.items() if snake_case(key) in names})
