#!/usr/bin/env bash
# The main job, run by ./run.sh after the build: simulate a week of a room watched by
# a gsx410 sensor (with a few injected faults), replay it through the library as a
# device would, plot the result and print the summary. Writes into demo/:
#   log.csv          the raw log, with the ground-truth VOC
#   outputs.csv      every output of every step (see tools/README.md for the columns)
#   iaq.png          the picture: IAQ with its accuracy, VOC truth, temperature,
#                    humidity, gas resistance, stabilisation flags
#   savedState.dat   the learnt state in the host layer's state-file format
set -euo pipefail
cd "$(dirname "$0")/.."

VORN=${VORN:-build/bin/vorn}
PYTHON=${PYTHON:-/usr/bin/python3}   # Debian's Python: the one with python3-matplotlib
DAYS=${DEMO_DAYS:-7}
OUT=demo

if [ ! -x "$VORN" ]; then
    echo "demo: $VORN not found; build first (./run.sh builds, then runs this script)" >&2
    exit 1
fi
mkdir -p "$OUT"

echo "== simulate: $DAYS days at 3 s, seed 42, faults: gaps, stuck, range, nan"
"$VORN" simulate --days "$DAYS" --seed 42 --faults all -o "$OUT/log.csv"

echo "== replay: all outputs at 1/3 Hz (bad rows are reported and skipped)"
"$VORN" replay "$OUT/log.csv" --outputs all --no-progress \
    -o "$OUT/outputs.csv" --state-out "$OUT/savedState.dat"

echo "== learnt state ($OUT/savedState.dat)"
"$VORN" state show "$OUT/savedState.dat" | grep -E '^(Library|  =>)'

echo "== plot"
PYTHONPATH=python "$PYTHON" -m vorn plot "$OUT/outputs.csv" --log "$OUT/log.csv" \
    --title "vorn: a simulated week, replayed (IAQ accuracy as background colour)" \
    -o "$OUT/iaq.png"

echo "== done: $OUT/log.csv, $OUT/outputs.csv, $OUT/iaq.png, $OUT/savedState.dat"
