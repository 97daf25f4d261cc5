# SPDX-License-Identifier: Proprietary
"""The Python package through its public interface, on the project's simulated bursts."""
import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest

import _vsr_testing as testing
import vision_superresolution as vsr

W, H = 64, 48


@pytest.fixture(scope="module")
def burst():
    # Reference frame 1 of 5: the engine's default, 3 back from the newest.
    return testing.burst(W, H, frames=5, reference=1)


@pytest.mark.parametrize("registration", vsr.registrations)
def test_burst_beats_bicubic_of_the_reference(burst, registration):
    # Phase correlation needs moves of more than about 1.5 pixels and no repeating pattern.
    frames, truth, _ = burst if registration == "corners" else testing.burst(160, 120, scene="star", max_shift=3.0)
    result = vsr.super_resolve(frames, registration=registration)
    assert result.shape == truth.shape and result.dtype == np.float32
    assert np.isfinite(result).all()
    # On such bursts the library scores 4 to 7 dB above bicubic.
    assert testing.psnr(result, truth) > testing.psnr(testing.bicubic(frames[1]), truth) + 3.0


def test_engine_reconstructs_once_the_window_is_full(burst):
    frames, _, true_shifts = burst
    engine = vsr.Engine(W, H)
    for frame in frames[:4]:
        assert not engine.add(frame).computed
    assert engine.result is None and engine.shifts is None and engine.masks is None
    outcome = engine.add(frames[4])
    assert (outcome.computed, outcome.code, outcome.warning) == (True, 0, "")
    assert 1.0 <= outcome.quality <= 2.0
    assert engine.frame_count == 5
    np.testing.assert_allclose(engine.shifts, true_shifts, atol=0.1)
    assert engine.masks.shape == (5, H, W) and set(np.unique(engine.masks)) <= {0, 1}
    np.testing.assert_array_equal(engine.result, vsr.super_resolve(frames))


@pytest.mark.parametrize("frame, error, message", [
    (np.zeros((H, W)), TypeError, "must be float32, got float64"),
    (np.zeros((H, W), np.int16), TypeError, "must be float32, got int16"),
    (np.zeros((H, W), ">f4"), TypeError, "must be float32, got >f4"),
    ([[0.0] * W] * H, TypeError, "must be a numpy array of float32, got list"),
    (np.zeros((1, H, W), np.float32), ValueError, "must be 2-D (rows x columns), got 3-D"),
    (np.zeros((W, H), np.float32), ValueError, "must have 48 rows and 64 columns, got 64 x 48"),
    (np.zeros((H, W), np.float32, order="F"), ValueError, "must be C-contiguous"),
    (np.zeros((H, 2 * W), np.float32)[:, ::2], ValueError, "must be C-contiguous"),
])
def test_add_refuses_frames_it_would_have_to_convert(frame, error, message):
    engine = vsr.Engine(W, H)
    with pytest.raises(error, match=re.escape(message)):
        engine.add(frame)
    assert engine.frame_count == 0


@pytest.mark.parametrize("options, message", [
    (dict(reference=5), "Invalid reference index specified."),
    (dict(tv_weight=0.5), "Invalid total-variation term weight specified."),
    (dict(iterations=0), "Invalid maximum number of iterations specified."),
    (dict(threads=0), "Invalid number of threads specified."),
    (dict(psf_sigma=0.0), "Invalid standard deviation of the sensor psf specified."),
    (dict(window=0), "window must be at least 1, got 0"),
    (dict(width=0), "width and height must be positive, got 0 x 48"),
    (dict(registration="nonsense"), "unknown registration 'nonsense'; available: 'corners'"),
    (dict(camera="k999"), "camera 'k999' names no known camera model and lens"),
    (dict(camera="k425 FOV 25", psf_sigma=0.5), "give camera or psf_sigma, not both"),
])
def test_engine_refuses_parameters(options, message):
    width = options.pop("width", W)
    with pytest.raises(ValueError, match=re.escape(message)):
        vsr.Engine(width, H, **options)


def test_super_resolve_refuses_a_burst_shorter_than_the_window(burst):
    with pytest.raises(ValueError, match="3 frames are fewer than the window of 5"):
        vsr.super_resolve(burst[0][:3], window=5)


def test_result_unchanged_by_memory_layout_or_threads(burst):
    frames = burst[0]
    expected = vsr.super_resolve(frames)
    converted = [np.ascontiguousarray(np.asfortranarray(frame)) for frame in frames]
    np.testing.assert_array_equal(vsr.super_resolve(converted), expected)
    np.testing.assert_array_equal(vsr.super_resolve(np.stack(frames)), expected)
    np.testing.assert_array_equal(vsr.super_resolve(frames, threads=2), expected)


def test_camera_sets_the_blur_as_the_c_interface_does(burst):
    frames = burst[0]
    with_camera = vsr.super_resolve(frames, camera="k425 FOV 25")
    np.testing.assert_array_equal(with_camera, vsr.super_resolve(frames, psf_sigma=0.35))
    assert not np.array_equal(with_camera, vsr.super_resolve(frames))


def test_low_contrast_frames_warn(burst):
    with pytest.warns(RuntimeWarning, match="almost no contrast"):
        vsr.super_resolve([frame * np.float32(0.05) for frame in burst[0]])


@pytest.mark.parametrize("verbose", [False, True])
def test_timing_lines_only_when_verbose(burst, capfd, verbose):
    vsr.super_resolve(burst[0], verbose=verbose)
    print("after")
    out = capfd.readouterr().out
    assert ("minimization:" in out) == verbose
    assert out.endswith("after\n")


def test_example_writes_result_and_preview(burst, tmp_path):
    cv2 = pytest.importorskip("cv2")
    names = []
    for i, frame in enumerate(burst[0]):
        names.append(str(tmp_path / f"frame_{i}.tif"))
        cv2.imwrite(names[-1], frame)
    example = pathlib.Path(__file__).parents[2] / "examples" / "python" / "super_resolve_files.py"
    subprocess.run([sys.executable, str(example), *names, "-o", str(tmp_path / "result.tif"),
                    "--preview", str(tmp_path / "preview.png")], check=True)
    np.testing.assert_array_equal(cv2.imread(str(tmp_path / "result.tif"), cv2.IMREAD_UNCHANGED),
                                  vsr.super_resolve(burst[0]))
    assert cv2.imread(str(tmp_path / "preview.png")).shape == (2 * H, 4 * W, 3)


def test_stuck_pixels_are_found_and_repaired_before_the_engine():
    frames, truth, _ = testing.burst(160, 120, stuck=20)
    assert len(vsr.find_stuck_pixels(np.stack(frames))) == 20
    before = [frame.copy() for frame in frames]
    repaired = vsr.super_resolve(frames, stuck_pixels="auto")
    assert all(np.array_equal(a, b) for a, b in zip(frames, before))  # the caller's frames stay as they were
    assert testing.psnr(repaired, truth) > testing.psnr(testing.bicubic(frames[1]), truth) + 3.0
    assert testing.psnr(repaired, truth) > testing.psnr(vsr.super_resolve(frames), truth) + 3.0


def test_burst_helpers_fall_back_with_a_warning(burst):
    frames, _, _ = burst
    with pytest.warns(RuntimeWarning, match="too few frames"):
        vsr.super_resolve(frames[:3], stuck_pixels="auto", psf_sigma="auto")
    with pytest.raises(TypeError, match="float32"):
        vsr.find_stuck_pixels(np.stack(frames).astype(np.float64))
    sigma = vsr.estimate_psf_sigma(np.stack(frames), 3)
    assert 0.3 < sigma < 1.5
