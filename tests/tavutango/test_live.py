from conftest import eventually, shared_regions

import numpy
import pytest
import tango


def test_live_image_is_the_ramp_of_the_live_port(emulator):
    home, device = emulator.home, emulator.device
    home.tavuctl("config", "0", "0", "64", "32")
    home.tavuctl("pair", "0", "0", "cam1")
    device.write_attribute("LivePort", 0)
    assert device.read_attribute("LivePort").value == 0
    # The emulator's live frames are one 16-bit ramp running on from pixel to pixel and frame to frame.
    ramp = numpy.arange(64 * 32, dtype=numpy.uint32).reshape(32, 64)
    for frame in range(2):
        image = device.read_attribute("LiveImage").value
        assert image.shape == (32, 64) and image.dtype == numpy.uint16
        assert (image == (ramp + frame * 64 * 32) % 65536).all()
    device.write_attribute("LivePort", -1)
    with pytest.raises(tango.DevFailed, match="no live port"):
        device.read_attribute("LiveImage")


def test_sigterm_ends_the_server_and_its_service_and_leaves_no_region(emulator):
    emulator.home.tavuctl("config", "0", "0", "64", "32")
    emulator.device.write_attribute("LivePort", 0)
    emulator.device.read_attribute("LiveImage")
    regions = shared_regions(emulator.process.pid)
    assert len(regions) == 1
    assert emulator.stop() == 0
    eventually(lambda: not emulator.home.service_pids(), what="the service to end")
    assert not any(region.exists() for region in regions)
