# SPDX-License-Identifier: Proprietary
"""vsr.bad_pixels on a simulated sensor's flat field with planted defects."""
import re

import numpy as np
import pytest

import _vsr_testing as testing
import vision_superresolution as vsr

W, H = 64, 48
LEVEL, NOISE = 8000, 40  # the simulated sensor's good pixels
GREEN = [0, 255, 0]


@pytest.fixture(scope="module")
def sensor():
    return testing.sensor(W, H, stuck=3, isolated=4, seed=21)


@pytest.mark.parametrize("dtype", [np.int16, np.uint16])
def test_found_defects_are_repaired_from_their_neighbours(sensor, dtype):
    flat, defects = sensor
    frame = flat.astype(dtype)
    found = vsr.bad_pixels.find(frame)
    assert found.shape == (7, 10) and found.dtype == np.uint16
    assert {(x, y) for x, y in found[:, :2]} == set(defects)
    repaired = vsr.bad_pixels.repair(frame, found)
    assert repaired.dtype == dtype
    np.testing.assert_array_equal(vsr.bad_pixels.repair(frame, found[:, :2]), repaired)  # replacements searched
    x, y = found[:, 0], found[:, 1]
    assert (np.abs(repaired[y, x].astype(int) - LEVEL) <= NOISE).all()
    repaired[y, x] = frame[y, x]
    np.testing.assert_array_equal(repaired, frame)  # nothing else changed, the input neither


def test_draw_boxes_each_pixel_in_the_thermal_palette(sensor):
    flat, defects = sensor
    overlay = vsr.bad_pixels.draw(flat, defects, box=5)
    assert overlay.shape == (H, W, 3) and overlay.dtype == np.uint8
    for x, y in defects:  # the left side of its 5 x 5 box
        if x >= 2:
            assert overlay[y, x - 2].tolist() == GREEN
    assert not (vsr.bad_pixels.draw(flat, []) == GREEN).all(axis=2).any()


@pytest.mark.parametrize("call, error, message", [
    (lambda f: vsr.bad_pixels.find(f.astype(np.float32)), TypeError, "must be int16 or uint16 counts, got float32"),
    (lambda f: vsr.bad_pixels.find(f.astype(np.uint16) * 4), ValueError, "it holds counts above 32767"),
    (lambda f: vsr.bad_pixels.find(f, span=1), ValueError, "span must be between 2 and 65535, got 1"),
    (lambda f: vsr.bad_pixels.find(f, capacity=3), ValueError, "more than 3 defective pixels; raise capacity"),
    (lambda f: vsr.bad_pixels.repair(f, [(64, 3)]), ValueError, "pixel (64, 3) lies outside the 64x48 frame"),
    (lambda f: vsr.bad_pixels.draw(f, [(1, 2)], box=0), ValueError, "box must be between 1 and 255, got 0"),
])
def test_refuses_with_the_tools_texts_in_keywords(sensor, call, error, message):
    with pytest.raises(error, match=re.escape(message)):
        call(sensor[0])
