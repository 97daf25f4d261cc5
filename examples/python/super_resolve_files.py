#!/usr/bin/env python3
# SPDX-License-Identifier: Proprietary
"""Super-resolves a burst of PNG or TIFF files into one float TIFF and a preview.

    super_resolve_files.py frame_*.tif -o result.tif --preview preview.png

The frames are grey images of one size: 8- or 16-bit counts, or 32-bit float
temperatures. The result is a 32-bit float TIFF of twice the width and height;
the preview shows the reference frame enlarged by bicubic interpolation and the
result side by side, in a thermal palette. Needs OpenCV's Python binding (cv2).
"""
import argparse
import sys

import numpy as np

try:
    import cv2
except ImportError:
    sys.exit("error: this example reads and writes images with OpenCV's Python binding (Debian: python3-opencv)")

import vision_superresolution as vsr


def read_frame(path):
    image = cv2.imread(path, cv2.IMREAD_ANYDEPTH)  # grey, 8, 16 or 32 bits as stored
    if image is None:
        sys.exit(f"error: cannot read {path}")
    return image.astype(np.float32)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("frames", nargs="+", help="the burst, oldest first")
    parser.add_argument("-o", "--output", required=True, help="the result, a .tif file")
    parser.add_argument("--preview", help="a .png file with bicubic and result side by side")
    parser.add_argument("--camera", help='camera and lens, e.g. "k425 FOV 25"')
    args = parser.parse_args()

    frames = [read_frame(path) for path in args.frames]
    try:
        engine = vsr.Engine(frames[0].shape[1], frames[0].shape[0], window=len(frames), camera=args.camera)
        for path, frame in zip(args.frames, frames):
            outcome = engine.add(frame)
            if outcome.warning:
                print(f"{path}: warning: {outcome.warning}")
    except (ValueError, RuntimeError) as error:
        sys.exit(f"error: {error}")
    if outcome.quality is not None:
        print(f"quality figure {outcome.quality:.2f} (2: every frame usable everywhere, 1: only the reference)")

    result = engine.result
    if not cv2.imwrite(args.output, result):
        sys.exit(f"error: cannot write {args.output}")
    if args.preview:
        reference = frames[-1 - engine.reference]
        bicubic = cv2.resize(reference, None, fx=2, fy=2, interpolation=cv2.INTER_CUBIC)
        low, high = np.percentile(result, [0.5, 99.5])
        grey = np.clip((np.hstack([bicubic, result]) - low) * (255.0 / max(high - low, 1e-6)), 0, 255)
        if not cv2.imwrite(args.preview, cv2.applyColorMap(grey.astype(np.uint8), cv2.COLORMAP_INFERNO)):
            sys.exit(f"error: cannot write {args.preview}")


if __name__ == "__main__":
    main()
