"""Exceptions of the tavu package."""


class TavuError(Exception):
    """Base of every exception that the tavu package raises of its own."""


class ServiceError(TavuError):
    """The service refused a command; ``str(error)`` is the service's own text, unchanged.

    Attributes:
        command: the command's name as the protocol spells it, e.g. ``"startRecording"``.
        text: the service's text, e.g. ``"Invalid device index."``.
    """

    def __init__(self, command: str, text: str) -> None:
        super().__init__(text)
        self.command = command
        self.text = text


class ConnectionLost(TavuError, ConnectionError):
    """The connection to the service ended, or the service sent something that isn't a reply.

    After this every call of the same client raises it again at once: connect anew.
    """


class NoService(ConnectionLost):
    """No service listens and none could be started; the text says where tavusvc was looked for."""
