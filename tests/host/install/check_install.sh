#!/usr/bin/env bash
# Installs the build into a scratch prefix and uses it the ways a client would: a
# CMake project with find_package(vorn), a compile line from `pkg-config --cflags
# --libs vorn`, the installed vorn program, and the Python package from its installed
# place (no environment variable pointing at the libraries); then builds the same
# client project with add_subdirectory of the source tree.
#   check_install.sh BUILD_DIR PYTHON VERSION
set -euo pipefail
build=$1 python=$2 version=$3
here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >"$scratch/install.log"
# Where the library and the Python package went (they follow the install dirs).
libdir=$(dirname "$(find "$prefix" -name libvorn.so | head -1)")
libdir=${libdir#"$prefix/"}
pydir=$(dirname "$(dirname "$(find "$prefix" -path '*/vorn/__init__.py' | head -1)")")
pydir=${pydir#"$prefix/"}
for f in bin/vorn "$libdir/libvorn.so" "$libdir/libvorn.a" "$libdir/libvorn_host.so" include/vorn/vorn.h \
         include/vorn/vorn_clock.h "$libdir/pkgconfig/vorn.pc" "$libdir/cmake/vorn/vornConfig.cmake" \
         "$pydir/vorn/__init__.py" "$pydir/vorn/_install_paths.py"; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done

echo "== find_package(vorn)"
cp -r "$here/consumer" "$scratch/consumer"
client=$here/../../../examples/client.c
cmake -S "$scratch/consumer" -B "$scratch/consumer-build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_BUILD_TYPE=Release -DVORN_CLIENT_SOURCE="$client" -DVORN_VERSION_WANTED="$version" \
  >"$scratch/consumer.log" || { cat "$scratch/consumer.log"; exit 1; }
cmake --build "$scratch/consumer-build" >>"$scratch/consumer.log" || { cat "$scratch/consumer.log"; exit 1; }
"$scratch/consumer-build/consumer_shared"
"$scratch/consumer-build/consumer_static"
ldd "$scratch/consumer-build/consumer_shared" | grep "$prefix/$libdir/libvorn.so" >/dev/null \
  || { echo "consumer_shared does not use the installed libvorn.so"; exit 1; }

echo "== add_subdirectory(vorn)"
cmake -S "$scratch/consumer" -B "$scratch/subproject-build" -DCMAKE_BUILD_TYPE=Release \
  -DVORN_SOURCE="$here/../../.." -DVORN_CLIENT_SOURCE="$client" >"$scratch/subproject.log" \
  && cmake --build "$scratch/subproject-build" -j 2 >>"$scratch/subproject.log" \
  || { cat "$scratch/subproject.log"; exit 1; }
"$scratch/subproject-build/consumer_static"

echo "== the vorn program"
"$prefix/bin/vorn" --version

echo "== pkg-config"
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
flags=$(pkg-config --cflags --libs vorn)
echo "pkg-config: $flags"
cc "$client" -o "$scratch/consumer_pc" $flags -lm \
  -Wl,-rpath,"$(pkg-config --variable=libdir vorn)"
"$scratch/consumer_pc"

echo "== Python package"
mkdir "$scratch/run"
cd "$scratch/run"
env -u VORN_LIBRARY -u VORN_HOST_LIBRARY PYTHONPATH="$prefix/$pydir" PYTHONDONTWRITEBYTECODE=1 \
  "$python" - "$prefix" "$version" <<'PY'
import os, sys
from pathlib import Path
import vorn
from vorn import _loader
prefix = Path(sys.argv[1]).resolve()
assert Path(vorn.__file__).resolve().is_relative_to(prefix), vorn.__file__
for kind in ("vorn", "vorn_host"):
    found = _loader.find_library(kind)
    assert found.is_relative_to(prefix), f"{kind} loaded from {found}"
assert str(vorn.Library().version()) == sys.argv[2] == vorn.__version__
values = vorn.Host().process(1000, 23.9, 101325.0, 45.0, 50000.0)
assert values is not None and values.temperature == 23.0, values
assert Path("savedState.dat").stat().st_size == 4 + 139
print("python: libraries from", prefix)
PY
echo "install check passed"
