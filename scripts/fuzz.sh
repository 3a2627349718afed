#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan + UBSan) into build-fuzz, replays every
# seed and regression input once, then fuzzes each target for a bounded time.
# Exits non-zero on any finding; the crashing input is left in
# build-fuzz/artifacts/<target>/ (copy it to fuzz/regressions/<target>/ once fixed).
#
#   scripts/fuzz.sh --ci            about 40 s per target (what ./run.sh test runs)
#   scripts/fuzz.sh --long          30 min per target, two targets at a time
#   scripts/fuzz.sh [--ci|--long] fuzz_state_blob ...   only the targets named
#
# Environment: FUZZ_SECONDS (time per target), FUZZ_PARALLEL (targets at once),
# FUZZ_BUILD (build directory, default build-fuzz).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)

mode=ci
targets=()
for arg in "$@"; do
  case "$arg" in
    --ci) mode=ci ;;
    --long) mode=long ;;
    -h|--help) sed -n '2,14p' "$0"; exit 0 ;;
    *) targets+=("$arg") ;;
  esac
done

scripts/deps.sh fuzz

if [ "$mode" = long ]; then
  SECONDS_PER_TARGET=${FUZZ_SECONDS:-1800}
  PARALLEL=${FUZZ_PARALLEL:-2}
else
  SECONDS_PER_TARGET=${FUZZ_SECONDS:-40}
  PARALLEL=${FUZZ_PARALLEL:-1}
fi
BUILD=${FUZZ_BUILD:-$ROOT/build-fuzz}
case "$BUILD" in /*) ;; *) BUILD=$ROOT/$BUILD ;; esac

echo "== fuzz: building targets in $BUILD"
mkdir -p "$BUILD/logs"
if ! { cmake -S fuzz -B "$BUILD" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo &&
       cmake --build "$BUILD" -j 2; } >"$BUILD/logs/build.log" 2>&1; then
  tail -n 40 "$BUILD/logs/build.log"
  echo "!! fuzz: build failed (full log: $BUILD/logs/build.log)"
  exit 1
fi

if [ ${#targets[@]} -eq 0 ]; then
  for t in fuzz_configuration_blob fuzz_state_blob fuzz_call_sequence fuzz_state_file; do
    if [ -x "$BUILD/$t" ]; then targets+=("$t"); else echo "== fuzz: $t not built, skipped"; fi
  done
fi

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

# Run every committed seed and regression input once: a quick, deterministic check.
replay() {
  local t=$1 files
  mapfile -t files < <(find "$ROOT/fuzz/corpus/$t" "$ROOT/fuzz/regressions/$t" -type f 2>/dev/null | sort)
  if [ ${#files[@]} -eq 0 ]; then return 0; fi
  if ! "$BUILD/$t" "${files[@]}" >"$BUILD/logs/$t.replay.log" 2>&1; then
    echo "!! $t failed on a committed input; see $BUILD/logs/$t.replay.log"
    tail -n 40 "$BUILD/logs/$t.replay.log"
    return 1
  fi
  echo "   $t: ${#files[@]} committed inputs pass"
}

# Fuzz one target for SECONDS_PER_TARGET; new corpus entries go to the build tree only.
fuzz_one() {
  local t=$1
  local work="$BUILD/corpus/$t" artifacts="$BUILD/artifacts/$t"
  mkdir -p "$work" "$artifacts"
  local dirs=("$work" "$ROOT/fuzz/corpus/$t")
  [ -d "$ROOT/fuzz/regressions/$t" ] && dirs+=("$ROOT/fuzz/regressions/$t")
  # The host layer exports a no-op sleep(), which would turn libFuzzer's memory
  # watchdog thread (it sleeps one second per round) into a busy loop: switch the
  # watchdog off for the target that links the host layer.
  local rss=2048
  [ "$t" = fuzz_state_file ] && rss=0
  local status=0
  "$BUILD/$t" -max_total_time="$SECONDS_PER_TARGET" -timeout=10 -rss_limit_mb=$rss \
    -print_final_stats=1 -artifact_prefix="$artifacts/" "${dirs[@]}" \
    >"$BUILD/logs/$t.fuzz.log" 2>&1 || status=$?
  local execs
  execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$BUILD/logs/$t.fuzz.log" | grep -o '[0-9]*$' || true)
  if [ $status -ne 0 ]; then
    echo "!! $t: finding after ${execs:-?} executions; input in $artifacts/"
    grep -E 'ERROR|runtime error|invariant violated|SUMMARY' "$BUILD/logs/$t.fuzz.log" | head -n 10
    return 1
  fi
  echo "   $t: ${execs:-?} executions in ${SECONDS_PER_TARGET} s, no finding"
}

failed=0
echo "== fuzz: replaying committed corpora and regressions"
for t in "${targets[@]}"; do replay "$t" || failed=1; done

echo "== fuzz: $mode run, ${SECONDS_PER_TARGET} s per target, $PARALLEL at a time"
pids=()
names=()
for t in "${targets[@]}"; do
  fuzz_one "$t" &
  pids+=($!)
  names+=("$t")
  if [ ${#pids[@]} -ge "$PARALLEL" ]; then
    wait "${pids[0]}" || failed=1
    pids=("${pids[@]:1}")
    names=("${names[@]:1}")
  fi
done
for p in "${pids[@]}"; do wait "$p" || failed=1; done

if [ $failed -ne 0 ]; then
  echo "== fuzz: FINDINGS (see above)"
  exit 1
fi
echo "== fuzz: no findings"
