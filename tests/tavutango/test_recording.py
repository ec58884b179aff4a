import json
import signal
import subprocess

import tango

from conftest import BIN, Events, Server, eventually


def test_a_recording_runs_from_start_to_its_files_with_change_events(emulator):
    home, device = emulator.home, emulator.device
    home.tavuctl("config", "0", "0", "64", "32")
    home.tavuctl("pair", "0", "0", "cam1")
    state, recording, frames = (Events(device, name) for name in ("State", "Recording", "FramesRecorded"))
    archived = Events(device, "Recording", tango.EventType.ARCHIVE_EVENT)
    state.wait_for(lambda value: value == tango.DevState.ON)
    recording.wait_for(lambda value: not value)

    # A frame count ends the recording by itself, and the server finalises its files.
    device.command_inout("StartRecording", json.dumps({"frames": 20}))
    assert state.wait_for(lambda value: value == tango.DevState.ON)[-2:] == [tango.DevState.RUNNING, tango.DevState.ON]
    assert recording.wait_for(lambda value: not value) == [True, False]
    assert archived.wait_for(lambda value: value) == [False, True]
    assert list(frames.wait_for(lambda value: value is not None and list(value) == [20])[-1]) == [20]
    listed = json.loads(device.command_inout("ListFiles"))
    assert listed == [{"fileId": entry["fileId"], "streamId": entry["streamId"], "port": entry["port"],
                       "name": entry["name"], "frames": 20, "width": 64, "height": 32, "startTime": entry["recorded"]}
                      for entry in home.tavuctl("files", "0")["recordings"]]

    # Without a stop condition it runs until StopRecording.
    device.command_inout("StartRecording", json.dumps({"ports": [0]}))
    frames.wait_for(lambda value: value is not None and value[0] > 0)
    assert device.state() == tango.DevState.RUNNING and device.read_attribute("Recording").value
    device.command_inout("StopRecording")
    recording.wait_for(lambda value: not value)
    assert device.state() == tango.DevState.ON
    first, second = json.loads(device.command_inout("ListFiles"))
    assert second["frames"] > 0

    device.command_inout("RenameFile", json.dumps({"fileId": first["fileId"], "name": "first shot"}))
    device.command_inout("RemoveFile", json.dumps({"fileId": second["fileId"], "streamId": 0}))
    assert [(entry["fileId"], entry["name"]) for entry in home.tavuctl("files", "0")["recordings"]] == \
        [(first["fileId"], "first shot")]
    for events in (state, recording, frames, archived):
        events.close()


def test_a_recording_under_way_before_the_server_started_is_seen(emulator_home):
    home = emulator_home
    home.tavuctl("config", "0", "0", "64", "32")
    home.tavuctl("pair", "0", "0", "cam1")
    recorder = subprocess.Popen([BIN / "tavuctl", "-q", "record", "0", "--frames", "600"], env=home.env,
                                stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
    frames = home.root / "data" / "OREK Systems" / "TAVU" / "Emulator" / "Emu" / ".incomplete"
    eventually(lambda: frames.exists() and frames.stat().st_size > 0, what="the first frames")
    server = Server(home)
    try:
        assert server.device.state() == tango.DevState.RUNNING
        assert server.device.read_attribute("Recording").value
        # Interrupted, tavuctl stops the recording and keeps it.
        recorder.send_signal(signal.SIGINT)
        assert recorder.wait(timeout=30) == 130
        eventually(lambda: server.device.state() == tango.DevState.ON, what="the end of the recording")
    finally:
        assert server.stop() == 0
