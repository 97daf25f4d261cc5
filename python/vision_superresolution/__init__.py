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
"""
import warnings

import numpy

from ._core import Engine, Outcome, __version__, registrations

__all__ = ["Engine", "Outcome", "registrations", "super_resolve", "__version__"]


def super_resolve(frames, **options):
    """Super-resolves a burst: one image of twice the width and height.

    frames: a sequence of C-contiguous float32 arrays of equal shape
    (rows x columns), or a C-contiguous float32 array of frames x rows x columns.
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
