import tango

from conftest import Server


def read(device, *names):
    return {name: device.read_attribute(name).value for name in names}


def expected_from_tavuctl(home, index):
    entry = home.tavuctl("devices")["devices"][index]
    ports = home.tavuctl("ports", str(index))["ports"]
    return {"Connected": entry["connected"], "DeviceType": entry["hardwareType"], "PortCount": entry["ports"],
            "PortNames": [port["name"] for port in ports], "Width": [port["width"] for port in ports],
            "Height": [port["height"] for port in ports], "PercentUsed": entry["percentUsed"], "Recording": False}


def check_against_tavuctl(server, index):
    expected = expected_from_tavuctl(server.home, index)
    got = read(server.device, *expected)
    got = {name: list(value) if name in ("PortNames", "Width", "Height") else value for name, value in got.items()}
    assert got == expected


def test_attributes_of_the_emulator_are_those_tavuctl_reports(emulator):
    assert emulator.device.state() == tango.DevState.ON
    assert "Emulator (device 0) is idle" in emulator.device.status()
    check_against_tavuctl(emulator, 0)
    assert list(emulator.device.read_attribute("FramesRecorded").value) == [0]


def test_the_recorder_property_picks_a_simulated_recorder_by_name(sim_home):
    server = Server(sim_home, {"RecorderName": "REC-B"})
    try:
        sim_home.tavuctl("setup", "1", "--yes")
        assert server.device.state() == tango.DevState.ON
        check_against_tavuctl(server, 1)
        assert server.device.read_attribute("RecoveryStatus").value == 0
    finally:
        assert server.stop() == 0
    missing = Server(sim_home, {"RecorderName": "REC-Z"})
    try:
        assert missing.device.state() == tango.DevState.FAULT
        assert 'no recorder named "REC-Z"' in missing.device.status()
    finally:
        assert missing.stop() == 0
