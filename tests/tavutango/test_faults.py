import json
import os
import signal

import tango

from conftest import Events, Server, eventually, sim_recorder, write_recorders


def test_a_lost_service_a_cut_off_recording_and_an_unplugged_recorder(sim_home):
    server = Server(sim_home, {"RecorderName": "REC-B"})
    device = server.device
    try:
        sim_home.tavuctl("setup", "1", "--yes")
        device.command_inout("Configure", json.dumps({"port": 1, "width": 64, "height": 32}))
        device.command_inout("Pair", json.dumps({"port": 1, "camera": "cam1"}))
        port = sim_home.tavuctl("ports", "1")["ports"][1]
        assert (port["camera"], port["width"], port["height"]) == ("cam1", 64, 32)
        state, connected, frames = (Events(device, name) for name in ("State", "Connected", "FramesRecorded"))

        # A software trigger ends the pre-trigger loop. A killed service leaves the recording cut off; the server reconnects by itself,
        # starting a service, and the recorder then waits for recovery.
        device.command_inout("StartRecording", json.dumps({"trigger": "software", "pretrigger": 100000}))
        state.wait_for(lambda value: value == tango.DevState.STANDBY)
        device.command_inout("SoftwareTrigger")
        state.wait_for(lambda value: value == tango.DevState.RUNNING)
        frames.wait_for(lambda value: value is not None and value[1] >= 12)
        [service] = sim_home.service_pids()
        os.kill(service, signal.SIGKILL)
        seen = state.wait_for(lambda value: value == tango.DevState.ALARM)
        assert tango.DevState.FAULT in seen
        assert "cut-off recording" in device.status()

        device.command_inout("Recover")
        state.wait_for(lambda value: value == tango.DevState.ON)
        [recovered] = json.loads(device.command_inout("ListFiles"))
        assert recovered["port"] == "B2" and recovered["frames"] >= 12

        # The recorder unplugged and plugged in again.
        connected.wait_for(lambda value: value)
        write_recorders(sim_home, [sim_recorder("REC-A", ["A1"]), sim_recorder("REC-B", ["B1", "B2"], False)])
        connected.wait_for(lambda value: not value)
        state.wait_for(lambda value: value == tango.DevState.FAULT)
        assert "is unplugged" in device.status()
        write_recorders(sim_home, [sim_recorder("REC-A", ["A1"]), sim_recorder("REC-B", ["B1", "B2"])])
        connected.wait_for(lambda value: value)
        state.wait_for(lambda value: value == tango.DevState.ON)
        for events in (state, connected, frames):
            events.close()
    finally:
        assert server.stop() == 0
    # The service the server started ends with its last client.
    eventually(lambda: not sim_home.service_pids(), what="the service to end")
