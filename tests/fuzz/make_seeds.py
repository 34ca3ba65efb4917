#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into tests/fuzz/corpus/<target>/.

Each seed is the header bytes a harness decodes (table indices, dimension
bytes, flags) followed by pixel bytes. The indices refer to the tables of each
target's namespace in fuzz.cpp; keep them in step when a table changes.
Usage: tests/fuzz/make_seeds.py (from anywhere; rewrites the seed files).
"""
import os
import random

HERE = os.path.dirname(os.path.abspath(__file__))


def around(base, span):
    """The byte Input::around(_, base, span, _) decodes as d, for base <= d < base + span."""
    def byte(d):
        assert base <= d < base + span
        return d - base
    return byte


dim = around(4, 45)  # Input::dimension()
size = around(1, 40)  # sizes of the conversion harness
side = around(28, 40)  # sides of the LSC estimator harness
side72 = around(28, 72)  # sides of the basic LSC harness


def write(target, seeds, payload=256):
    folder = os.path.join(HERE, "corpus", target)
    os.makedirs(folder, exist_ok=True)
    for name in os.listdir(folder):
        os.remove(os.path.join(folder, name))
    rng = random.Random(target)
    for i, header in enumerate(seeds):
        with open(os.path.join(folder, "seed%02d" % i), "wb") as f:
            f.write(bytes(header) + bytes(rng.randrange(256) for _ in range(payload)))


# demosaic16: format, output, method, bit depth - 8, height, width, pitch.
# Formats: 0..3 Mono10/12/14/16, 4..7 GR/RG/GB/BG 10, 8..11 the same 12,
# 12..15 the same 16. Outputs: 0 RGB10, 1 BGR10, 2 RGB12, 3 BGR12, 4 RGB16,
# 5..8 Mono10/12/14/16, 9 RGB16 with high bits.
write("demosaic16", [
    (9, 4, 2, 4, dim(6), dim(20), 0),    # RG12 edge to RGB16, vector columns
    (14, 1, 1, 8, dim(5), dim(7), 3),    # GB16 bilinear to BGR10, odd sizes
    (2, 8, 0, 6, dim(4), dim(4), 0),     # Mono14 to Mono16, unshifted
    (7, 2, 2, 2, dim(7), dim(9), 1),     # BG10 edge to RGB12
    (8, 3, 2, 4, dim(9), dim(33), 5),    # GR12 edge to BGR12, odd height
    (13, 9, 1, 8, dim(8), dim(21), 2),   # RG16 bilinear, RGB16 with high bits
    (0, 0, 3, 2, dim(6), dim(6), 0),     # Mono10 to RGB10, method ignored
])

# convert: source, target, height, width, null selector. Sources: 0 Mono1p,
# 1 Mono4p, 2 Mono8, 3 point list, 4 YUV411, 5 YUV420 planar, 6 NV12, 7 UYVY,
# 8 YUYV, 9 UYV, 10 RGB8, 11 BGR8. Targets: 0 Mono8, 1 RGB8, 2 BGR8, 3 RGBa8,
# 4 BGRa8, 5 UYV, 6 YUV411, 7 UYVY, 8 YUYV, 9 YUV420 planar.
write("convert", [
    (0, 0, size(3), size(5), 0), (1, 3, size(3), size(3), 0), (2, 9, size(6), size(10), 0),
    (3, 0, size(7), size(9), 0), (4, 1, size(5), size(8), 0), (5, 2, size(4), size(18), 0),
    (6, 4, size(6), size(34), 0), (7, 0, size(3), size(6), 0), (8, 3, size(2), size(36), 0),
    (9, 1, size(7), size(17), 0), (10, 6, size(3), size(20), 0), (11, 9, size(4), size(34), 0),
    (10, 7, size(5), size(6), 0),
])

# bmp: height, width, null selector.
write("bmp", [(dim(4), dim(4), 0), (dim(5), dim(5), 0), (dim(7), dim(6), 0),
              (dim(9), dim(7), 0), (dim(4), dim(33), 0)], payload=64)

# lsc_apply: format, mode, height, width, shape (bit 3: shared buffer; bits
# 0..2 set would draw other sizes for the record and the destination).
# Formats: 0 Mono8, 2 RG8, 5 Mono10, 7 BG10, 9 RG12, 13 RGB8. Modes: 0 Bayer, 1 mono.
write("lsc_apply", [
    (0, 1, dim(5), dim(7), 0), (2, 0, dim(9), dim(33), 0), (9, 0, dim(16), dim(20), 8),
    (5, 1, dim(6), dim(40), 0), (7, 0, dim(7), dim(17), 0), (13, 0, dim(8), dim(8), 0),
])


# lsc_estimate: mode, bits, height, width, null selector. Modes: 0 Bayer,
# 1 mono. Bits: 0 -> 8, 1 -> 10, 2 -> 12.
write("lsc_estimate", [
    (0, 2, side(32), side(32), 0), (1, 0, side(34), side(48), 0), (0, 1, side(64), side(40), 0),
    (0, 0, side(33), side(32), 0), (1, 2, side(40), side(36), 0),
])

# lsc_basic: mode, bits, region count, height, width, block width, block
# height, dark level, null selector. Modes: 0 -> 0, 3 -> 1. Bits: 0 -> 8,
# 1 -> 10, 2 -> 12. Regions: 0 -> 2, 1 -> 3, 2 -> 4. Block widths: 0 -> 16,
# 1 -> 32. Block height 0 -> 16. Dark levels: 0 -> 0, 1 -> 1, 2 -> 10, 3 -> 64.5.
write("lsc_basic", [
    (0, 0, 0, side72(32), side72(32), 0, 0, 0, 0), (0, 1, 1, side72(48), side72(99), 1, 0, 2, 0),
    (0, 2, 2, side72(33), side72(64), 0, 0, 3, 0), (0, 1, 0, side72(47), side72(47), 1, 0, 1, 0),
    (3, 0, 0, side72(32), side72(32), 0, 0, 0, 0),
])
