# SPDX-License-Identifier: Proprietary
"""Multi-frame super-resolution of thermal images.

A burst of low-resolution frames of one scene, taken with small movements
between them, becomes one image of twice the width and height::

    import vision_superresolution as vsr
    image = vsr.super_resolve(frames)          # frames: 2-D float32 arrays

For a stream of frames, or to see shifts, masks and warnings, use Engine::

    engine = vsr.Engine(160, 120, camera="k425 FOV 25")
    for frame in frames:
        outcome = engine.add(frame)
        if outcome.computed:
            show(engine.result)

ReferenceEngine is the first-generation engine, also for int16 sensor counts
and, with a two-point calibration, for counts turned into temperatures or
radiances; bad_pixels finds a sensor's defect map in a flat-field frame, draws
it and repairs frames with it.
"""
import warnings

import numpy

from ._core import (Engine, Outcome, ReferenceEngine, __version__, bad_pixels, estimate_psf_sigma, find_stuck_pixels,
                    registrations, repair_stuck_pixels)

__all__ = ["Engine", "Outcome", "ReferenceEngine", "registrations", "super_resolve", "find_stuck_pixels",
           "repair_stuck_pixels", "estimate_psf_sigma", "bad_pixels", "__version__"]


def super_resolve(frames, *, stuck_pixels="off", **options):
    """Super-resolves a burst: one image of twice the width and height.

    frames: a sequence of C-contiguous float32 arrays of equal shape
    (rows x columns), or a C-contiguous float32 array of frames x rows x columns.
    stuck_pixels: "off" (default), "auto" to find sensor pixels stuck in every
    frame and repair them first (find_stuck_pixels), or a list of (x, y) pixels
    to repair. psf_sigma="auto" estimates the blur from the burst
    (estimate_psf_sigma). Where the burst is too short or too flat for either,
    a RuntimeWarning says so and the defaults apply. The caller's frames are
    not changed.
    options: those of Engine; the window defaults to the number of frames, the
    reference frame to the fourth-newest (or the oldest of fewer frames).

    Returns a new float32 array. Warnings of the engine (defective pixels,
    frames without contrast, large displacement...) are issued as
    RuntimeWarning; errors raise as from Engine.
    """
    frames = list(frames)
    if not frames:
        raise ValueError("super_resolve needs at least one frame")
    shape = numpy.shape(frames[0])
    if len(shape) != 2:
        raise ValueError(f"frames must be 2-D (rows x columns), got shape {shape}")
    options.setdefault("window", len(frames))
    if stuck_pixels != "off" or options.get("psf_sigma") == "auto":
        frames = _prepared(frames, stuck_pixels, options)
    engine = Engine(shape[1], shape[0], **options)
    if len(frames) < engine.window:
        raise ValueError(f"{len(frames)} frames are fewer than the window of {engine.window}")
    issued = set()
    for frame in frames:
        warning = engine.add(frame).warning
        if warning and warning not in issued:
            issued.add(warning)
            warnings.warn(warning, RuntimeWarning, stacklevel=2)
    return engine.result


def _prepared(frames, stuck_pixels, options):
    """A repaired copy of the burst, with psf_sigma set when it was asked to be estimated."""
    burst = numpy.stack(frames)
    if stuck_pixels == "auto":
        try:
            stuck_pixels = find_stuck_pixels(burst)
        except ValueError as reason:
            warnings.warn(f"{reason}; frames used as they are", RuntimeWarning, stacklevel=3)
            stuck_pixels = []
    if len(stuck_pixels):
        repair_stuck_pixels(burst, [(int(x), int(y)) for x, y in stuck_pixels])
    if options.get("psf_sigma") == "auto":
        window = burst[-options["window"]:]
        reference = options.get("reference")
        try:
            options["psf_sigma"] = estimate_psf_sigma(window, 3 if reference is None else reference)
        except ValueError as reason:
            warnings.warn(f"{reason}; the default blur applies", RuntimeWarning, stacklevel=3)
            del options["psf_sigma"]
    return list(burst)
