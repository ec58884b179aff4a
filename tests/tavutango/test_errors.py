import pytest
import tango

BAD, REFUSED = "TAVU_BadArgument", "TAVU_ServiceError"

# Command, argument, the reason and a part of the description the client gets.
COMMANDS = [
    ("StartRecording", "not json", BAD, "not JSON"),
    ("StartRecording", "[1]", BAD, "must be a JSON object"),
    ("StartRecording", '{"colour": 1}', BAD, 'unknown key "colour"'),
    ("StartRecording", '{"frames": -1}', BAD, '"frames" must be a whole number'),
    ("StartRecording", '{"frames": 1, "seconds": 1}', BAD, "exclude each other"),
    ("StartRecording", '{"seconds": 0}', BAD, "above 0"),
    ("StartRecording", '{"trigger": "later"}', BAD, '"trigger" must be'),
    ("StartRecording", '{"ports": []}', BAD, "list of port numbers"),
    ("StartRecording", '{"ports": [7]}', BAD, "no port 7"),
    ("StartRecording", '{"ports": [0], "trigger": "external-start"}', BAD, "no trigger input"),
    ("StartRecording", "{}", BAD, "no port has a camera"),
    ("StartRecording", '{"ports": [0]}', REFUSED, "Not paired/configured."),
    ("StopRecording", None, REFUSED, "Not recording"),
    ("RemoveFile", '{"streamId": 0}', BAD, '"fileId" is missing'),
    ("RenameFile", '{"fileId": 1}', BAD, '"name" is missing'),
    ("Pair", '{"port": 3, "camera": "x"}', BAD, "no port 3"),
    ("Configure", '{"port": 0, "width": 70000}', BAD, "from 0 to 65535"),
    ("Recover", None, REFUSED, ""),
]


def failure(call):
    with pytest.raises(tango.DevFailed) as raised:
        call()
    return raised.value.args[0]


def test_every_fault_is_named_and_the_server_goes_on(emulator):
    device = emulator.device
    for command, argument, reason, text in COMMANDS:
        error = failure(lambda: device.command_inout(command, argument) if argument else device.command_inout(command))
        assert (error.reason, text in error.desc) == (reason, True), (command, argument, error.desc)
    # The service's refusal reaches the client word for word.
    assert failure(lambda: device.command_inout("StopRecording")).desc == "Not recording"
    for port, text in ((5, "no port 5"), (-2, "-1 for none")):
        error = failure(lambda: device.write_attribute("LivePort", port))
        assert (error.reason, text in error.desc) == (BAD, True)
    assert failure(lambda: device.read_attribute("LiveImage")).reason == BAD
    assert emulator.process.poll() is None and device.state() == tango.DevState.ON
