#!/usr/bin/env bash
# Installs the Python package with pip, offline, into a fresh virtual
# environment that sees the system's NumPy and pybind11, then uses it from
# outside the source tree.
set -euo pipefail
cd "$(dirname "$0")/.."
venv=$PWD/build/venv
rm -rf "$venv" build/lib.* build/temp.* build/bdist.* python/tav.egg-info
/usr/bin/python3 -m venv --system-site-packages "$venv"
"$venv/bin/pip" install -q --no-build-isolation --no-index .
cd /tmp
"$venv/bin/python" - <<'PY'
import numpy as np, tav, tav.dask  # dask.py is packaged too
raw = np.zeros((4, 6), np.uint8)
raw[0::2, 0::2] = 200  # red sites of BayerRG8
rgb = tav.demosaic(raw, "BayerRG8")
assert rgb.shape == (4, 6, 3) and (rgb[..., 0] > rgb[..., 2]).all(), rgb
print("tav", tav.__version__, "from", tav.__file__)
PY
