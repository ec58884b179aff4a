"""The client: one method per command of the service, and the conveniences built on them."""

from __future__ import annotations

import contextlib
import time
from typing import Any, Iterable, Iterator, Sequence

import msgpack

from ._connection import Command, Connection
from ._errors import ServiceError
from ._frames import LiveView, Recording
from ._types import (
    Event,
    EventType,
    FileEntry,
    FileInfo,
    FrameGeometry,
    OpenedFile,
    PortConfig,
    RecordingFile,
    RecordingProgress,
    RecoveryStatus,
    StopCondition,
    from_reply,
)


_NOT_OUR_QUEUE = "A connection can only read from an event queue that it created."
# What a read answers when the queue went in the moment between its check of the owner and the read.
_QUEUE_GONE = "Inalid event queue id."


def _device(device: int, **more: Any) -> dict[str, Any]:
    return {"deviceId": device, **more}


def _port(device: int, port: int, **more: Any) -> dict[str, Any]:
    return {"deviceId": device, "port": port, **more}


def _recording(device: int, file_id: int, stream_id: int, **more: Any) -> dict[str, Any]:
    return {"deviceId": device, "fileId": file_id, "streamId": stream_id, **more}


def _event(value: dict[str, Any]) -> Event:
    kind = value["type"]
    return Event(EventType(kind) if kind in EventType._value2member_map_ else kind, value["device"], value["port"])


class Client:
    """A connection to tavusvc with one method per command; make it with :func:`tavu.connect`.

    Devices are numbered from 0 and keep their number for the life of the service; ports are
    numbered from 0 on each device. A refusal of the service raises :class:`tavu.ServiceError`
    with its text; a lost connection raises :class:`tavu.ConnectionLost`.

    What the connection holds (open recordings, live views, its event queue, the global lock)
    the service gives back when it closes. Recordings belong to the device and run on. One
    request runs at a time: threads that share a client wait for each other.
    """

    def __init__(
        self,
        socket_path: str | None = None,
        *,
        start_service: bool = True,
        service_folders: Sequence[str] | None = None,
        start_timeout: float = 5.0,
    ) -> None:
        self._connection = Connection(socket_path, start_service, service_folders, start_timeout)
        self._queue: int | None = None

    @property
    def socket_path(self) -> str:
        """The socket this client is connected to."""
        return self._connection.socket_path

    def _call(self, command: Command, params: dict[str, Any] | None = None) -> dict[str, Any]:
        return self._connection.call(command, params if params is not None else {})

    def close(self) -> None:
        """Closes the connection."""
        self._connection.close()

    def __enter__(self) -> Client:
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    # Event queues.

    def create_event_queue(self) -> int:
        """Creates this connection's event queue (one at most) and returns its id."""
        self._queue = self._call(Command.createEventQueue)["queueId"]
        return self._queue

    def destroy_event_queue(self, queue_id: int) -> None:
        """Destroys an event queue, this connection's or another's."""
        self._call(Command.destroyEventQueue, {"queueId": queue_id})
        if queue_id == self._queue:
            self._queue = None

    def read_event(self, queue_id: int) -> Event:
        """The next event of this connection's queue; waits up to half a second, then gives an
        event of type ``EventType.NO_EVENT``."""
        return _event(self._call(Command.readEvent, {"queueId": queue_id})["event"])

    def try_read_event(self, queue_id: int) -> Event | None:
        """The next event of this connection's queue, or None when it is empty; doesn't wait."""
        result = self._call(Command.tryReadEvent, {"queueId": queue_id})
        return _event(result["event"]) if result["ok"] else None

    # Devices.

    def device_count(self) -> int:
        """How many devices the service knows, connected or not."""
        return self._call(Command.deviceCount)["count"]

    def device_name(self, device: int) -> str:
        """The device's name."""
        return self._call(Command.deviceName, _device(device))["name"]

    def device_connected(self, device: int) -> bool:
        """Whether the device is connected now."""
        return self._call(Command.deviceConnected, _device(device))["connected"]

    def is_cxp(self, device: int) -> bool:
        """Whether the device's cameras are CoaXPress cameras."""
        return self._call(Command.isCxp, _device(device))["isCxp"]

    def port_count(self, device: int) -> int:
        """How many camera ports the device has."""
        return self._call(Command.portCount, _device(device))["count"]

    def port_name(self, device: int, port: int) -> str:
        """The port's name."""
        return self._call(Command.portName, _port(device, port))["name"]

    def percent_used(self, device: int) -> int:
        """How full the device's storage is, in percent."""
        return self._call(Command.percentUsed, _device(device))["percent"]

    def hardware_type(self, device: int) -> int:
        """The device's kind, one of :class:`tavu.HardwareType` or a number the service added since."""
        return self._call(Command.hardwareType, _device(device))["hardwareType"]

    def notify_files_changed(self, device: int) -> None:
        """Tells every client that the device's files changed (``EventType.FILES_CHANGED``)."""
        self._call(Command.notifyFilesChanged, _device(device))

    def lock_global(self) -> None:
        """Takes the advisory lock among clients; blocks while another connection holds it.
        :meth:`global_lock` is the context manager form."""
        self._call(Command.lockGlobal)

    def unlock_global(self) -> None:
        """Gives the advisory lock among clients back."""
        self._call(Command.unlockGlobal)

    # Serial channel and camera registers.

    def serial_open(self, device: int, port: int, baud_rate: int, parity: int = 0, stop_bits: int = 0) -> None:
        """Opens the serial channel of a port; parity and stop bits as the recorder numbers them."""
        self._call(
            Command.serialOpen, _port(device, port, baudRate=baud_rate, parity=parity, stopBits=stop_bits)
        )

    def serial_get_baud_rate(self, device: int, port: int) -> int:
        """The baud rate of a port's serial channel."""
        return self._call(Command.serialGetBaudRate, _port(device, port))["baudRate"]

    def serial_set_baud_rate(self, device: int, port: int, baud_rate: int) -> None:
        """Sets the baud rate of a port's serial channel."""
        self._call(Command.serialSetBaudRate, _port(device, port, baudRate=baud_rate))

    def serial_read(self, device: int, port: int, size: int) -> bytes:
        """Up to ``size`` bytes of the serial channel; fewer when fewer are waiting."""
        return self._call(Command.serialRead, _port(device, port, size=size))["data"]

    def serial_write(self, device: int, port: int, data: bytes) -> int:
        """Writes to the serial channel; returns how many bytes the device took."""
        return self._call(Command.serialWrite, _port(device, port, data=bytes(data)))["size"]

    def serial_clear(self, device: int, port: int) -> None:
        """Drops what waits in the serial channel."""
        self._call(Command.serialClear, _port(device, port))

    def serial_close(self, device: int, port: int) -> None:
        """Closes the serial channel of a port."""
        self._call(Command.serialClose, _port(device, port))

    def register_read(self, device: int, port: int, address: int, size: int) -> bytes:
        """``size`` bytes of the camera's registers from ``address``."""
        return self._call(Command.registerRead, _port(device, port, addr=address, size=size))["data"]

    def register_write(self, device: int, port: int, address: int, data: bytes) -> None:
        """Writes the camera's registers from ``address``."""
        self._call(Command.registerWrite, _port(device, port, addr=address, data=bytes(data)))

    # The catalogue and playback.

    def list_files(self, device: int) -> list[FileEntry]:
        """The device's recordings, one entry per stream."""
        return [from_reply(FileEntry, entry) for entry in self._call(Command.listFiles, _device(device))["files"]]

    def open_file(self, device: int, file_id: int, stream_id: int) -> OpenedFile:
        """Opens a recording for playback; :meth:`open_recording` does it with frames as arrays."""
        return from_reply(OpenedFile, self._call(Command.openFile, _recording(device, file_id, stream_id)))

    def file_info(self, device: int, open_file_id: int) -> FileInfo:
        """Geometry and size of a recording this connection opened."""
        return from_reply(FileInfo, self._call(Command.fileInfo, _device(device, openFileId=open_file_id)))

    def close_file(self, device: int, open_file_id: int) -> None:
        """Closes a recording this connection opened."""
        self._call(Command.closeFile, _device(device, openFileId=open_file_id))

    def read_frame(self, device: int, open_file_id: int, frame: int) -> None:
        """Puts frame ``frame`` of an opened recording into its shared region."""
        self._call(Command.readFrame, _device(device, openFileId=open_file_id, frame=frame))

    def _packed_read_request(self, device: int, open_file_id: int) -> bytes:
        """A readFrame request packed up to its frame number, which a read appends."""
        request = {"act": "exec", "ord": int(Command.readFrame),
                   "params": _device(device, openFileId=open_file_id, frame=0)}
        packed = msgpack.packb(request)
        assert packed.endswith(b"\x00")
        return packed[:-1]

    def _read_packed(self, request: bytes) -> None:
        self._connection.call_packed(Command.readFrame, request)

    def remove_file(self, device: int, file_id: int, stream_id: int) -> None:
        """Deletes a recording."""
        self._call(Command.removeFile, _recording(device, file_id, stream_id))

    def file_identity(self, device: int, file_id: int, stream_id: int) -> bytes:
        """The camera's identity block stored with a recording."""
        return self._call(Command.fileIdentity, _recording(device, file_id, stream_id))["data"]

    def rename_file(self, device: int, file_id: int, stream_id: int, name: str, notify: bool = True) -> None:
        """Renames a recording; with ``notify`` every client gets ``EventType.FILES_CHANGED``."""
        self._call(Command.renameFile, _recording(device, file_id, stream_id, name=name, notify=notify))

    def set_file_info(
        self,
        device: int,
        file_id: int,
        stream_id: int,
        *,
        name: str,
        width: int,
        height: int,
        num_frames: int,
        num_dropped_frames: int,
        duration: int,
        start_time: int | None = None,
        end_time: int | None = None,
        notify: bool = True,
    ) -> str:
        """Rewrites a recording's descriptive fields; returns the name the device finally gave it."""
        params = _recording(
            device,
            file_id,
            stream_id,
            name=name,
            width=width,
            height=height,
            numImages=num_frames,
            numDroppedFrames=num_dropped_frames,
        )
        if start_time is not None:
            params["startTime"] = start_time
        if end_time is not None:
            params["endTime"] = end_time
        params.update(duration=duration, notify=notify)
        return self._call(Command.setFileInfo, params)["name"]

    # Pairing and port configuration.

    def setup(self, device: int) -> None:
        """Prepares the device's storage; erases every recording on it."""
        self._call(Command.setup, _device(device))

    def pair_port(self, device: int, port: int, camera: str, info: bytes = b"", frames_per_packet: int = 1) -> None:
        """Pairs a camera, by its name and its identity block, with a port."""
        self._call(
            Command.pairPort,
            _port(device, port, identity=camera, info=bytes(info), numFramesPerPacket=frames_per_packet),
        )

    def paired_to(self, device: int, port: int) -> str:
        """The name of the camera paired with a port, empty when none is."""
        return self._call(Command.pairedTo, _port(device, port))["pairedTo"]

    def repair_port(self, device: int, port: int, camera: str, info: bytes = b"", frames_per_packet: int = 1) -> None:
        """Pairs a port again after its camera changed, without telling other clients."""
        self._call(
            Command.repairPort,
            _port(device, port, identity=camera, info=bytes(info), numFramesPerPacket=frames_per_packet),
        )

    def unpair_port(self, device: int, port: int) -> None:
        """Takes the camera's pairing off a port."""
        self._call(Command.unpairPort, _port(device, port))

    def port_identity(self, device: int, port: int) -> bytes:
        """The identity block of the camera paired with a port."""
        return self._call(Command.portIdentity, _port(device, port))["data"]

    def frames_per_packet(self, device: int, port: int) -> int:
        """Frames per packet of the camera paired with a port."""
        return self._call(Command.framesPerPacket, _port(device, port))["numFramesPerPacket"]

    def get_port_config(self, device: int, port: int) -> PortConfig:
        """The frame geometry and format that a port records."""
        return from_reply(PortConfig, self._call(Command.getPortConfig, _port(device, port)))

    def set_port_config(
        self, device: int, port: int, width: int, height: int, pixel_format: int = 0, tap_geometry: int = 0
    ) -> None:
        """Sets the frame geometry and format that a port records."""
        self._call(
            Command.setPortConfig,
            _port(device, port, width=width, height=height, pixelFormat=pixel_format, tapGeometry=tap_geometry),
        )

    # Recording.

    def start_recording(
        self,
        device: int,
        ports: Iterable[int] = (0,),
        *,
        frames: int | None = None,
        seconds: float | None = None,
        external_trigger: int = 0,
        pretrigger: int | None = None,
    ) -> None:
        """Starts recording on the given ports of a device.

        ``frames`` ends each port's recording after that many frames; ``seconds`` ends it after
        that time (counted in microseconds, the unit of the emulated recorder); with neither it
        runs until :meth:`stop_recording`. ``external_trigger`` holds :class:`tavu.Trigger`
        bits; ``pretrigger`` runs a pre-trigger loop of that count, passed to the recorder as
        it stands. Call :meth:`stop_recording` after every successful start: it catalogues the
        recording.
        """
        if frames is not None and seconds is not None:
            raise ValueError("give frames or seconds, not both")
        mask = 0
        for port in ports:
            if not 0 <= port < 32:
                raise ValueError(f"port {port} is not one of 0 to 31")
            mask |= 1 << port
        stop, count = StopCondition.NONE, 0
        if frames is not None:
            stop, count = StopCondition.FRAME_COUNT, frames
        elif seconds is not None:
            stop, count = StopCondition.TIME, round(seconds * 1e6)
        self._call(
            Command.startRecording,
            _device(
                device,
                portMask=mask,
                externalTrigger=int(external_trigger),
                type=int(stop),
                count=count,
                usePretrigger=pretrigger is not None,
                pretriggerCount=pretrigger or 0,
            ),
        )

    def stop_recording(self, device: int) -> None:
        """Stops the device's recording and catalogues what it recorded."""
        self._call(Command.stopRecording, _device(device))

    def software_trigger(self, device: int) -> None:
        """Triggers a recording that waits in its pre-trigger loop."""
        self._call(Command.softwareTrigger, _device(device))

    def is_recording_done(self, device: int) -> bool:
        """Whether the recording ended by its own limit (and stays so until the next start)."""
        return self._call(Command.isRecordingDone, _device(device))["done"]

    def recording_file(self, device: int, port: int) -> RecordingFile:
        """Where a port's present or last recording is catalogued."""
        return from_reply(RecordingFile, self._call(Command.recordingFile, _port(device, port)))

    def recording_progress(self, device: int, port: int) -> RecordingProgress:
        """Frames a port recorded so far."""
        return from_reply(RecordingProgress, self._call(Command.recordingProgress, _port(device, port)))

    def record(
        self,
        device: int,
        ports: Iterable[int] = (0,),
        *,
        frames: int | None = None,
        seconds: float | None = None,
        timeout: float | None = None,
    ) -> list[FileEntry]:
        """Records until the recording ends by its limit, stops it, and returns its new entries.

        ``frames`` and ``seconds`` are those of :meth:`start_recording`. ``timeout`` (seconds)
        stops the recording early when given; the entries then hold what was recorded.
        """
        before = {(entry.file_id, entry.stream_id) for entry in self.list_files(device)}
        self.start_recording(device, ports, frames=frames, seconds=seconds)
        deadline = None if timeout is None else time.monotonic() + timeout
        try:
            while not self.is_recording_done(device):
                if deadline is not None and time.monotonic() >= deadline:
                    break
                time.sleep(0.02)
        finally:
            self.stop_recording(device)
        return [entry for entry in self.list_files(device) if (entry.file_id, entry.stream_id) not in before]

    # Recovery of a recording that a crash cut off.

    def has_incomplete_file(self, device: int) -> bool:
        """Whether a recording was cut off and waits for recovery or discarding."""
        return self._call(Command.hasIncompleteFile, _device(device))["hasIncompleteFile"]

    def discard_incomplete_file(self, device: int) -> None:
        """Throws the cut-off recording away."""
        self._call(Command.discardIncompleteFile, _device(device))

    def start_recovery(self, device: int) -> None:
        """Starts salvaging the cut-off recording; watch :meth:`recovery_status`."""
        self._call(Command.startRecovery, _device(device))

    def cancel_recovery(self, device: int) -> None:
        """Cancels a running recovery."""
        self._call(Command.cancelRecovery, _device(device))

    def recovery_status(self, device: int) -> RecoveryStatus | int:
        """The state of the recovery."""
        status = self._call(Command.recoveryStatus, _device(device))["status"]
        return RecoveryStatus(status) if status in RecoveryStatus._value2member_map_ else status

    def recovery_error(self, device: int) -> str:
        """Why the recovery failed."""
        return self._call(Command.recoveryError, _device(device))["error"]

    def finish_recovery(self, device: int) -> None:
        """Catalogues what the recovery salvaged."""
        self._call(Command.finishRecovery, _device(device))

    # Live view.

    def start_live(self, device: int, port: int) -> str:
        """Starts live view of a port; returns the name of its shared region. :meth:`live` does
        it with frames as arrays."""
        return self._call(Command.startLive, _port(device, port))["mapping"]

    def stop_live(self, device: int, port: int) -> None:
        """Stops the live view this connection started."""
        self._call(Command.stopLive, _port(device, port))

    def live_frame(self, device: int, port: int) -> FrameGeometry:
        """Has a port in live view put a frame into its shared region; returns its geometry."""
        return from_reply(FrameGeometry, self._call(Command.liveFrame, _port(device, port)))

    # Conveniences.

    def open_recording(self, device: int, file_id: int, stream_id: int) -> Recording:
        """Opens a recording with its frames as NumPy arrays; see :class:`tavu.Recording`.

        >>> with client.open_recording(0, 1, 0) as rec:
        ...     mean = rec[10].mean()
        """
        return Recording(self, device, file_id, stream_id)

    def live(self, device: int, port: int) -> LiveView:
        """Starts live view of a port with frames as NumPy arrays; see :class:`tavu.LiveView`.

        >>> with client.live(0, 0) as live:
        ...     image = live.grab()
        """
        return LiveView(self, device, port)

    def events(self, timeout: float | None = None) -> Iterator[Event]:
        """The events of this connection's queue, as they come.

        The queue is made at this call, so the iterator sees everything that happens from now
        on. It ends after ``timeout`` seconds without an event (checked every half second), or
        never when ``timeout`` is None, and when another client destroys the queue.

        >>> for event in client.events(timeout=5):
        ...     print(event.type.name, event.device, event.port)
        """
        queue = self._queue if self._queue is not None else self.create_event_queue()
        return self._follow(queue, timeout)

    def _follow(self, queue: int, timeout: float | None) -> Iterator[Event]:
        deadline = None if timeout is None else time.monotonic() + timeout
        while deadline is None or time.monotonic() < deadline:
            try:
                event = self.read_event(queue)
            except ServiceError as error:
                # Another client destroyed the queue between two reads.
                if str(error) not in (_NOT_OUR_QUEUE, _QUEUE_GONE):
                    raise
                self._queue = None
                return
            if event.type == EventType.NO_EVENT:
                continue
            if event.type == EventType.QUEUE_CLOSED:
                self._queue = None
                return
            yield event
            deadline = None if timeout is None else time.monotonic() + timeout

    @contextlib.contextmanager
    def global_lock(self) -> Iterator[None]:
        """Holds the advisory lock among clients for the ``with`` block.

        >>> with client.global_lock():
        ...     client.setup(0)
        """
        self.lock_global()
        try:
            yield
        finally:
            self.unlock_global()


def connect(
    socket_path: str | None = None,
    *,
    start_service: bool = True,
    service_folders: Sequence[str] | None = None,
    start_timeout: float = 5.0,
) -> Client:
    """Connects to tavusvc, starting it when none runs, and checks the protocol version.

    The socket is ``$XDG_RUNTIME_DIR/tavusrv``, or ``/tmp/tavusrv-<uid>/tavusrv`` without that
    variable, unless ``socket_path`` names another. When nobody listens and ``start_service``
    is true, the first ``tavusvc`` found in ``service_folders`` (by default the folders of
    ``PATH``) is started; it ends when its last client leaves. Raises :class:`tavu.NoService`
    when none listens or could be started within ``start_timeout`` seconds.
    """
    return Client(
        socket_path, start_service=start_service, service_folders=service_folders, start_timeout=start_timeout
    )


__all__ = ["Client", "connect"]
