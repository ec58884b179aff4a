"""The socket to tavusvc: where it is, starting the service on demand, requests and replies."""

from __future__ import annotations

import enum
import os
import socket
import subprocess
import threading
import time
from typing import Any, NoReturn, Sequence

import msgpack

from ._errors import ConnectionLost, NoService, ServiceError

PROTOCOL_VERSION = 0
SOCKET_NAME = "tavusrv"
SERVICE_EXECUTABLE = "tavusvc"

_CONNECT_RETRY = 0.01
_RELAUNCH_INTERVAL = 0.5
_HANDSHAKE_ATTEMPTS = 3
_RECEIVE_SIZE = 1 << 16
_EMPTY_MAP = b"\x80"


class Command(enum.IntEnum):
    """The service's commands by their wire numbers, under the protocol's own names."""

    createEventQueue = 0
    destroyEventQueue = 1
    readEvent = 2
    tryReadEvent = 3
    deviceCount = 4
    deviceName = 5
    deviceConnected = 6
    hasIncompleteFile = 7
    discardIncompleteFile = 8
    startRecovery = 9
    cancelRecovery = 10
    recoveryStatus = 11
    recoveryError = 12
    finishRecovery = 13
    serialOpen = 14
    serialGetBaudRate = 15
    serialSetBaudRate = 16
    serialRead = 17
    serialWrite = 18
    serialClear = 19
    serialClose = 20
    registerRead = 21
    registerWrite = 22
    isCxp = 23
    portCount = 24
    portName = 25
    listFiles = 26
    openFile = 27
    fileInfo = 28
    closeFile = 29
    readFrame = 30
    removeFile = 31
    fileIdentity = 32
    setup = 33
    pairPort = 34
    pairedTo = 35
    repairPort = 36
    unpairPort = 37
    portIdentity = 38
    framesPerPacket = 39
    getPortConfig = 40
    setPortConfig = 41
    startRecording = 42
    stopRecording = 43
    softwareTrigger = 44
    isRecordingDone = 45
    recordingFile = 46
    recordingProgress = 47
    renameFile = 48
    setFileInfo = 49
    notifyFilesChanged = 50
    percentUsed = 51
    startLive = 52
    stopLive = 53
    liveFrame = 54
    lockGlobal = 55
    unlockGlobal = 56
    hardwareType = 57


def default_socket_path() -> str:
    """Where the service listens for this user: ``$XDG_RUNTIME_DIR/tavusrv``, or
    ``/tmp/tavusrv-<uid>/tavusrv`` when that variable is unset or empty."""
    runtime = os.environ.get("XDG_RUNTIME_DIR")
    folder = runtime if runtime else f"/tmp/{SOCKET_NAME}-{os.getuid()}"
    return f"{folder}/{SOCKET_NAME}"


def find_service(folders: Sequence[str] | None = None) -> str | None:
    """The first executable ``tavusvc`` in the folders, by default those of ``PATH``."""
    if folders is None:
        folders = os.environ.get("PATH", "").split(":")
    for folder in folders:
        candidate = os.path.join(folder or ".", SERVICE_EXECUTABLE)
        if os.path.isfile(candidate) and os.access(candidate, os.X_OK):
            return candidate
    return None


def _start_service(program: str) -> None:
    # A session of its own and no descriptors of ours: the service outlives this process and
    # holds none of its connections. A thread reaps it so that it never lingers as a zombie.
    process = subprocess.Popen(
        [program],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        cwd="/",
        start_new_session=True,
        close_fds=True,
    )
    threading.Thread(target=process.wait, name="tavusvc reaper", daemon=True).start()


class Connection:
    """One connection to the service, past the version check; requests and replies alternate."""

    def __init__(
        self,
        socket_path: str | None = None,
        start_service: bool = True,
        service_folders: Sequence[str] | None = None,
        start_timeout: float = 5.0,
    ) -> None:
        self.socket_path = socket_path or default_socket_path()
        self._socket: socket.socket | None = None
        self._unpacker = self._new_unpacker()
        self._packer = msgpack.Packer(use_bin_type=True)
        self._broken = False
        self._lock = threading.Lock()
        # A service that is ending after its last client closes connections it hasn't served
        # yet; the next attempt then finds it gone and starts a new one.
        for attempt in range(1, _HANDSHAKE_ATTEMPTS + 1):
            self._connect_or_start(start_service, service_folders, start_timeout)
            if self._version_accepted():
                return
            if attempt == _HANDSHAKE_ATTEMPTS:
                self._fail(f"the service at {self.socket_path} closed the connection during the version check")

    @staticmethod
    def _new_unpacker() -> msgpack.Unpacker:
        return msgpack.Unpacker(raw=False, unicode_errors="surrogateescape")

    def _try_connect(self) -> bool:
        candidate = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            candidate.connect(self.socket_path)
        except OSError:
            candidate.close()
            return False
        self.close()
        self._socket = candidate
        self._unpacker = self._new_unpacker()
        return True

    def _connect_or_start(self, start_service: bool, folders: Sequence[str] | None, timeout: float) -> None:
        if self._try_connect():
            return
        nobody = f"no tavusvc service listens at {self.socket_path}"
        if not start_service:
            raise NoService(nobody + ", and starting one was not allowed")
        program = find_service(folders)
        if program is None:
            searched = ", ".join(folders) if folders is not None else "the folders of PATH"
            raise NoService(f"{nobody}, and no tavusvc executable was found in {searched}")
        # Connecting is the only test of readiness that doesn't disturb the service. A service
        # that is just ending still holds the lock a new one needs, and the new one then leaves
        # at once; starting again now and then covers that.
        begin = time.monotonic()
        next_launch = begin
        while not self._try_connect():
            now = time.monotonic()
            if now >= begin + timeout:
                raise NoService(f"{nobody}; {program} was started but did not listen there within {timeout:g} s")
            if now >= next_launch:
                try:
                    _start_service(program)
                except OSError as error:
                    raise NoService(f"{nobody}, and {program} could not be started: {error}") from error
                next_launch = now + _RELAUNCH_INTERVAL
            time.sleep(_CONNECT_RETRY)

    def _version_accepted(self) -> bool:
        reply = self._transfer({"act": "verCheck", "ver": PROTOCOL_VERSION})
        if reply is None:
            return False
        where = f"the service at {self.socket_path}"
        if isinstance(reply, dict) and isinstance(reply.get("error"), str):
            self._fail(f"{where} refused protocol version {PROTOCOL_VERSION}: {reply['error']}")
        if not isinstance(reply, dict) or reply.get("result") != {"ver": PROTOCOL_VERSION}:
            self._fail(f"{where} answered the version check with something unexpected")
        return True

    def call(self, command: Command, params: dict[str, Any] | None = None) -> dict[str, Any]:
        """Runs a command; returns its "result" map, empty for a reply without values."""
        request: dict[str, Any] = {"act": "exec", "ord": int(command)}
        if params is not None:
            request["params"] = params
        return self.call_packed(command, self._packer.pack(request))

    def call_packed(self, command: Command, request: bytes) -> dict[str, Any]:
        """Runs a command whose request is packed already, as :meth:`call` does."""
        with self._lock:
            if self._broken or self._socket is None:
                raise ConnectionLost("the connection to the service was lost or closed earlier")
            reply = self._exchange(request)
            if reply is None:
                self._fail(f"the connection to the service was lost during {command.name}")
            if not isinstance(reply, dict):
                self._fail(f"the service answered {command.name} with something that isn't a reply")
        if "error" in reply:
            error = reply["error"]
            raise ServiceError(command.name, error if isinstance(error, str) else "(no text)")
        result = reply.get("result", {})
        if not isinstance(result, dict):
            self._fail(f"the service answered {command.name} with something that isn't a reply")
        return result

    def _transfer(self, request: dict[str, Any]) -> Any:
        return self._exchange(self._packer.pack(request))

    def _exchange(self, request: bytes) -> Any:
        """Sends one request in one write and reads its reply; None when the connection fails."""
        assert self._socket is not None
        try:
            self._socket.sendall(request)
            while True:
                data = self._socket.recv(_RECEIVE_SIZE)
                if not data:
                    return None
                # Replies alternate with requests, so nothing is left over from the last one:
                # the empty map alone, the reply of most commands, needs no unpacking.
                if data == _EMPTY_MAP:
                    return {}
                self._unpacker.feed(data)
                for reply in self._unpacker:
                    return reply
        except (OSError, ValueError, msgpack.UnpackException):
            return None

    def _fail(self, message: str) -> NoReturn:
        self._broken = True
        self.close()
        raise ConnectionLost(message)

    def close(self) -> None:
        """Closes the socket; the service then gives back everything this connection held."""
        if self._socket is not None:
            self._socket.close()
            self._socket = None
