#!/usr/bin/env bash
# tavdemosaic against bayer2rgb in the same pipeline:
#   videotestsrc ! rgb2bayer ! <element> ! video/x-raw,format=BGRx ! fakesink
# (bayer2rgb writes only four-byte pixels; one tavdemosaic case writes BGR).
# Each case runs REPS times; the median run time, less the median of the
# pipeline without a demosaicing element, is the element's time per frame.
# Usage: scripts/gst_bench.sh [build dir] [width] [height] [frames] [reps]
set -euo pipefail
build=${1:-build}
width=${2:-4096}
height=${3:-3000}
frames=${4:-40}
reps=${5:-5}
export GST_PLUGIN_PATH
GST_PLUGIN_PATH=$(realpath "$build/gst")
source="videotestsrc num-buffers=$frames ! video/x-raw,format=ARGB,width=$width,height=$height"
source="$source ! rgb2bayer ! video/x-bayer,format=rggb"

# Seconds from PLAYING to end of stream, as gst-launch reports it.
run_once() {
  gst-launch-1.0 $source ! "$@" ! fakesink sync=false |
    sed -n 's/^Execution ended after \([0-9]*\):\([0-9]*\):\([0-9.]*\)$/\1 \2 \3/p' |
    awk '{ printf "%.6f\n", $1 * 3600 + $2 * 60 + $3 }'
}

median_of() {
  for _ in $(seq "$reps"); do run_once "$@"; done | sort -g | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'
}

base=$(median_of identity)
printf "%dx%d, %d frames, median of %d runs; source alone %.1f ms/frame\n" \
  "$width" "$height" "$frames" "$reps" "$(echo "$base * 1000 / $frames" | bc -l)"
printf "%-44s %10s %10s %8s\n" element "ms/frame" "frames/s" "vs b2r"
b2r=""
while IFS='|' read -r name pipeline; do
  # shellcheck disable=SC2086
  t=$(median_of $pipeline)
  ms=$(echo "($t - $base) * 1000 / $frames" | bc -l)
  [ -z "$b2r" ] && b2r=$ms
  printf "%-44s %10.2f %10.1f %7.2fx\n" "$name" "$ms" "$(echo "1000 / $ms" | bc -l)" \
    "$(echo "$b2r / $ms" | bc -l)"
done <<EOF
bayer2rgb (bilinear)|bayer2rgb ! video/x-raw,format=BGRx
tavdemosaic bilinear, 1 thread|tavdemosaic method=bilinear n-threads=1 ! video/x-raw,format=BGRx
tavdemosaic bilinear, 2 threads|tavdemosaic method=bilinear n-threads=2 ! video/x-raw,format=BGRx
tavdemosaic bilinear to BGR, 1 thread|tavdemosaic method=bilinear n-threads=1 ! video/x-raw,format=BGR
tavdemosaic nearest, 1 thread|tavdemosaic method=nearest n-threads=1 ! video/x-raw,format=BGRx
tavdemosaic edge, 1 thread|tavdemosaic method=edge n-threads=1 ! video/x-raw,format=BGRx
tavdemosaic hq, 1 thread|tavdemosaic method=hq n-threads=1 ! video/x-raw,format=BGRx
EOF
