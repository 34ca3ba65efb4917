"""tav for NumPy: demosaicing, lens-shading correction and pixel-format
conversion of raw camera frames.

    >>> import numpy as np, tav
    >>> raw = np.zeros((480, 640), np.uint8)          # a BayerRG8 frame
    >>> tav.demosaic(raw, "BayerRG8").shape           # RGB, as Pillow and Matplotlib expect
    (480, 640, 3)

Colour outputs are RGB unless asked otherwise (``output="BGR8"`` for OpenCV).

Inputs are NumPy arrays in the layouts OpenCV uses: 8-bit frames as (H, W)
uint8, 10..16-bit frames as (H, W) little-endian uint16, packed frames as
(H, row bytes) uint8, NV12 and I420 (``YUV420P``) as (H*3/2, W), UYVY and YUYV
as (H, 2W) or (H, W, 2), RGB as (H, W, 3). Any frame may also be a 1-D buffer
(or bytes) with ``width=`` and ``height=``. Views whose rows are contiguous are
read in place through their row stride; other views are copied once.
Outputs are shaped the same way; ``out=`` takes an array of exactly that
shape and dtype, C-contiguous, and nothing is allocated then.

``threads=n`` runs one call on n threads (same bytes at every count); without
it a call uses the process setting, ``set_num_threads``, which the package sets
to every core on import unless ``TAV_NUM_THREADS`` is set. The GIL is released
while the library works. A refused call raises ``tav.Error`` with the library's
reason and code. ``tav.dask`` runs the same calls over stacks of frames.
"""

import enum as _enum
import os as _os

import numpy as _np

from . import _tav

__version__ = _tav.version()

__all__ = [
    "Error", "PixelFormat", "ShadingTable", "demosaic", "demosaic16", "convert", "lsc_estimate",
    "lsc_apply", "set_num_threads", "get_num_threads", "frame_size",
]


class Error(RuntimeError):
    """A call the library refused: ``reason`` (its plain words), ``code`` (its
    negative result code) and, for a frame of a ``tav.dask`` stack, ``frame``
    (the frame's index).

    >>> try:
    ...     tav.demosaic(np.zeros((3, 8), np.uint8), "BayerRG8")
    ... except tav.Error as e:
    ...     print(e.code, e.reason)
    -207 height must be even
    """

    def __init__(self, reason, code, frame=None):
        super().__init__(reason, code, frame)
        self.reason, self.code, self.frame = reason, code, frame

    def __str__(self):
        where = "" if self.frame is None else f"frame {self.frame}: "
        return f"{where}{self.reason} (code {self.code})"


def _check(code):
    if code != 0:
        raise Error(_tav.result_text(code), code)


def set_num_threads(n):
    """Sets how many threads a call without ``threads=`` may use, process-wide:
    0 for every online core, 1 for the calling thread alone.

    >>> tav.set_num_threads(2)
    """
    _check(_tav.set_num_threads(int(n)))


def get_num_threads():
    """The threads a call without ``threads=`` may use now (0 reads back as the
    core count).

    >>> tav.get_num_threads() >= 1
    True
    """
    return _tav.get_num_threads()


class PixelFormat(_enum.IntEnum):
    """GenICam PFNC codes, plus the library's own (BGR8_Planar, YUV420P,
    YUV420SP_NV12, Mono1C). Calls also take names, in any case:

    >>> tav.PixelFormat["BayerRG12Packed"] == 0x010C002B
    True
    """

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
    Mono10p = 0x010A0046
    Mono12p = 0x010C0047
    BayerBG10p = 0x010A0052
    BayerGB10p = 0x010A0054
    BayerGR10p = 0x010A0056
    BayerRG10p = 0x010A0058
    BayerBG12p = 0x010C0053
    BayerGB12p = 0x010C0055
    BayerGR12p = 0x010C0057
    BayerRG12p = 0x010C0059
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
    BGR16 = 0x0230004B


PF = PixelFormat
_BY_NAME = {f.name.lower(): f for f in PF}
_BY_NAME.update(nv12=PF.YUV420SP_NV12, i420=PF.YUV420P, uyvy=PF.YUV422_8_UYVY,
                yuyv=PF.YUV422_8, rgba8=PF.RGBa8, bgra8=PF.BGRa8)
_METHODS = {"nearest": 0, "bilinear": 1, "edge": 2, "hq": 3}
_U8, _U16 = _np.dtype(_np.uint8), _np.dtype("<u2")


def _format(value, what="format"):
    """A PixelFormat from a member, a code or a name (any case)."""
    if isinstance(value, str):
        try:
            return _BY_NAME[value.lower()]
        except KeyError:
            raise ValueError(f"unknown {what} {value!r}") from None
    if isinstance(value, (int, _np.integer)) and not isinstance(value, bool):
        try:
            return PF(int(value))
        except ValueError:
            return int(value)  # passed on; the library decides
    raise TypeError(f"{what} must be a PixelFormat, a code or a name, not {type(value).__name__}")


def _method(value):
    if isinstance(value, str):
        try:
            return _METHODS[value.lower()]
        except KeyError:
            raise ValueError(f"unknown method {value!r}: nearest, bilinear, edge or hq") from None
    if isinstance(value, (int, _np.integer)) and not isinstance(value, bool) and value >= 0:
        return int(value)
    raise TypeError("method must be 'nearest', 'bilinear', 'edge', 'hq' or a method number")


def _threads(threads):
    return 0 if threads is None else int(threads)


def frame_size(format, width, height):
    """Bytes of a compact frame of this format and size (0 for a format or size
    no call takes).

    >>> tav.frame_size("BayerRG12Packed", 640, 480)
    460800
    """
    return _tav.frame_size(int(_format(format)), int(width), int(height))


# ---------------------------------------------------------------- layouts

_PACKED = {f for f in PF if "Packed" in f.name}
# PFNC bit streams: 10 or 12 bits a sample, one after the other
_STREAM = {f: int(f.name[-3:-1]) for f in PF if f.name.endswith(("10p", "12p"))}
_WORDS = {f for f in PF if (f >> 16) in (0x0110, 0x0230)}
_THREE = {PF.RGB8, PF.BGR8, PF.YUV8_UYV, PF.RGB10, PF.BGR10, PF.RGB12, PF.BGR12, PF.RGB16,
          PF.BGR16}
_PLANAR_420 = {PF.YUV420SP_NV12, PF.YUV420P}


def _layout(fmt, h, w):
    """(shape, dtype) of a frame of this format and size as an array."""
    dtype = _U16 if fmt in _WORDS else _U8
    if fmt in _THREE:
        return (h, w, 3), dtype
    if fmt in (PF.RGBa8, PF.BGRa8):
        return (h, w, 4), dtype
    if fmt in (PF.RGB8_Planar, PF.BGR8_Planar):
        return (3, h, w), dtype
    if fmt in (PF.YUV422_8_UYVY, PF.YUV422_8):
        return (h, w, 2), dtype
    if fmt in _PLANAR_420:
        return (h * 3 // 2, w), dtype
    if fmt == PF.YUV411_8_UYYVYY:
        return (h, w * 3 // 2), dtype
    if fmt in _PACKED or fmt in _STREAM:
        return (h, _tav.frame_size(int(fmt), w, 2) // 2), dtype
    if fmt in _WORDS or fmt in (PF.Mono8, PF.BayerGR8, PF.BayerRG8, PF.BayerGB8, PF.BayerBG8):
        return (h, w), dtype
    return (frame_size(fmt, w, h),), dtype  # bit-packed and unknown formats: bytes


def _describe(dtype):
    dtype = _np.dtype(dtype)
    order = {"<": "little-endian ", ">": "big-endian "}.get(dtype.str[0], "")
    return f"{order}{dtype.name}"


def _refuse_dtype(fmt, want, given):
    name = getattr(fmt, "name", fmt)
    raise TypeError(f"{name} frames are {_describe(want)} arrays, not {_describe(given)}")


def _size_from_shape(fmt, a, width):
    """(height, width) of a frame given in its own layout; None when the shape
    is not one the format comes in."""
    shape, dtype = a.shape, _layout(fmt, 1, 1)[1]
    if a.dtype != dtype:
        _refuse_dtype(fmt, dtype, a.dtype)
    if (fmt in _PACKED or fmt in _STREAM) and a.ndim == 2:
        if width is None:
            width = shape[1] * 8 // _STREAM.get(fmt, 12)
        return (shape[0], int(width)) if shape[1] >= _layout(fmt, 1, width)[0][1] else None
    if fmt in _PLANAR_420 and a.ndim == 2 and shape[0] % 3 == 0:
        return shape[0] * 2 // 3, shape[1]
    if fmt in (PF.YUV422_8_UYVY, PF.YUV422_8) and a.ndim == 2 and shape[1] % 2 == 0:
        return shape[0], shape[1] // 2
    if fmt == PF.YUV411_8_UYYVYY and a.ndim == 2 and shape[1] % 3 == 0:
        return shape[0], shape[1] * 2 // 3
    if a.ndim >= 2:
        h, w = shape[:2]
        return (h, w) if _layout(fmt, h, w)[0] == shape else None
    return None


def _rows_in_place(a):
    """Whether the library can read `a` through its row stride: contiguous
    inside each row, rows ascending."""
    inner = a[0] if a.shape[0] else a
    return a.strides[0] > 0 and (inner.flags.c_contiguous or inner.size == 0)


def _source(data, fmt, width, height, bit_depth=None):
    """The native description of an input frame, with its height and width."""
    if isinstance(data, (bytes, bytearray, memoryview)):
        data = _np.frombuffer(data, dtype=_U8)
    if not isinstance(data, _np.ndarray):
        raise TypeError(f"frames are NumPy arrays or bytes, not {type(data).__name__}")
    depth = 0 if bit_depth is None else int(bit_depth)
    if data.ndim == 1:
        if width is None or height is None:
            raise ValueError("width= and height= are needed for a 1-D buffer")
        w, h = int(width), int(height)
        want = _layout(fmt, 1, 1)[1]
        if data.dtype not in (_U8, want):
            _refuse_dtype(fmt, want, data.dtype)
        need = frame_size(fmt, w, h)
        if data.nbytes < need:
            raise ValueError(f"the buffer holds {data.nbytes} bytes; a {w}x{h} "
                             f"{getattr(fmt, 'name', fmt)} frame needs {need}")
        data = _np.ascontiguousarray(data)
        return (data, int(fmt), w, h, depth, 0), h, w
    size = _size_from_shape(fmt, data, width)
    if size is None:
        raise ValueError(f"a {getattr(fmt, 'name', fmt)} frame cannot have shape {data.shape}; "
                         f"expected {_layout(fmt, 2, 2)[0]} for a 2x2 frame, or a 1-D buffer "
                         "with width= and height=")
    h, w = size
    for given, value, name in ((height, h, "height"), (width, w, "width")):
        if given is not None and int(given) != value:
            raise ValueError(f"{name}={given} does not match the array's shape ({value})")
    if fmt == PF.YUV420P or not _rows_in_place(data):
        data = _np.ascontiguousarray(data)  # chroma rows of half width need compact rows
    return (data, int(fmt), w, h, depth, data.strides[0]), h, w


def _destination(out, fmt, h, w):
    """The native description of an output frame; allocates it unless given."""
    shape, dtype = _layout(fmt, h, w)
    if out is None:
        out = _np.empty(shape, dtype)
    elif not isinstance(out, _np.ndarray):
        raise TypeError(f"out must be a NumPy array, not {type(out).__name__}")
    elif out.shape != shape or out.dtype != dtype:
        raise ValueError(f"out must be a {shape} {_describe(dtype)} array, "
                         f"not {out.shape} {_describe(out.dtype)}")
    elif not out.flags.c_contiguous or not out.flags.writeable:
        raise ValueError("out must be C-contiguous and writeable")
    return out, (out, int(fmt), w, h, 0, 0)


# ---------------------------------------------------------------- demosaicing

def _demosaic_plan(raw, format, method, output, width, height, bit_depth, out):
    fmt, dst_fmt = _format(format), _format(output, "output")
    src, h, w = _source(raw, fmt, width, height, bit_depth)
    out, dst = _destination(out, dst_fmt, h, w)
    return src, dst, _method(method), out


def demosaic(raw, format, method="bilinear", output="RGB8", *, width=None, height=None,
             bit_depth=None, out=None, threads=None):
    """Demosaics a Bayer frame (or converts a Mono one) to a picture.

    raw: a frame of ``format`` (8-bit, 10/12-bit packed, 10p/12p, 10..16-bit words), as
    (H, W) uint8, (H, row bytes) uint8 for packed rows, (H, W) little-endian
    uint16, or a 1-D buffer with width= and height=. bit_depth: significant
    bits of word samples when fewer than the format's (e.g. 12 in Mono16).
    method: "nearest", "bilinear", "edge" or "hq".
    output: RGB8 (default), BGR8 (H, W, 3); RGBa8, BGRa8 (H, W, 4, alpha 255);
    Mono8 (H, W); RGB8_Planar, BGR8_Planar (3, H, W); and from word sources
    the full-depth RGB10/12/16, BGR10/12/16 (H, W, 3) and Mono10/12/14/16
    (H, W) uint16, scaled to the output's depth.

    >>> raw = np.fromfile("frame.raw", np.uint8).reshape(1080, 2880)   # 1920 wide, packed
    >>> rgb = tav.demosaic(raw, "BayerRG12Packed", method="edge")
    >>> bgr = tav.demosaic(raw, "BayerRG12Packed", output="BGR8", out=bgr_buffer, threads=4)
    """
    src, dst, m, out = _demosaic_plan(raw, format, method, output, width, height, bit_depth, out)
    _check(_tav.demosaic(src, dst, m, _threads(threads)))
    return out


def demosaic16(raw, format, bit_depth=None, method="bilinear", output="RGB16", *, width=None,
               height=None, out=None, threads=None):
    """Demosaics a 10..16-bit frame keeping its depth: demosaic() with a
    full-depth output, RGB16 unless told otherwise (samples scaled to 16 bits).

    >>> words = np.fromfile("frame.raw", "<u2").reshape(1080, 1920)
    >>> rgb16 = tav.demosaic16(words, "BayerBG12")            # (1080, 1920, 3) uint16
    >>> rgb12 = tav.demosaic16(words, "BayerBG12", output="RGB12", method="hq")
    """
    return demosaic(raw, format, method, output, width=width, height=height,
                    bit_depth=bit_depth, out=out, threads=threads)


# ---------------------------------------------------------------- conversion

def _convert_plan(src, format, target, width, height, out):
    fmt, tgt = _format(format), _format(target, "target")
    desc, h, w = _source(src, fmt, width, height)
    out, dst = _destination(out, tgt, h, w)
    return desc, dst, out


def convert(src, format, target="RGB8", *, width=None, height=None, out=None, threads=None):
    """Converts a picture between pixel formats: YUV (4:1:1, NV12, I420 as
    YUV420P, UYVY, YUYV as YUV422_8, 4:4:4 as YUV8_UYV), Mono1p, Mono4p,
    Mono8, RGB8, BGR8, RGBa8 and BGRa8.

    Sources and outputs in OpenCV's layouts: NV12 and I420 (H*3/2, W); UYVY
    and YUYV (H, W, 2) (sources also (H, 2W)); 4:1:1 (H, W*3/2); RGB, BGR and
    4:4:4 (H, W, 3); bit-packed Mono as 1-D bytes with width= and height=.

    >>> nv12 = np.fromfile("frame.nv12", np.uint8).reshape(720 * 3 // 2, 1280)
    >>> rgb = tav.convert(nv12, "NV12")                      # (720, 1280, 3)
    >>> uyvy = tav.convert(rgb, "RGB8", "UYVY")               # (720, 1280, 2)
    """
    desc, dst, out = _convert_plan(src, format, target, width, height, out)
    _check(_tav.convert(desc, dst, _threads(threads)))
    return out


# ---------------------------------------------------------------- lens shading

_MODES = {"bayer": 0, "mono": 1}


class ShadingTable:
    """A lens-shading correction table for frames of one size: ``words`` holds
    one uint32 per 2x2 cell ((H/2, W/2), "bayer" mode) or per pixel ((H, W),
    "mono" mode). Keep it with ``np.save(path, table.words)`` and rebuild it
    with ``ShadingTable(np.load(path), mode, width, height)``.

    >>> table = tav.lsc_estimate(flat, "BayerRG8", dark)
    >>> table.words.shape
    (540, 960)
    """

    def __init__(self, words, mode, width, height):
        self.mode = _MODES.get(mode, mode) if isinstance(mode, str) else int(mode)
        if self.mode not in (0, 1):
            raise ValueError(f"unknown mode {mode!r}; use 'bayer' or 'mono'")
        self.width, self.height = int(width), int(height)
        shape = (self.height, self.width) if self.mode else (self.height // 2, self.width // 2)
        words = _np.zeros(shape, _np.uint32) if words is None else _np.ascontiguousarray(
            words, dtype=_np.uint32)
        if words.size != shape[0] * shape[1]:
            raise ValueError(f"a {self.width}x{self.height} table holds {shape[0] * shape[1]} "
                             f"words, not {words.size}")
        self.words = words if words.shape == shape else words.reshape(shape)

    def _native(self):
        return (self.mode, self.width, self.height, self.words)

    def __repr__(self):
        kind = "mono" if self.mode else "bayer"
        return f"ShadingTable({kind}, {self.width}x{self.height})"


def lsc_estimate(flat, format, dark=None, *, mode="bayer", width=None, height=None,
                 bit_depth=None, out=None):
    """Estimates a correction table from a flat-field frame and a dark frame of
    the same format and size (zeros when dark is None). Frames are Mono or
    Bayer, 8, 10 or 12 bits, in demosaic()'s layouts. mode: "bayer" (one word
    per 2x2 cell) or "mono" (one per pixel). out: a C-contiguous uint32 array
    of the table's shape to hold the words. (The estimate runs on the calling
    thread: it takes no threads=.)

    >>> table = tav.lsc_estimate(flat, "BayerRG8", dark)
    >>> table = tav.lsc_estimate(flat12, "Mono12", mode="mono")   # no dark frame: zeros
    """
    fmt = _format(format)
    src, h, w = _source(flat, fmt, width, height, bit_depth)
    table = ShadingTable(out, mode, w, h)
    if out is not None and table.words is not out:
        raise ValueError(f"out must be a C-contiguous {table.words.shape} uint32 array")
    dark_desc = None
    if dark is not None:
        dark_desc, dh, dw = _source(dark, fmt, width, height, bit_depth)
        if (dh, dw) != (h, w):
            raise ValueError(f"the dark frame is {dw}x{dh}, the flat field {w}x{h}")
    _check(_tav.shading_estimate(src, dark_desc, table._native()))
    return table


def lsc_apply(frame, table, format, *, width=None, height=None, bit_depth=None, out=None,
              threads=None):
    """Corrects a Mono or Bayer frame (8, 10 or 12 bits) with a table from
    lsc_estimate; the output has the frame's layout. out may be the frame
    itself to correct it in place.

    >>> fixed = tav.lsc_apply(raw, table, "BayerRG8")
    >>> tav.lsc_apply(raw, table, "BayerRG8", out=raw)          # in place
    """
    if not isinstance(table, ShadingTable):
        raise TypeError(f"table must be a ShadingTable, not {type(table).__name__}")
    fmt = _format(format)
    src, h, w = _source(frame, fmt, width, height, bit_depth)
    if out is None:
        whole = isinstance(frame, _np.ndarray) and frame.ndim > 1
        out = _np.empty(*((frame.shape, frame.dtype) if whole else _layout(fmt, h, w)))
    dst, _, _ = _source(out, fmt, w, h, bit_depth)
    if dst[0] is not out or not out.flags.writeable:
        raise ValueError("out must be writeable, with contiguous rows")
    _check(_tav.shading_apply(src, dst, table._native(), _threads(threads)))
    return out


if "TAV_NUM_THREADS" not in _os.environ:
    set_num_threads(0)
