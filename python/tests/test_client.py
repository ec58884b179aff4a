# The package against the real service: calls by family, errors, frames, events and the lock.
import re
import shutil
import signal
import subprocess
import sys
import threading

import numpy as np
import pytest
from conftest import BIN, ROOT, short_folder, sim_frame

import tavu


def test_command_numbers_are_those_of_the_wire_list():
    rows = re.findall(r"X\((\d+), (\w+), \w+\)", (ROOT / "wire" / "Commands.h").read_text())
    assert {name: int(number) for number, name in rows} == {c.name: c.value for c in tavu.Command}


def test_calls_by_family_return_python_values(client):
    expected = [
        (client.device_count, (), 1),
        (client.device_name, (0,), "Emulator"),
        (client.device_connected, (0,), True),
        (client.hardware_type, (0,), tavu.HardwareType.EMULATOR),
        (client.port_count, (0,), 1),
        (client.port_name, (0, 0), "Emu"),
        (client.paired_to, (0, 0), "cam1"),
        (client.port_identity, (0, 0), b"id"),
        (client.frames_per_packet, (0, 0), 1),
        (client.get_port_config, (0, 0), tavu.PortConfig(64, 32)),
        (client.has_incomplete_file, (0,), False),
        (client.list_files, (0,), []),
    ]
    for call, args, value in expected:
        assert call(*args) == value, call.__name__
    # The service's own texts, and the connection goes on after each.
    refused = [
        (client.device_name, (9,), "deviceName", "Invalid device index."),
        (client.serial_read, (0, 0, 4), "serialRead", "not supported"),
        (client.stop_live, (0, 0), "stopLive", "Live not started by this connection."),
        (client.read_event, (5,), "readEvent", "A connection can only read from an event queue that it created."),
    ]
    for call, args, command, text in refused:
        with pytest.raises(tavu.ServiceError) as error:
            call(*args)
        assert (error.value.command, str(error.value)) == (command, text)
    assert client.percent_used(0) == 5


def test_recording_catalogue_and_emulated_frames(client):
    [entry] = client.record(0, frames=3)
    assert (entry.camera, entry.port, entry.num_frames, entry.width, entry.height) == ("cam1", "Emu", 3, 64, 32)
    assert entry.recorded is not None and entry.recorded.year >= 2024
    assert client.recording_file(0, 0) == tavu.RecordingFile(entry.file_id, entry.stream_id)
    assert client.set_file_info(0, entry.file_id, 0, name="shot", width=64, height=32, num_frames=3,
                                num_dropped_frames=1, duration=7) == "shot"
    with client.open_recording(0, entry.file_id, entry.stream_id) as rec:
        assert (rec.name, rec.num_dropped_frames, rec.duration, len(rec)) == ("shot", 1, 7, 3)
        # The emulated camera's ramp runs on from frame to frame; its header covers row 0.
        ramp = (np.arange(3 * 64 * 32) % 65536).astype(np.uint16).reshape(3, 32, 64)
        np.testing.assert_array_equal(rec[0:3][:, 1:], ramp[:, 1:])
        with pytest.raises(IndexError):
            rec[3]
    client.remove_file(0, entry.file_id, entry.stream_id)
    assert client.list_files(0) == []


def test_frames_are_read_only_views_of_the_shared_region_until_the_next_read(sim):
    client = sim.connect()
    client.set_port_config(0, 0, 16, 8)
    client.set_port_config(0, 1, 16, 8)
    client.pair_port(0, 0, "cam1")
    entries = client.record(0, ports=[0, 1], frames=6)
    assert sorted(e.port for e in entries) == ["A1", "A2"]
    for entry in entries:
        port = ["A1", "A2"].index(entry.port)
        with client.open_recording(0, entry.file_id, entry.stream_id) as rec:
            assert (len(rec), rec.shape, rec.port) == (6, (6, 8, 16), entry.port)
            first = rec[2]
            assert first.dtype == np.uint16 and not first.flags.writeable and not first.flags.owndata
            np.testing.assert_array_equal(first, sim_frame(2, port, 16, 8))
            with pytest.raises(ValueError):
                first[0, 0] = 1
            last = rec[-1]
            # One region: the earlier view now shows the frame read last.
            assert np.shares_memory(first, last)
            np.testing.assert_array_equal(first, sim_frame(5, port, 16, 8))
            stack = rec[1:6:2]
            assert stack.shape == (3, 8, 16) and not np.shares_memory(stack, last)
            for position, frame in enumerate((1, 3, 5)):
                np.testing.assert_array_equal(stack[position], sim_frame(frame, port, 16, 8))
            assert [int(frame[0, 0]) for frame in rec] == [f + 4096 * port for f in range(6)]
        # Arrays read before stay readable after the close.
        assert int(last[0, 0]) == 5 + 4096 * port


def test_live_view_grabs_into_one_region(client):
    with client.live(0, 0) as live:
        first = live.grab()
        np.testing.assert_array_equal(first.ravel(), np.arange(64 * 32))
        second = live.grab()
        assert np.shares_memory(first, second) and int(first[0, 0]) == 64 * 32
    with pytest.raises(tavu.TavuError):
        live.grab()


def test_events_iterate_until_a_quiet_timeout_or_the_queue_closes(emulator, client):
    other = emulator.connect()
    events = client.events(timeout=1)
    other.notify_files_changed(3)
    other.unpair_port(0, 0)
    assert list(events) == [tavu.Event(tavu.EventType.FILES_CHANGED, 3, 0),
                            tavu.Event(tavu.EventType.PAIRING_CHANGED, 0, 0)]
    queue = client._queue
    ended = threading.Event()
    threading.Thread(target=lambda: (list(client.events()), ended.set())).start()
    other.destroy_event_queue(queue)
    assert ended.wait(10)


def test_the_global_lock_orders_clients(emulator, client):
    other = emulator.connect()
    taken = threading.Event()
    with client.global_lock():
        waiter = threading.Thread(target=lambda: (other.lock_global(), taken.set()))
        waiter.start()
        assert not taken.wait(0.3)
    assert taken.wait(10)
    other.unlock_global()
    waiter.join()


def test_lost_and_missing_service(tmp_path, emulator, client):
    closed = emulator.connect()
    closed.close()
    with pytest.raises(tavu.ConnectionLost):
        closed.device_count()
    emulator.process.send_signal(signal.SIGKILL)
    emulator.process.wait()
    for _ in range(2):
        with pytest.raises(tavu.ConnectionLost):
            client.device_count()
    with pytest.raises(tavu.NoService, match="starting one was not allowed"):
        tavu.connect(str(tmp_path / "none"), start_service=False)
    with pytest.raises(tavu.NoService, match="no tavusvc executable"):
        tavu.connect(str(tmp_path / "none"), service_folders=[str(tmp_path)])


def test_readme_example_runs_as_shown(tmp_path):
    readme = (ROOT / "README.md").read_text()
    section = readme[readme.index("## From Python"):]
    example = re.search(r"```python\n(.*?)```", section, re.S).group(1)
    home = short_folder()
    env = {"XDG_RUNTIME_DIR": str(home), "XDG_DATA_HOME": str(home), "TAVUSRV_ENABLE_EMULATOR": "1",
           "PATH": f"{BIN}:/usr/bin:/bin", "PYTHONPATH": str(ROOT / "python")}
    # The service starts on demand and ends with its last client.
    done = subprocess.run([sys.executable, "-c", example], cwd=tmp_path, env=env, capture_output=True, text=True,
                          timeout=60)
    assert done.returncode == 0, done.stderr
    assert "100 frames of 640 x 480" in done.stdout
    assert np.load(tmp_path / "frames.npy").shape == (5, 480, 640)
    shutil.rmtree(home)
