#!/usr/bin/env bash
# Instructions per measurement cycle, counted by callgrind (repeatable on a noisy
# machine where wall time is not): the bit-identity week's host-output scenario,
# 201,600 cycles of vorn_sensor_control + vorn_do_steps, inclusive costs summed.
#
#   scripts/cycle_cost.sh [BUILD_DIR]   (default build; needs test_bitexact built)
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${1:-build}
CYCLES=201600
OUT=$(mktemp)
trap 'rm -f "$OUT"' EXIT
valgrind --tool=callgrind --callgrind-out-file="$OUT" "$BUILD/bin/test_bitexact" \
  --gtest_filter='*host_outputs_daily_reload*' >/dev/null 2>&1
callgrind_annotate --inclusive=yes "$OUT" 2>/dev/null | awk -v cycles=$CYCLES '
  /[^_]vorn_do_steps|[^_]vorn_sensor_control/ { gsub(",", "", $1); total += $1 }
  END { printf "instructions per cycle: %.0f (%d cycles)\n", total / cycles, cycles }'
