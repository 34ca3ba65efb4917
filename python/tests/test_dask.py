"""tav.dask on a two-worker local cluster, with processes and with threads,
against a plain loop over the same frames."""

import dask.array as da
import numpy as np
import pytest
from distributed import Client, LocalCluster

import tav
import tav.dask

W, H, N = 24, 16, 5
PACKED, WORDS = "BayerGB12Packed", "BayerBG12"
RNG = np.random.default_rng(3)


@pytest.fixture(scope="module", params=[True, False], ids=["processes", "threads"])
def client(request):
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=request.param,
                      dashboard_address=None) as cluster, Client(cluster) as c:
        yield c


@pytest.fixture(scope="module")
def archive(tmp_path_factory):
    """A multi-frame dump of packed frames and a folder of word frames."""
    root = tmp_path_factory.mktemp("archive")
    packed = RNG.integers(0, 256, (N, tav.frame_size(PACKED, W, H)), dtype=np.uint8)
    packed.tofile(root / "dump.raw")
    words = RNG.integers(0, 4096, (N, H, W), dtype=np.uint16)
    (root / "shots").mkdir()
    for k, f in enumerate(words):
        f.tofile(root / "shots" / f"{k:03}.raw")
    return root, packed, words


def test_stacks_on_a_cluster_equal_a_plain_loop(client, archive):
    root, packed, words = archive
    rgb = tav.dask.demosaic(tav.dask.read_frames(str(root / "dump.raw"), PACKED, W, H), PACKED,
                            "hq", width=W, height=H)
    yuv = tav.dask.convert(rgb, "RGB8", "YUV420P")
    stack = tav.dask.read_frames(str(root / "shots"), WORDS, W, H, pattern="*.raw")
    deep = tav.dask.demosaic(stack.rechunk((2, H, W)), WORDS, "edge", "BGR16")
    got = client.compute([rgb, yuv, deep], sync=False)
    got = [g.result(timeout=60) for g in got]
    want_rgb = [tav.demosaic(f, PACKED, "hq", width=W, height=H) for f in packed]
    want = [want_rgb, [tav.convert(f, "RGB8", "YUV420P") for f in want_rgb],
            [tav.demosaic(f, WORDS, "edge", "BGR16") for f in words]]
    for g, w in zip(got, want):
        assert g.shape == (N,) + w[0].shape and g.tobytes() == np.stack(w).tobytes()


def test_a_failing_frame_raises_on_the_client_with_its_index(client, archive):
    root = archive[0]
    short = root / "short"
    short.mkdir(exist_ok=True)
    for k in range(4):
        np.zeros(H * W - (k == 2), np.uint8).tofile(short / f"{k}.raw")
    with pytest.raises(ValueError, match="frame 2 "):
        client.compute(tav.dask.read_frames(str(short), "BayerRG8", W, H)).result(timeout=60)
    tiny = da.from_array(np.zeros((N, 4, 4), np.uint8), chunks=(3, 4, 4))  # frames 0-2, 3-4
    code = None
    try:
        tav.demosaic(np.zeros((4, 4), np.uint8), "BayerRG8", "hq")
    except tav.Error as e:
        code = e.code
    with pytest.raises(tav.Error) as err:
        client.compute(tav.dask.demosaic(tiny, "BayerRG8", "hq")[3:]).result(timeout=60)
    assert err.value.code == code and err.value.frame == 3  # only the second chunk runs
