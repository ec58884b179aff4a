# tavuctl export --format h5 / tiff-stack, read back with h5py and tifffile.
import subprocess

import h5py
import numpy as np
import tifffile
from conftest import BIN, sim_frame


def tavuctl(service, *args):
    return subprocess.run([str(BIN / "tavuctl"), "--no-start", "-q", *args], env=service.env, capture_output=True,
                          text=True, timeout=60)


def test_stacks_hold_the_frames_and_the_recordings_fields(sim, tmp_path):
    client = sim.connect()
    client.set_port_config(0, 1, 24, 10)
    client.pair_port(0, 1, "cam2")
    [entry] = client.record(0, ports=[1], frames=7)
    ids = (str(entry.file_id), str(entry.stream_id))
    out = tmp_path / "out"
    assert tavuctl(sim, "export", "0", *ids, "--format", "h5", "--out", str(out)).returncode == 0
    assert tavuctl(sim, "export", "0", *ids, "--format", "tiff-stack", "--frames", "2-4", "--out",
                   str(out)).returncode == 0
    expected = np.stack([sim_frame(f, 1, 24, 10) for f in range(7)])

    path = out / f"recording_{ids[0]}_{ids[1]}"
    with h5py.File(path.with_suffix(".h5"), "r") as h5:
        frames = h5["frames"]
        assert (frames.shape, frames.dtype, frames.chunks) == ((7, 10, 24), np.uint16, (1, 10, 24))
        np.testing.assert_array_equal(frames[:], expected)
        attributes = dict(frames.attrs)
    assert attributes.pop("timestamp") == entry.recorded.strftime("%Y-%m-%dT%H:%M:%SZ")
    assert attributes == {"device": 0, "port": "A2", "file_id": entry.file_id, "stream_id": entry.stream_id,
                          "camera": "cam2", "name": entry.name, "duration": entry.duration, "num_frames": 7,
                          "num_dropped_frames": 0, "first_frame": 0}

    with tifffile.TiffFile(path.with_suffix(".tiff")) as tiff:
        assert len(tiff.pages) == 3
        np.testing.assert_array_equal(tiff.asarray(), expected[2:5])

    refused = tavuctl(sim, "export", "0", *ids, "--format", "h5", "--out", str(out))
    assert refused.returncode == 1 and "--force" in refused.stderr
    assert sorted(p.name for p in out.iterdir()) == [path.name + ".h5", path.name + ".tiff"]
