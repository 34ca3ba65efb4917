"""tav over Dask: stacks of raw frames demosaiced, converted or corrected in
parallel, on one machine or a cluster.

A stack is a Dask array whose first axis counts frames, each frame in the
layout the plain call takes ((N, H, W) for 8-bit and word frames, (N, bytes)
for raw packed frames with width= and height=, (N, H*3/2, W) for NV12 ...).
Chunks hold whole frames (one per chunk is the usual choice; a stack chunked
inside frames is rechunked). The result is a Dask array of pictures with the
same chunks along the first axis. Each task runs the library on one thread
(``threads=1``), so a cluster's workers are not oversubscribed; pass
``threads=n`` for fewer, bigger tasks. A frame the library refuses raises
``tav.Error`` on the client with ``frame`` set to its index.

    >>> from dask.distributed import Client
    >>> import tav.dask
    >>> client = Client("scheduler:8786")
    >>> frames = tav.dask.read_frames("/data/line7/", "BayerRG12Packed", 4096, 3000)
    >>> rgb = tav.dask.demosaic(frames, "BayerRG12Packed", method="edge", width=4096, height=3000)
    >>> import dask.array as da
    >>> da.to_zarr(rgb, "/data/line7.zarr")
"""

import fnmatch
import os

import dask
import dask.array as da
import numpy as np

import tav

__all__ = ["demosaic", "convert", "lsc_apply", "read_frames"]


def _run(chunk, start, call, args, kwargs, shape, dtype):
    """One task: every frame of a chunk into a new array of pictures."""
    result = np.empty((len(chunk),) + shape, dtype)
    for k in range(len(chunk)):
        try:
            call(chunk[k], *args, out=result[k], **kwargs)
        except tav.Error as e:
            raise tav.Error(e.reason, e.code, start + k) from None
    return result


def _map(frames, call, args, kwargs, plan):
    """Applies call(frame, *args, out=..., **kwargs) to every frame; plan
    gives the picture's shape and dtype from one frame's shape and dtype."""
    frames = da.asarray(frames)
    if frames.ndim < 2:
        raise ValueError("a stack of frames has at least two axes (frames first)")
    frames = frames.rechunk({axis: -1 for axis in range(1, frames.ndim)})
    shape, dtype = plan(np.empty(frames.shape[1:], frames.dtype))
    parts, start = [], 0
    for block, count in zip(frames.to_delayed().ravel(), frames.chunks[0]):
        task = dask.delayed(_run, pure=True)(block, start, call, args, kwargs, shape, dtype)
        parts.append(da.from_delayed(task, (count,) + shape, dtype))
        start += count
    return da.concatenate(parts) if parts else da.empty((0,) + shape, dtype)


def demosaic(frames, format, method="bilinear", output="RGB8", *, width=None, height=None,
             bit_depth=None, threads=1):
    """tav.demosaic over a stack of frames: (N, ...) raw frames to (N, ...)
    pictures (RGB8 (N, H, W, 3) by default).

    >>> rgb = tav.dask.demosaic(frames, "BayerGB8", method="hq")
    >>> rgb[::100].compute()                                  # every hundredth frame
    """
    kwargs = dict(width=width, height=height, bit_depth=bit_depth, threads=threads)

    def plan(frame):
        out = tav._demosaic_plan(frame, format, method, output, width, height, bit_depth, None)[3]
        return out.shape, out.dtype

    return _map(frames, tav.demosaic, (format, method, output), kwargs, plan)


def convert(frames, format, target="RGB8", *, width=None, height=None, threads=1):
    """tav.convert over a stack of pictures.

    >>> rgb = tav.dask.convert(nv12_stack, "NV12")            # (N, H*3/2, W) to (N, H, W, 3)
    """
    kwargs = dict(width=width, height=height, threads=threads)

    def plan(frame):
        out = tav._convert_plan(frame, format, target, width, height, None)[2]
        return out.shape, out.dtype

    return _map(frames, tav.convert, (format, target), kwargs, plan)


def lsc_apply(frames, table, format, *, width=None, height=None, bit_depth=None, threads=1):
    """tav.lsc_apply over a stack of frames, one table for all.

    >>> fixed = tav.dask.lsc_apply(frames, tav.lsc_estimate(flat, "BayerRG8"), "BayerRG8")
    """
    kwargs = dict(width=width, height=height, bit_depth=bit_depth, threads=threads)
    return _map(frames, tav.lsc_apply, (table, format), kwargs,
                lambda frame: (frame.shape, frame.dtype))


def _read(path, offset, size, index, shape, dtype, whole):
    with open(path, "rb") as f:
        f.seek(offset)
        data = f.read(size + whole)  # one byte more shows a frame file too long
    if len(data) != size:
        raise ValueError(f"frame {index} ({path}) is not {size} bytes long")
    return np.frombuffer(data, dtype).reshape(shape)


def read_frames(source, format, width, height, *, pattern=None):
    """A lazy stack of raw frames, one per chunk: every file of a folder (in
    name order, those matching the glob ``pattern`` if given), or a single
    file holding frames back to back. Frames come in the layout the calls take:
    (N, H, W) for 8-bit and word formats, (N, bytes) for packed ones.

    >>> frames = tav.dask.read_frames("capture.raw", "BayerRG8", 1920, 1080)
    >>> frames = tav.dask.read_frames("shots/", "Mono12Packed", 2048, 1536, pattern="*.raw")
    """
    fmt = tav._format(format)
    w, h = int(width), int(height)
    size = tav.frame_size(fmt, w, h)
    if size <= 0:
        raise ValueError(f"no {getattr(fmt, 'name', fmt)} frame is {w}x{h}")
    shape, dtype = tav._layout(fmt, h, w)
    if fmt in tav._PACKED or int(np.prod(shape)) * dtype.itemsize != size:
        shape, dtype = (size,), np.dtype(np.uint8)
    if os.path.isdir(source):
        names = sorted(n for n in os.listdir(source)
                       if os.path.isfile(os.path.join(source, n))
                       and (pattern is None or fnmatch.fnmatch(n, pattern)))
        places = [(os.path.join(source, n), 0) for n in names]
        whole = True
    else:
        total = os.path.getsize(source)
        if total % size:
            raise ValueError(f"{source} holds {total} bytes, not a whole number of "
                             f"{size}-byte frames")
        places = [(source, k * size) for k in range(total // size)]
        whole = False
    read = dask.delayed(_read, pure=True)
    parts = [da.from_delayed(read(path, offset, size, k, shape, dtype, whole), shape, dtype)[None]
             for k, (path, offset) in enumerate(places)]
    return da.concatenate(parts) if parts else da.empty((0,) + shape, dtype)
