"""tav for NumPy: demosaicing, lens-shading correction and pixel-format
conversion of raw camera frames.

    import tav
    bgr = tav.demosaic(raw, tav.PixelFormat.BayerRG12Packed, method="edge", output="BGR8")

Functions take NumPy arrays and return new arrays (or fill ``out=``). Shapes and
dtypes are checked before the library is called; a failed library call raises
``tav.Error`` with the result code's ``name`` and ``code``. The GIL is released
while the library works.

Threads: large frames are cut into row bands run on the library's own pool,
with the same bytes at every thread count. The count is process-wide: the
package sets it to every core (0) on import unless TAV_NUM_THREADS is set;
``set_num_threads``/``get_num_threads`` change and read it, and the frame calls
take ``threads=`` (see ``set_num_threads``).
"""

import contextlib as _contextlib
import enum as _enum
import os as _os
import threading as _threading

import numpy as _np

from . import _tav
from ._tav import Error

__all__ = [
    "Error", "PixelFormat", "Context", "LscParameters", "demosaic", "demosaic16", "convert",
    "lsc_estimate", "lsc_estimate_basic", "lsc_apply", "bmp_adjust", "set_num_threads",
    "get_num_threads",
]


# ---------------------------------------------------------------- threads

def set_num_threads(n):
    """Sets the threads every frame call may use, process-wide: 0 for every
    online core, 1 for the calling thread alone. A negative count raises
    tav.Error.

    A frame call's ``threads=n`` sets the count for that call and restores the
    one it found afterwards. The count being process-wide, calls from other
    Python threads that run meanwhile use n too, and calls that pass threads=
    run one at a time."""
    _tav._set_num_threads(int(n))


def get_num_threads():
    """The threads a frame call may use now (0 reads back as the core count)."""
    return _tav._get_num_threads()


# Calls that pass threads= take turns, so that each one restores the count it
# found; a call without threads= running meanwhile uses whatever count is set.
_THREADS_LOCK = _threading.Lock()


@_contextlib.contextmanager
def _threads(n):
    if n is None:
        yield
        return
    with _THREADS_LOCK:
        saved = get_num_threads()
        set_num_threads(n)
        try:
            yield
        finally:
            set_num_threads(saved)


if "TAV_NUM_THREADS" not in _os.environ:
    set_num_threads(0)


class PixelFormat(_enum.IntEnum):
    """GenICam PFNC codes, plus the library's own (BGR8_Planar, YUV420P,
    YUV420SP_NV12, Mono1C)."""

    Mono1p = 0x01010037
    Mono4p = 0x01040039
    Mono8 = 0x01080001
    BayerGR8 = 0x01080008
    BayerRG8 = 0x01080009
    BayerGB8 = 0x0108000A
    BayerBG8 = 0x0108000B
    Mono10Packed = 0x010C0004
    Mono12Packed = 0x010C0006
    BayerGR10Packed = 0x010C0026
    BayerRG10Packed = 0x010C0027
    BayerGB10Packed = 0x010C0028
    BayerBG10Packed = 0x010C0029
    BayerGR12Packed = 0x010C002A
    BayerRG12Packed = 0x010C002B
    BayerGB12Packed = 0x010C002C
    BayerBG12Packed = 0x010C002D
    Mono10 = 0x01100003
    Mono12 = 0x01100005
    Mono16 = 0x01100007
    Mono14 = 0x01100025
    BayerGR10 = 0x0110000C
    BayerRG10 = 0x0110000D
    BayerGB10 = 0x0110000E
    BayerBG10 = 0x0110000F
    BayerGR12 = 0x01100010
    BayerRG12 = 0x01100011
    BayerGB12 = 0x01100012
    BayerBG12 = 0x01100013
    BayerGR16 = 0x0110002E
    BayerRG16 = 0x0110002F
    BayerGB16 = 0x01100030
    BayerBG16 = 0x01100031
    Mono1C = 0x012000FF
    YUV411_8_UYYVYY = 0x020C001E
    YUV420SP_NV12 = 0x020C8001
    YUV420P = 0x800C0002
    YUV422_8_UYVY = 0x0210001F
    YUV422_8 = 0x02100032
    RGB8 = 0x02180014
    BGR8 = 0x02180015
    YUV8_UYV = 0x02180020
    RGB8_Planar = 0x02180021
    BGR8_Planar = 0x02180025
    RGBa8 = 0x02200016
    BGRa8 = 0x02200017
    RGB10 = 0x02300018
    BGR10 = 0x02300019
    RGB12 = 0x0230001A
    BGR12 = 0x0230001B
    RGB16 = 0x02300033


_METHODS = {"nearest": 0, "bilinear": 1, "edge": 2, "hq": 3}
_BY_NAME = {f.name.lower(): f for f in PixelFormat}


def _format(value, what="format"):
    """A PixelFormat from a member, a code or a name (case-insensitive)."""
    if isinstance(value, str):
        try:
            return _BY_NAME[value.lower()]
        except KeyError:
            raise ValueError(f"unknown {what} {value!r}") from None
    if isinstance(value, (int, _np.integer)) and not isinstance(value, bool):
        try:
            return PixelFormat(int(value))
        except ValueError:
            return int(value)  # passed on; the library decides
    raise TypeError(f"{what} must be a PixelFormat, a code or a name, not {type(value).__name__}")


def _method(value):
    if isinstance(value, str):
        try:
            return _METHODS[value.lower()]
        except KeyError:
            raise ValueError(f"unknown method {value!r}; use nearest, bilinear, edge or hq") from None
    if isinstance(value, (int, _np.integer)) and not isinstance(value, bool) and value >= 0:
        return int(value)
    raise TypeError("method must be 'nearest', 'bilinear', 'edge', 'hq' or a method number")


def _as_array(data):
    if isinstance(data, (bytes, bytearray, memoryview)):
        return _np.frombuffer(data, dtype=_np.uint8)
    if not isinstance(data, _np.ndarray):
        raise TypeError(f"expected a NumPy array or a bytes-like object, not {type(data).__name__}")
    return data


def _check_out(out, shape, dtype):
    if out is None:
        # Four-channel outputs start zeroed: the edge-directed kernels leave
        # some alpha bytes as the buffer held them.
        return (_np.zeros if len(shape) == 3 and shape[-1] == 4 else _np.empty)(shape, dtype=dtype)
    if not isinstance(out, _np.ndarray):
        raise TypeError("out must be a NumPy array")
    if out.dtype != dtype or out.shape != tuple(shape):
        raise ValueError(f"out must have shape {tuple(shape)} and dtype {_np.dtype(dtype).name}, "
                         f"not {out.shape} {out.dtype.name}")
    if not out.flags.c_contiguous or not out.flags.writeable:
        raise ValueError("out must be C-contiguous and writeable")
    return out


def _check_size(given, shape_value, name):
    if given is not None and int(given) != shape_value:
        raise ValueError(f"{name}={given} does not match the array's shape ({shape_value})")


# ---------------------------------------------------------------- 8-bit demosaicing

_PACKED = {f for f in PixelFormat if "Packed" in f.name}
_WIDE = {f for f in PixelFormat if (f >> 16) == 0x0110}
_EIGHT = {PixelFormat.Mono8, PixelFormat.BayerGR8, PixelFormat.BayerRG8, PixelFormat.BayerGB8,
          PixelFormat.BayerBG8}


def _row_bytes(fmt, width):
    if fmt in _PACKED:
        return width + (width >> 1)
    return 2 * width if fmt in _WIDE else width


def _raw_layout(raw, fmt, width, height, pitch):
    """(array, height, width, pitch) for a raw frame given as a 2-D array of
    samples (or of packed row bytes) or as a 1-D byte buffer with sizes."""
    raw = _as_array(raw)
    wide = fmt in _WIDE
    if raw.ndim == 2:
        if pitch is not None:
            raise ValueError("pitch= is taken from the array's strides for 2-D input")
        want = _np.uint16 if wide else _np.uint8
        if raw.dtype != want:
            raise TypeError(f"{PixelFormat(fmt).name} frames are {_np.dtype(want).name} arrays, "
                            f"not {raw.dtype.name}")
        h, cols = raw.shape
        _check_size(height, h, "height")
        if fmt in _PACKED:
            if width is None:
                if (2 * cols) % 3:
                    raise ValueError("width= is needed: the packed row length does not fix it")
                width = 2 * cols // 3
            if cols < _row_bytes(fmt, width):
                raise ValueError(f"packed rows of {cols} bytes are too short for width {width}")
        else:
            _check_size(width, cols, "width")
            width = cols
        if raw.strides[1] != raw.itemsize or raw.strides[0] < cols * raw.itemsize:
            raw = _np.ascontiguousarray(raw)
        return raw, h, int(width), raw.strides[0]
    if raw.ndim != 1:
        raise ValueError("raw frames are 2-D arrays or 1-D byte buffers")
    if width is None or height is None:
        raise ValueError("width= and height= are needed for a 1-D buffer")
    raw = _np.ascontiguousarray(raw).view(_np.uint8)
    width, height = int(width), int(height)
    compact = _row_bytes(fmt, width)
    pitch = compact if pitch is None else int(pitch)
    if pitch < compact:
        raise ValueError(f"pitch {pitch} is shorter than a row ({compact} bytes)")
    need = (height - 1) * pitch + compact if height > 0 else 0
    if fmt in _PACKED and pitch == compact:
        need = max(need, (width * height + 1) // 2 * 3)  # read as one run of pairs
    if raw.size < need:
        raise ValueError(f"buffer holds {raw.size} bytes; {width}x{height} needs {need}")
    return raw, height, width, pitch


def _demosaic_output_shape(output, height, width):
    if output == PixelFormat.Mono8:
        return (height, width)
    if output in (PixelFormat.RGBa8, PixelFormat.BGRa8):
        return (height, width, 4)
    if output in (PixelFormat.RGB8_Planar, PixelFormat.BGR8_Planar):
        return (3, height, width)
    if output in (PixelFormat.RGB8, PixelFormat.BGR8):
        return (height, width, 3)
    raise ValueError(f"unsupported 8-bit output {output!r}")


class Context:
    """A demosaicing context for a stream of frames: keeps its work buffer
    between calls. Not for use by two threads at once."""

    def __init__(self):
        self._native = _tav.Context()

    def close(self):
        self._native.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def demosaic(self, raw, format, method="bilinear", output="BGR8", *, width=None, height=None,
                 pitch=None, out=None, threads=None):
        """Demosaics (or, for Mono sources, converts) one frame to 8 bits.

        raw: a 2-D array (uint8 for 8-bit and packed formats, packed rows as
        bytes; uint16 for 10/12/14/16-bit formats), or a 1-D byte buffer with
        width=, height= and optionally pitch=. Returns an array of shape (H, W)
        for Mono8, (H, W, 3) for RGB8/BGR8, (H, W, 4) for RGBa8/BGRa8 and
        (3, H, W) for the planar outputs.
        """
        fmt = _format(format)
        out_fmt = _format(output, "output")
        m = _method(method)
        arr, h, w, p = _raw_layout(raw, fmt, width, height, pitch)
        if fmt in _EIGHT and p != w:
            # The library compacts padded 8-bit rows in place; keep the caller's array intact.
            arr = _np.ascontiguousarray(_np.lib.stride_tricks.as_strided(
                arr, shape=(h, w), strides=(p, 1)) if arr.ndim == 1 else arr)
            p = w
        result = _check_out(out, _demosaic_output_shape(out_fmt, h, w), _np.uint8)
        with _threads(threads):
            self._native._demosaic(arr, h, w, p, int(fmt), m, int(out_fmt), result)
        return result


def demosaic(raw, format, method="bilinear", output="BGR8", *, width=None, height=None,
             pitch=None, out=None, context=None, threads=None):
    """Demosaics one frame to 8 bits; see Context.demosaic. Pass a Context to
    reuse its work buffer across a stream of frames; threads= as in
    set_num_threads."""
    if context is not None:
        return context.demosaic(raw, format, method, output, width=width, height=height,
                                pitch=pitch, out=out, threads=threads)
    with Context() as ctx:
        return ctx.demosaic(raw, format, method, output, width=width, height=height, pitch=pitch,
                            out=out, threads=threads)


# ---------------------------------------------------------------- 16-bit demosaicing

_MONO16 = {PixelFormat.Mono10, PixelFormat.Mono12, PixelFormat.Mono14, PixelFormat.Mono16}


def demosaic16(raw, format, bit_depth, method="bilinear", output="BGR12", *, out=None,
               threads=None):
    """Demosaics a 10/12/14/16-bit frame keeping its depth: (H, W, 3) uint16
    words for RGB10/BGR10/RGB12/BGR12/RGB16 (the names are labels; only RGB16
    moves samples to the top of the word), (H, W) for Mono outputs."""
    if not hasattr(_tav, "_demosaic16"):
        raise NotImplementedError("this build of tav has no 16-bit demosaicing")
    fmt = _format(format)
    out_fmt = _format(output, "output")
    raw = _as_array(raw)
    if raw.ndim != 2 or raw.dtype != _np.uint16:
        raise TypeError("16-bit frames are 2-D uint16 arrays")
    raw = _np.ascontiguousarray(raw)  # rows are read tightly packed
    h, w = raw.shape
    shape = (h, w) if out_fmt in _MONO16 else (h, w, 3)
    result = _check_out(out, shape, _np.uint16)
    with _threads(threads):
        _tav._demosaic16(raw, h, w, int(fmt), _method(method), int(bit_depth), int(out_fmt),
                         result)
    return result


# ---------------------------------------------------------------- conversion

def _convert_bytes(fmt, n):
    """Bytes of a compact image of n pixels in a conversion format."""
    sizes = {
        PixelFormat.Mono1p: (n + 7) // 8, PixelFormat.Mono4p: (n + 1) // 2, PixelFormat.Mono8: n,
        PixelFormat.YUV411_8_UYYVYY: n * 3 // 2, PixelFormat.YUV420P: n * 3 // 2,
        PixelFormat.YUV420SP_NV12: n * 3 // 2, PixelFormat.YUV422_8_UYVY: 2 * n,
        PixelFormat.YUV422_8: 2 * n, PixelFormat.YUV8_UYV: 3 * n, PixelFormat.RGB8: 3 * n,
        PixelFormat.BGR8: 3 * n, PixelFormat.RGBa8: 4 * n, PixelFormat.BGRa8: 4 * n,
    }
    return sizes.get(fmt)


def _convert_out_shape(target, h, w):
    if target == PixelFormat.Mono8:
        return (h, w)
    if target in (PixelFormat.RGB8, PixelFormat.BGR8, PixelFormat.YUV8_UYV):
        return (h, w, 3)
    if target in (PixelFormat.RGBa8, PixelFormat.BGRa8):
        return (h, w, 4)
    size = _convert_bytes(target, h * w)
    if size is None:
        return None
    return (size,)


def convert(src, format, target, *, width=None, height=None, out=None, threads=None):
    """Converts a compact image between pixel formats (YUV, packed mono,
    RGB/BGR). Mono8 (H, W) and RGB8/BGR8/YUV8_UYV (H, W, 3) arrays give their
    own size; other sources are byte buffers with width= and height=."""
    if not hasattr(_tav, "_convert"):
        raise NotImplementedError("this build of tav has no pixel-format conversion")
    fmt = _format(format)
    tgt = _format(target, "target")
    src = _as_array(src)
    if src.dtype != _np.uint8:
        raise TypeError(f"conversion sources are uint8 arrays, not {src.dtype.name}")
    if src.ndim in (2, 3):
        h, w = src.shape[:2]
        _check_size(height, h, "height")
        _check_size(width, w, "width")
        height, width = h, w
    if width is None or height is None:
        raise ValueError("width= and height= are needed for this source")
    h, w = int(height), int(width)
    n = h * w
    flat = _np.ascontiguousarray(src).reshape(-1)
    if fmt == PixelFormat.Mono1C:
        # A point list ends at a zero record; give the library its terminator.
        records = (n + 3) // 4 + 1
        padded = _np.zeros(4 * records, dtype=_np.uint8)
        padded[:min(flat.size, padded.size)] = flat[:padded.size]
        flat = padded
    else:
        need = _convert_bytes(fmt, n)
        if need is not None and flat.size < need:
            raise ValueError(f"source holds {flat.size} bytes; {w}x{h} {fmt.name} needs {need}")
    shape = _convert_out_shape(tgt, h, w)
    if shape is None:
        shape = (4 * n,)  # an unsupported target: the library refuses it without writing
    result = _check_out(out, shape, _np.uint8)
    with _threads(threads):
        _tav._convert(flat, h, w, int(fmt), int(tgt), result)
    return result


def bmp_adjust(bgr):
    """Pads the rows of an (H, W, 3) uint8 image to multiples of 4 bytes, as a
    BMP file stores them; returns an (H, padded row bytes) array."""
    if not hasattr(_tav, "_bmp_adjust"):
        raise NotImplementedError("this build of tav has no BMP row adjustment")
    bgr = _as_array(bgr)
    if bgr.ndim != 3 or bgr.shape[2] != 3 or bgr.dtype != _np.uint8:
        raise TypeError("bmp_adjust takes an (H, W, 3) uint8 array")
    h, w = bgr.shape[:2]
    row = (3 * w + 3) // 4 * 4
    buf = _np.zeros(h * row, dtype=_np.uint8)
    buf[:3 * w * h] = _np.ascontiguousarray(bgr).reshape(-1)
    _tav._bmp_adjust(buf, h, w)
    return buf.reshape(h, row)


# ---------------------------------------------------------------- lens shading

_LSC_MODES = {"bayer": 0, "mono": 1}


class LscParameters:
    """Lens-shading coefficients: one word per 2x2 cell (Bayer mode) or per
    pixel (mono mode). ``record`` is the library's layout: mode, height, width,
    then the words."""

    def __init__(self, record):
        record = _np.ascontiguousarray(record, dtype=_np.uint32)
        if record.ndim != 1 or record.size < 3:
            raise ValueError("a parameter record holds mode, height, width and the words")
        self.record = record

    mode = property(lambda self: int(self.record[0]))
    height = property(lambda self: int(self.record[1]))
    width = property(lambda self: int(self.record[2]))
    coefficients = property(lambda self: self.record[3:])

    def __repr__(self):
        kind = "mono" if self.mode == 1 else "bayer"
        return f"LscParameters({kind}, {self.width}x{self.height}, {self.coefficients.size} words)"


def _float_frame(a, name):
    a = _as_array(a)
    if a.ndim != 2 or not _np.issubdtype(a.dtype, _np.number):
        raise TypeError(f"{name} must be a 2-D numeric array")
    return _np.ascontiguousarray(a, dtype=_np.float32)


def lsc_estimate(grey, dark, mode="bayer", bits=8):
    """Estimates lens-shading coefficients from a flat-field (grey) frame and a
    dark frame of the same shape, for frames of `bits` (8, 10, 12) depth."""
    if not hasattr(_tav, "_lsc_estimate"):
        raise NotImplementedError("this build of tav has no lens-shading correction")
    g = _float_frame(grey, "grey")
    d = _float_frame(dark, "dark")
    if g.shape != d.shape:
        raise ValueError(f"grey {g.shape} and dark {d.shape} differ in shape")
    m = _LSC_MODES.get(mode, mode) if isinstance(mode, str) else int(mode)
    if isinstance(m, str):
        raise ValueError(f"unknown mode {mode!r}; use 'bayer' or 'mono'")
    h, w = g.shape
    words = h * w if m == 1 else (h // 2) * (w // 2)
    record = _np.zeros(3 + words, dtype=_np.uint32)
    _tav._lsc_estimate(g, d, h, w, m, int(bits), record)
    return LscParameters(record)


def lsc_estimate_basic(grey, dark_level, bits=8, block_width=16, region_count=2, mode=0):
    """Coarse gains per block of 16 rows x block_width columns with one dark
    level: 3 bytes per block, blocks row by row."""
    if not hasattr(_tav, "_lsc_basic"):
        raise NotImplementedError("this build of tav has no lens-shading correction")
    g = _float_frame(grey, "grey")
    h, w = g.shape
    blocks = (h >> 4) * (w // block_width) if block_width in (16, 32) else 1
    table = _np.zeros(3 * max(blocks, 1), dtype=_np.uint8)
    _tav._lsc_basic(g, h, w, int(mode), int(bits), int(region_count), int(block_width),
                    float(dark_level), table)
    return table[:3 * blocks] if blocks > 0 else table[:0]


def lsc_apply(frame, params, format, *, out=None, threads=None):
    """Applies coefficients to an 8-bit (uint8) or 10/12-bit (uint16) Mono or
    Bayer frame. out may be the frame itself (in-place correction)."""
    if not hasattr(_tav, "_lsc_apply"):
        raise NotImplementedError("this build of tav has no lens-shading correction")
    if not isinstance(params, LscParameters):
        raise TypeError("params must be an LscParameters from lsc_estimate")
    fmt = _format(format)
    frame = _as_array(frame)
    want = _np.uint16 if fmt in _WIDE else _np.uint8
    if frame.ndim != 2 or frame.dtype != want:
        raise TypeError(f"{getattr(fmt, 'name', fmt)} frames are 2-D {_np.dtype(want).name} arrays")
    h, w = frame.shape
    expected = h * w if params.mode == 1 else (h // 2) * (w // 2)
    if params.coefficients.size < expected:
        raise ValueError(f"parameters hold {params.coefficients.size} words; the frame needs {expected}")
    src = _np.ascontiguousarray(frame)
    result = _check_out(out, (h, w), want) if out is not frame or not frame.flags.c_contiguous else out
    with _threads(threads):
        _tav._lsc_apply(src, result, h, w, int(fmt), params.record)
    return result
