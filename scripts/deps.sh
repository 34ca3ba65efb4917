#!/usr/bin/env bash
# Installs the Debian packages that building and testing tav needs, if missing.
# Usage: scripts/deps.sh [extra packages...]
set -euo pipefail
want=(cmake g++ make pkg-config libgtest-dev libbenchmark-dev libpng-dev
      python3-dev pybind11-dev python3-numpy python3-pytest python3-dask python3-distributed
      python3-venv python3-setuptools python3-wheel
      # the GStreamer plugin, its harness tests and the elements they compare with
      libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools
      gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
      "$@")
# Cameras: Aravis (`tav capture`, the fake GigE Vision camera of the tests, and
# the aravissrc element, which libaravis-0.8-0 carries); its pkg-config file
# needs libusb's.
want+=(libaravis-dev aravis-tools aravis-tools-cli libusb-1.0-0-dev)
missing=()
for p in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
echo "installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
