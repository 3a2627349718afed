#!/usr/bin/env bash
# The two commands of the README:
#   ./run.sh        set up, build, and run the main job (simulate, replay, plot)
#   ./run.sh test   build and run every test: normal build with warnings as errors,
#                   sanitizer build, Python tests, short fuzz runs, the same bits on six
#                   platforms under QEMU, Cortex-M4 build
# Each installs the Debian packages it needs (scripts/deps.sh), and only those.
set -euo pipefail
cd "$(dirname "$0")"

JOBS=$(nproc 2>/dev/null || echo 2)
PY=/usr/bin/python3   # Debian's Python: the one with python3-matplotlib

build() {  # build DIR [cmake options...]
  local dir=$1; shift
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
  cmake --build "$dir" -j "$JOBS"
}

main_job() {
  if [ -x scripts/demo.sh ]; then
    # The demo needs only the libraries and the vorn program; `./run.sh test` builds the
    # rest (tests, examples), which would keep a fresh clone's first run past two minutes.
    # Tests off: the demo's packages (scripts/deps.sh demo) hold no GoogleTest.
    cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DVORN_BUILD_TESTS=OFF >/dev/null
    cmake --build build -j "$JOBS" --target vorn vorn_host vorn_cli
    scripts/demo.sh
  else
    build build
    build/bin/vorn_version
  fi
}

run_tests() {
  echo "== build (warnings as errors)"
  build build -DVORN_WERROR=ON -DVORN_BUILD_TESTS=ON
  echo "== tests"
  (cd build && ctest --output-on-failure -j "$JOBS")
  echo "== sanitizer build (ASan + UBSan)"
  build build-asan -DVORN_WERROR=ON -DVORN_SANITIZE=ON -DVORN_BUILD_TESTS=ON
  echo "== sanitizer tests"
  (cd build-asan && ASAN_OPTIONS=detect_leaks=0 ctest --output-on-failure -j "$JOBS" -LE slow)
  for extra in scripts/fuzz.sh scripts/cross.sh scripts/footprint.sh scripts/bench.sh; do
    if [ -x "$extra" ]; then
      echo "== $extra (CI mode)"
      "$extra" --ci
    fi
  done
  echo "== all tests passed"
}

case "${1:-demo}" in
  demo) scripts/deps.sh demo && main_job ;;
  test) scripts/deps.sh test && run_tests ;;
  -h|--help) sed -n '2,7s/^# \{0,1\}//p' "$0" ;;
  *) echo "usage: $0 [test]   (--help: what each does)" >&2; exit 2 ;;
esac
