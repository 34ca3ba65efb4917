"""The Python package against the C library called directly through ctypes on
the same inputs, plus the package's own shape, dtype and error handling."""

import ctypes
import os
import threading

import numpy as np
import pytest

import tav

PF = tav.PixelFormat
LIB = ctypes.CDLL(os.environ["TAV_LIBRARY"])
RNG = np.random.default_rng(7)


class TavImage(ctypes.Structure):
    _fields_ = [("height", ctypes.c_int32), ("width", ctypes.c_int32), ("pixelFormat", ctypes.c_uint32),
                ("data", ctypes.c_void_p), ("pitch", ctypes.c_int32)]


def image(h, w, fmt, buf, pitch=0):
    return TavImage(h, w, int(fmt), buf.ctypes.data, pitch)


def c_demosaic(buf, h, w, pitch, fmt, method, output, out_bytes):
    """tavDemosaicing through ctypes; returns (code, output bytes)."""
    ctx = ctypes.c_void_p()
    assert LIB.tavCreate(ctypes.byref(ctx)) == 0
    assert LIB.tavDemosaicSetConfig(ctx, ctypes.byref(ctypes.c_uint64(int(output)))) == 0
    src, dst = buf.copy(), np.zeros(out_bytes, dtype=np.uint8)
    s, d = image(h, w, fmt, src, pitch), image(0, 0, 0, dst)
    code = LIB.tavDemosaicing(ctx, ctypes.byref(s), ctypes.c_uint32(method), ctypes.byref(d))
    LIB.tavRelease(ctypes.byref(ctx))
    return code, dst


@pytest.mark.parametrize("output,channels", [("Mono8", 1), ("RGB8", 3), ("BGR8", 3), ("RGBa8", 4),
                                            ("BGRa8", 4), ("RGB8_Planar", 3), ("BGR8_Planar", 3)])
@pytest.mark.parametrize("fmt", ["Mono8", "BayerRG8", "BayerGB8"])
@pytest.mark.parametrize("method", ["nearest", "bilinear", "edge", "hq"])
def test_8bit_equals_the_library(fmt, output, channels, method):
    assert PF.BayerRG12Packed == 0x010C002B and isinstance(PF.Mono8, int)
    h, w = 13, 22
    raw = RNG.integers(0, 256, (h, w), dtype=np.uint8)
    code, want = c_demosaic(raw, h, w, w, PF[fmt], {"nearest": 0, "bilinear": 1, "edge": 2, "hq": 3}[method],
                            PF[output], h * w * channels)
    if code != 0:
        with pytest.raises(tav.Error) as err:
            tav.demosaic(raw, fmt, method, output)
        assert err.value.code == code
        return
    got = tav.demosaic(raw, fmt, method, output)
    assert got.dtype == np.uint8
    assert got.tobytes() == want.tobytes()
    planar = output.endswith("Planar")
    assert got.shape == ((3, h, w) if planar else (h, w) if channels == 1 else (h, w, channels))


def test_packed_1d_buffer_and_2d_rows_give_the_library_result():
    h, w = 10, 20
    packed = RNG.integers(0, 256, h * 30, dtype=np.uint8)
    code, want = c_demosaic(packed, h, w, 30, PF.Mono12Packed, 1, PF.Mono8, h * w)
    assert code == 0
    one = tav.demosaic(packed.tobytes(), PF.Mono12Packed, output="Mono8", width=w, height=h)
    two = tav.demosaic(packed.reshape(h, 30), "mono12packed", output="Mono8")
    assert one.tobytes() == two.tobytes() == want.tobytes()
    # High bytes of each pair: bytes 0 and 2 of every 3.
    assert np.array_equal(two, packed.reshape(h, 10, 3)[:, :, [0, 2]].reshape(h, w))


def test_strided_views_wide_samples_and_out_arrays():
    big = RNG.integers(0, 256, (9, 24), dtype=np.uint8)
    before = big.copy()
    assert np.array_equal(tav.demosaic(big[:, :17], "Mono8", output="Mono8"), big[:, :17])
    assert np.array_equal(big, before)  # the caller's array is kept
    raw = RNG.integers(0, 4096, (8, 20), dtype=np.uint16)
    got = tav.demosaic(raw[:, :12], "Mono12", output="Mono8")  # wide samples keep their top byte
    assert np.array_equal(got, (raw[:, :12] >> 4).astype(np.uint8))
    out = np.empty((9, 17, 4), dtype=np.uint8)
    assert tav.demosaic(big[:, :17], "Mono8", output="BGRa8", out=out) is out
    assert np.all(out[:, :, 3] == 0)
    assert np.array_equal(out[:, :, 1], big[:, :17])


Z8, Z16 = np.zeros((6, 8), np.uint8), np.zeros((6, 8), np.uint16)


@pytest.mark.parametrize("raw,fmt,args,error", [
    (Z16, "Mono8", {}, TypeError), (Z8, "Mono12", {}, TypeError),
    (Z8, "NoSuchFormat", {}, ValueError),
    (np.zeros(48, np.uint8), "Mono8", {}, ValueError),  # 1-D without sizes
    (np.zeros(40, np.uint8), "Mono8", dict(width=8, height=6), ValueError),  # too short
    (Z8, "Mono8", dict(out=Z8), ValueError), (Z8, "Mono8", dict(method="cubic"), ValueError),
    ([1, 2, 3], "Mono8", {}, TypeError),
])
def test_bad_arguments_are_refused_before_the_call(raw, fmt, args, error):
    with pytest.raises(error):
        tav.demosaic(raw, fmt, **args)


def test_library_errors_carry_name_and_code(capfd):
    with pytest.raises(tav.Error) as err:
        tav.demosaic(np.zeros((3, 8), np.uint8), "Mono8")
    assert (err.value.code, err.value.name) == (-104, "TAV_E_IMAGE_SIZE")
    assert "TAV_E_IMAGE_SIZE" in str(err.value)
    assert "error line = [96]" in capfd.readouterr().out


def test_context_serves_a_stream_and_threads():
    frames = [RNG.integers(0, 256, (16, 24), dtype=np.uint8) for _ in range(8)]
    with tav.Context() as ctx:
        serial = [ctx.demosaic(f, "Mono8", output="RGB8") for f in frames]
    results = [None] * len(frames)

    def worker(k):
        with tav.Context() as c:
            for i in range(k, len(frames), 4):
                results[i] = c.demosaic(frames[i], "Mono8", output="RGB8")

    threads = [threading.Thread(target=worker, args=(k,)) for k in range(4)]
    [t.start() for t in threads]
    [t.join() for t in threads]
    assert all(np.array_equal(a, b) for a, b in zip(results, serial))


@pytest.mark.skipif(not hasattr(tav._tav, "_demosaic16"), reason="no 16-bit demosaicing")
def test_16bit_equals_the_library():
    h, w = 12, 18
    raw = RNG.integers(0, 4096, (h, w), dtype=np.uint16)
    for output, method in (("BGR12", 1), ("RGB16", 1), ("BGR12", 3), ("RGB16", 3)):
        got = tav.demosaic16(raw, "BayerRG12", 12, ["", "bilinear", "", "hq"][method], output)
        dst, src = np.zeros(h * w * 3, dtype=np.uint16), raw.copy()
        cfg = (ctypes.c_uint32 * 4)(int(PF[output]), 0, method, 12)  # int64 format, method, depth
        s, d = image(h, w, PF.BayerRG12, src, 2 * w), image(h, w, 0, dst)
        assert LIB.tavDemosaicingU16(cfg, ctypes.byref(s), ctypes.byref(d)) == 0
        assert got.shape == (h, w, 3) and got.dtype == np.uint16
        assert np.array_equal(got.reshape(-1), dst)


@pytest.mark.skipif(not hasattr(tav._tav, "_convert"), reason="no conversion")
def test_convert_equals_the_library_and_reports_size_errors():
    h, w = 6, 10
    bgr = RNG.integers(0, 256, (h, w, 3), dtype=np.uint8)
    for target, size in (("Mono8", h * w), ("RGBa8", 4 * h * w), ("YUV422_8_UYVY", 2 * h * w)):
        got = tav.convert(bgr, "BGR8", target)
        dst, src = np.zeros(size, dtype=np.uint8), bgr.copy()
        s, d = image(h, w, PF.BGR8, src), image(h, w, 0, dst)
        assert LIB.tavImageTypeConvert(ctypes.byref(s), ctypes.byref(d), ctypes.c_uint64(PF[target])) == 0
        assert got.tobytes() == dst.tobytes()
    uyvy = RNG.integers(0, 256, 2 * 6 * 9, dtype=np.uint8)
    with pytest.raises(tav.Error) as err:
        tav.convert(uyvy, "YUV422_8_UYVY", "BGR8", width=9, height=6)
    assert err.value.name == "TAV_E_FORMAT_SIZE"
    bgr5 = RNG.integers(0, 256, (4, 5, 3), dtype=np.uint8)
    padded = tav.bmp_adjust(bgr5)
    assert padded.shape == (4, 16) and np.array_equal(padded[:, :15], bgr5.reshape(4, 15))
    assert not padded[:, 15].any()
    with pytest.raises(tav.Error) as err:
        tav.bmp_adjust(bgr5[:3])
    assert err.value.name == "TAV_E_IMAGE_SIZE"


def test_thread_count_defaults_to_every_core_and_applies_per_call():
    if "TAV_NUM_THREADS" not in os.environ:
        assert tav.get_num_threads() == os.cpu_count()
    saved = tav.get_num_threads()
    # Large enough for several bands.
    raw = RNG.integers(0, 256, (512, 1024), dtype=np.uint8)
    bgr = RNG.integers(0, 256, (512, 1024, 3), dtype=np.uint8)
    calls = (lambda n: tav.demosaic(raw, "BayerRG8", "edge", threads=n),
             lambda n: tav.convert(bgr, "BGR8", "YUV420P", threads=n))
    for call in calls:
        one = call(1)
        for n in (2, 3, 7):
            assert np.array_equal(call(n), one)
            assert tav.get_num_threads() == saved
    tav.set_num_threads(3)
    assert tav.get_num_threads() == 3
    with pytest.raises(tav.Error):
        tav.set_num_threads(-1)
    tav.set_num_threads(saved)


@pytest.mark.skipif(not hasattr(tav._tav, "_lsc_estimate"), reason="no lens shading")
def test_lsc_round_trip_flattens_a_vignetted_field():
    h, w = 64, 96
    yy, xx = np.mgrid[0:h, 0:w]
    flat = (200.0 * (1.0 - 0.8 * (((yy - h / 2) / h) ** 2 + ((xx - w / 2) / w) ** 2)))
    flat, dark = flat.astype(np.float32), np.zeros((h, w), np.float32)
    params = tav.lsc_estimate(flat, dark, mode="mono", bits=8)
    assert params.mode == 1 and params.coefficients.size == h * w
    frame = np.rint(flat).astype(np.uint8)
    corrected = tav.lsc_apply(frame, params, "Mono8")
    assert corrected.max() - corrected.min() <= 2
    inplace = frame.copy()
    assert tav.lsc_apply(inplace, params, "Mono8", out=inplace) is inplace
    assert np.array_equal(inplace, corrected)
    with pytest.raises(tav.Error) as err:
        tav.lsc_estimate(flat[:30], dark[:30])
    assert err.value.name == "TAV_E_IMAGE_SIZE"
