"""The package against the C library's frame API called through ctypes on the
same frames, plus the package's own layouts, refusals and errors."""

import ctypes
import os
import pickle
import tracemalloc

import numpy as np
import pytest

import tav

PF = tav.PixelFormat
LIB = ctypes.CDLL(os.environ["TAV_LIBRARY"])
LIB.tavResultText.restype = LIB.tavVersion.restype = ctypes.c_char_p
RNG = np.random.default_rng(7)


class Frame(ctypes.Structure):
    _fields_ = [("format", ctypes.c_uint32), ("width", ctypes.c_int32), ("height", ctypes.c_int32),
                ("bitDepth", ctypes.c_uint32), ("plane", ctypes.c_void_p * 3),
                ("stride", ctypes.c_ssize_t * 3)]


def frame(fmt, w, h, buf):
    f = Frame()
    LIB.tavFrameInit(ctypes.byref(f), ctypes.c_uint32(fmt), w, h, ctypes.c_void_p(buf.ctypes.data))
    return ctypes.byref(f)


def library(call, src_fmt, src, dst_fmt, w, h, *extra):
    """(code, output bytes) of tavDemosaic or tavConvert on a compact copy."""
    src, dst = np.ascontiguousarray(src).copy(), np.zeros(tav.frame_size(dst_fmt, w, h), np.uint8)
    code = getattr(LIB, call)(frame(src_fmt, w, h, src), frame(dst_fmt, w, h, dst), *extra)
    return code, dst.tobytes()


def raw_frame(fmt, h, w):
    """A random frame of fmt in the package's own layout (10-bit words)."""
    shape, dtype = tav._layout(fmt, h, w)
    return RNG.integers(0, 1024 if dtype.itemsize == 2 else 256, shape, dtype=dtype)


OUTPUTS = ["RGB8", "BGR8", "BGRa8", "Mono8", "BGR8_Planar", "RGB16", "BGR12", "Mono12"]


@pytest.mark.parametrize("output", OUTPUTS)
@pytest.mark.parametrize("fmt", ["BayerGR8", "BayerBG12", "BayerGB10Packed", "BayerRG12p", "Mono10"])
@pytest.mark.parametrize("method", ["nearest", "bilinear", "edge", "hq"])
def test_demosaic_equals_the_library(fmt, output, method):
    h, w = 10, 14
    fmt, out_fmt, m = PF[fmt], PF[output], tav._METHODS[method]
    raw = raw_frame(fmt, h, w)
    shape, dtype = tav._layout(out_fmt, h, w)
    code, want = library("tavDemosaic", fmt, raw, out_fmt, w, h, (ctypes.c_uint32 * 8)(m))
    if code:
        with pytest.raises(tav.Error) as err:
            tav.demosaic(raw, fmt, method, output)
        assert err.value.code == code and err.value.reason == LIB.tavResultText(code).decode()
        return
    got = tav.demosaic(raw, fmt.name.lower(), method, output)
    assert got.shape == shape and got.dtype == dtype and got.tobytes() == want
    if output == "RGB8":
        assert tav.demosaic(raw, fmt, method).tobytes() == want  # RGB by default


@pytest.mark.parametrize("phase", ["GR", "RG", "GB", "BG"])
@pytest.mark.parametrize("depth,output", [("8", "RGB8"), ("12", "RGB16"), ("16", "RGB16")])
def test_red_light_comes_out_red_at_every_phase(phase, depth, output):
    fmt = PF[f"Bayer{phase}{depth}"]
    h, w = 12, 16
    red = np.zeros((h, w), tav._layout(fmt, 1, 1)[1])
    row, col = (0, phase.index("R")) if "R" in phase else (1, 1 - phase.index("B"))
    red[row::2, col::2] = 200
    for method in ("bilinear", "edge", "hq"):
        rgb = tav.demosaic(red, fmt, method, output)[2:-2, 2:-2].astype(int)
        assert (rgb[..., 0] > rgb[..., 2]).all() and (rgb[..., 0] > rgb[..., 1]).all()


def padded(a, extra):
    """a as a view into longer rows."""
    big = np.zeros((a.shape[0], a.shape[1] + extra) + a.shape[2:], a.dtype)
    big[:, :a.shape[1]] = a
    return big[:, :a.shape[1]]


def layouts(h, w):
    """(format, arrays): ways of giving the same frame, the first one compact."""
    b8, words, packed, nv12, uyvy = (raw_frame(PF[f], h, w) for f in (
        "BayerRG8", "BayerRG12", "BayerRG12Packed", "YUV420SP_NV12", "YUV422_8_UYVY"))
    return [("BayerRG8", [b8, b8.ravel(), b8.tobytes(), padded(b8, 6), np.asfortranarray(b8)]),
            ("BayerRG12", [words, words.view(np.uint8).ravel(), padded(words, 2)]),
            ("BayerRG12Packed", [packed, packed.ravel(), padded(packed, 5)]),
            ("NV12", [nv12, nv12.ravel(), padded(nv12, 4)]),
            ("UYVY", [uyvy, uyvy.reshape(h, 2 * w), uyvy.ravel(),
                      np.stack([uyvy] * 2, -1)[..., 0]])]


@pytest.mark.parametrize("case", range(5))
def test_every_layout_of_a_frame_gives_the_same_picture(case):
    h, w = 8, 12
    fmt, arrays = layouts(h, w)[case]
    call = tav.convert if fmt in ("NV12", "UYVY") else tav.demosaic
    want = call(arrays[0], fmt).tobytes()
    for a in arrays:
        before = np.frombuffer(a, np.uint8).copy() if isinstance(a, bytes) else a.copy()
        kwargs = dict(width=w, height=h) if getattr(a, "ndim", 1) == 1 else {}
        assert call(a, fmt, **kwargs).tobytes() == want
        assert np.array_equal(np.frombuffer(a, np.uint8) if isinstance(a, bytes) else a, before)


@pytest.mark.parametrize("src,target,shape", [
    ("BGR8", "YUV422_8_UYVY", (8, 12, 2)), ("RGB8", "YUV422_8", (8, 12, 2)),
    ("RGB8", "YUV420P", (12, 12)), ("BGR8", "YUV411_8_UYYVYY", (8, 18)),
    ("RGB8", "YUV8_UYV", (8, 12, 3)), ("YUV420SP_NV12", "RGB8", (8, 12, 3)),
    ("YUV420P", "BGR8", (8, 12, 3)), ("YUV422_8", "Mono8", (8, 12)),
    ("YUV411_8_UYYVYY", "RGB8", (8, 12, 3)), ("Mono4p", "RGB8", (8, 12, 3)),
])
def test_convert_equals_the_library_in_opencv_shapes(src, target, shape):
    h, w = 8, 12
    s, t = PF[src], PF[target]
    data = raw_frame(s, h, w)
    code, want = library("tavConvert", s, data, t, w, h, None)
    assert code == 0
    sizes = dict(width=w, height=h) if data.ndim == 1 else {}
    got = tav.convert(data, src, target, **sizes)
    assert got.shape == shape and got.tobytes() == want
    out = np.empty(shape, np.uint8)
    assert tav.convert(data, src, target, out=out, **sizes) is out and out.tobytes() == want


Z8, Z16 = np.zeros((6, 8), np.uint8), np.zeros((6, 8), np.uint16)


@pytest.mark.parametrize("call,error,words", [
    (lambda: tav.demosaic(Z16, "BayerRG8"), TypeError, ("uint8", "little-endian uint16")),
    (lambda: tav.demosaic(Z16.astype(">u2"), "Mono12"), TypeError, ("little-endian", "big-endian")),
    (lambda: tav.demosaic(Z8.ravel()[:40], "Mono8", width=8, height=6), ValueError, ("40", "48")),
    (lambda: tav.demosaic(Z8, "Mono8", out=np.empty((6, 8, 4), np.uint8)), ValueError,
     ("(6, 8, 3)", "(6, 8, 4)")),
    (lambda: tav.demosaic(Z8, "Mono8", out=np.empty((6, 8, 6), np.uint8)[..., :3]), ValueError,
     ("contiguous",)),
    (lambda: tav.convert(np.zeros((7, 8), np.uint8), "NV12"), ValueError, ("(7, 8)",)),
])
def test_bad_arguments_are_refused_before_the_call(call, error, words):
    with pytest.raises(error) as err:
        call()
    assert all(w in str(err.value) for w in words), str(err.value)


def test_library_errors_carry_reason_and_code_and_survive_pickling():
    with pytest.raises(tav.Error) as err:
        tav.demosaic(np.zeros((6, 7), np.uint8), "BayerRG8")
    e = err.value
    assert e.code < 0 and e.reason == LIB.tavResultText(e.code).decode()
    assert str(e) == f"{e.reason} (code {e.code})"
    copy = pickle.loads(pickle.dumps(tav.Error(e.reason, e.code, 3)))
    assert (copy.reason, copy.code, copy.frame) == (e.reason, e.code, 3)
    assert tav.__version__ == LIB.tavVersion().decode()
    with pytest.raises(tav.Error) as err:
        tav.convert(np.zeros((2, 2, 3), np.uint8), "RGB8", threads=-1)  # passed on, not dropped
    assert err.value.code == -214


@pytest.mark.parametrize("threads", [1, 2, 3, 7])
def test_out_and_threads_give_the_same_bytes_without_allocating(threads):
    raw = raw_frame(PF.BayerRG12, 256, 384)
    want = tav.demosaic(raw, "BayerRG12", "hq", "RGB16", threads=1)
    saved = tav.get_num_threads()
    out = np.zeros_like(want)
    tracemalloc.start()
    got = tav.demosaic(raw, "BayerRG12", "hq", "RGB16", out=out, threads=threads)
    peak = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    assert got is out and np.array_equal(out, want) and tav.get_num_threads() == saved
    assert peak < out.nbytes // 10


class Table(ctypes.Structure):
    _fields_ = [("mode", ctypes.c_uint32), ("width", ctypes.c_int32), ("height", ctypes.c_int32),
                ("words", ctypes.c_void_p)]


@pytest.mark.parametrize("fmt,mode", [("BayerRG8", "bayer"), ("Mono12", "mono"),
                                      ("BayerGB10", "bayer")])
def test_lens_shading_equals_the_library(fmt, mode):
    fmt, h, w = PF[fmt], 12, 16
    flat, dark, shot = (raw_frame(fmt, h, w) // d + a for d, a in ((2, 100), (8, 0), (1, 0)))
    zero_dark = tav.lsc_estimate(flat, fmt, np.zeros_like(dark), mode=mode)
    assert np.array_equal(tav.lsc_estimate(flat, fmt, mode=mode).words, zero_dark.words)
    words = np.zeros_like(zero_dark.words)
    table = tav.lsc_estimate(flat, fmt, dark, mode=mode, out=np.zeros_like(words))
    c_table = ctypes.byref(Table(table.mode, w, h, words.ctypes.data))
    assert LIB.tavShadingEstimate(frame(fmt, w, h, flat), frame(fmt, w, h, dark), c_table) == 0
    want = np.zeros_like(shot)
    assert LIB.tavShadingApply(frame(fmt, w, h, shot), frame(fmt, w, h, want), c_table, None) == 0
    assert np.array_equal(words, table.words) and not np.array_equal(want, shot)
    assert np.array_equal(tav.lsc_apply(shot, table, fmt, threads=2), want)
    assert tav.lsc_apply(shot, table, fmt, out=shot) is shot and np.array_equal(shot, want)
