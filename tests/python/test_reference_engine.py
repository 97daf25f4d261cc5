# SPDX-License-Identifier: Proprietary
"""vsr.ReferenceEngine: float frames, 16-bit counts and calibrated counts."""
import re

import numpy as np
import pytest

import _vsr_testing as testing
import vision_superresolution as vsr

W, H = 64, 48
SCALE = 100  # counts per degree of the simulated scene


@pytest.fixture(scope="module")
def burst():
    return testing.burst(W, H, frames=5, reference=1)


def reconstruct(engine, frames):
    for frame in frames:
        outcome = engine.add(frame)
    return outcome, engine.result


@pytest.mark.parametrize("counts", [False, True])
def test_burst_beats_bicubic_of_the_reference(burst, capfd, counts):
    frames, truth, true_shifts = burst
    if counts:
        frames = [np.rint(frame * SCALE).astype(np.int16) for frame in frames]
    engine = vsr.ReferenceEngine(W, H)
    outcome, result = reconstruct(engine, frames)
    assert capfd.readouterr().out == ""  # the engine's taps and timing lines stay quiet
    assert outcome.computed and outcome.code == 0 and 1.0 <= outcome.quality <= 2.0
    assert result.shape == (2 * H, 2 * W) and result.dtype == (np.int16 if counts else np.float32)
    np.testing.assert_allclose(engine.shifts, true_shifts, atol=0.15)
    values = result.astype(np.float32) / (SCALE if counts else 1)
    bicubic = testing.bicubic(np.float32(frames[1]) / (SCALE if counts else 1))
    assert testing.psnr(values, truth) > testing.psnr(bicubic, truth) + 3.0


def test_calibrated_counts_come_back_in_the_calibration_units(burst):
    frames, truth, _ = burst
    rng = np.random.default_rng(7)
    gain = rng.uniform(0.01, 0.02, (H, W)).astype(np.float32)
    offset = rng.uniform(-50.0, -30.0, (H, W)).astype(np.float32)
    counts = lambda values: np.rint((values - offset) / gain).astype(np.int16)
    engine = vsr.ReferenceEngine(W, H, calibrated=True)
    with pytest.raises(RuntimeError, match=re.escape("NucToRad() not initialized: call set_calibration()")):
        engine.add(counts(frames[0]))
    engine.set_calibration(counts(np.float32(0.0)), 0.0, counts(np.float32(100.0)), np.full((H, W), 100, np.float32))
    outcomes = [engine.add(counts(frame)) for frame in frames]
    assert all(outcome.computed for outcome in outcomes) and engine.frame_count == 5
    _, from_values = reconstruct(vsr.ReferenceEngine(W, H), frames)
    np.testing.assert_allclose(engine.result, from_values, atol=0.05)  # counts quantise to 0.02 degrees
    assert engine.result.dtype == np.float32


@pytest.mark.parametrize("make, call, error, message", [
    (dict(), lambda e: e.add(np.zeros((H, W))), TypeError, "must be float32 or int16 counts, got float64"),
    (dict(), lambda e: e.add(np.zeros((H, W), np.uint16)), TypeError, "got uint16; convert it"),
    (dict(calibrated=True), lambda e: e.add(np.zeros((H, W), np.float32)), TypeError,
     "a calibrated engine takes int16 counts, got float32"),
    (dict(), lambda e: e.add(np.zeros((W, H), np.int16)), ValueError, "must have 48 rows and 64 columns, got 64 x 48"),
    (dict(), lambda e: e.add(np.zeros((H, W), np.float32, order="F")), ValueError, "must be C-contiguous"),
    (dict(calibrated=True), lambda e: e.set_calibration(np.zeros((H, W), np.int16), 0.0, np.ones((H, W)), 1.0),
     TypeError, "counts_high must be int16, got float64"),
    (dict(), lambda e: e.set_calibration(None, 0.0, None, 1.0), ValueError, "needs an engine made with calibrated=True"),
    (dict(tv_weight=0.5), None, ValueError, "Invalid total-variation term weight specified."),
    (dict(reference=5), None, ValueError, "Invalid reference index specified."),
])
def test_refuses_what_it_would_have_to_convert_and_invalid_parameters(make, call, error, message):
    with pytest.raises(error, match=re.escape(message)):
        engine = vsr.ReferenceEngine(W, H, **make)
        call(engine)
    if call:
        assert engine.frame_count == 0 and engine.result is None
