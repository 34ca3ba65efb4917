#!/usr/bin/env bash
# Builds the Debian packages (libtav, libtav-dev, tav-tools and, where GStreamer's
# development files are, gstreamer1.0-tav), unpacks them into
# a scratch root with dpkg, checks what each holds, and builds and runs the
# C99 consumer against the unpacked tree through CMake and pkg-config.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
build=build/package
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  -DTAV_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$(nproc)"
rm -f "$build"/*.deb
(cd "$build" && cpack -G DEB >/dev/null)

root=$PWD/$build/root
rm -rf "$root"
mkdir -p "$root"
for name in libtav libtav-dev tav-tools; do
  deb=$(ls "$build"/${name}_*.deb)
  echo "== $(basename "$deb")"
  dpkg-deb -f "$deb" Package Version Architecture Depends
  dpkg-deb -x "$deb" "$root"
done

contents() { dpkg-deb -c "$build"/$1_*.deb | awk '{print $6}'; }
fail() { echo "package_test: $*" >&2; exit 1; }
# The runtime package holds the versioned library and nothing to build with.
contents libtav | grep -q '/libtav\.so\.0$' || fail "libtav lacks libtav.so.0"
! contents libtav | grep -Eq '\.h$|\.a$|/libtav\.so$|cmake|pkgconfig' || fail "libtav holds development files"
for f in '/include/tav\.h$' '/libtav\.so$' '/libtav\.a$' '/tavConfig\.cmake$' '/tav\.pc$'; do
  contents libtav-dev | grep -Eq "$f" || fail "libtav-dev lacks $f"
done
contents tav-tools | grep -q '/usr/bin/tav$' || fail "tav-tools lacks /usr/bin/tav"

config=$(find "$root" -name tavConfig.cmake)
libdir=$(cd "$(dirname "$config")/../.." && pwd)
echo "== consumer against $libdir"
cmake -S tests/consumer -B "$build/consumer" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$build/consumer"
"$build/consumer/consumer_cmake"
cc -std=c99 -Wall -Wextra -pedantic -Werror tests/consumer/consumer.c \
  $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs tav) \
  -o "$build/consumer/consumer_pc"
LD_LIBRARY_PATH="$libdir" "$build/consumer/consumer_pc"
echo "== the packaged program"
LD_LIBRARY_PATH="$libdir" "$root/usr/bin/tav" demo --size 64x48 --frames 1 -o "$build/demo" >/dev/null
test -s "$build/demo/sheet.png" || fail "the packaged tav demo wrote no sheet"
if ls "$build"/gstreamer1.0-tav_*.deb >/dev/null 2>&1; then
  deb=$(ls "$build"/gstreamer1.0-tav_*.deb)
  echo "== $(basename "$deb")"
  dpkg-deb -f "$deb" Package Version Architecture Depends
  dpkg-deb -x "$deb" "$root"
  plugin=$(contents gstreamer1.0-tav | grep '/gstreamer-1\.0/libgsttav\.so$') ||
    fail "gstreamer1.0-tav lacks gstreamer-1.0/libgsttav.so"
  GST_PLUGIN_PATH="$root/$(dirname "$plugin")" GST_REGISTRY="$build/registry.bin" \
    LD_LIBRARY_PATH="$libdir" gst-inspect-1.0 tavdemosaic >/dev/null ||
    fail "the packaged plugin does not load"
fi
echo "packages ok"
