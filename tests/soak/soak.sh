#!/usr/bin/env bash
# Soak: days of simulated operation with every kind of fault (gaps, a stuck sensor,
# readings out of range, NaN), replayed one day at a time through `vorn replay` with a
# restart from the saved state between days, as a device that reboots daily would.
# Every output row must hold finite values in their ranges, and the last day must end
# with the IAQ index calibrated again (accuracy 2 or 3).
#   tests/soak/soak.sh VORN DAYS [SEED]      (VORN: the vorn program)
set -euo pipefail
vorn=$1 days=$2 seed=${3:-42}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$vorn" simulate --days "$days" --interval 3 --seed "$seed" --faults all -o "$work/log.csv" >/dev/null
awk -F, -v dir="$work" 'NR == 1 { header = $0; next }
  { f = dir "/day" int($1 / 86400) ".csv"; if (!(f in open)) { print header > f; open[f] = 1 }
    print > f }' "$work/log.csv"

state=()
for ((d = 0; d < days; ++d)); do
  "$vorn" replay "$work/day$d.csv" --outputs all --no-progress -q -o "$work/out.csv" \
    "${state[@]}" --state-out "$work/state.bin"
  state=(--state-in "$work/state.bin")
  awk -F, -v day="$d" '
    NR == 1 { for (i = 1; i <= NF; ++i) name[i] = $i; next }
    { for (i = 2; i <= NF; ++i) {
        if ($i == "") continue
        v = $i + 0
        bad = $i !~ /^-?[0-9.]+(e[-+]?[0-9]+)?$/ ||
              (name[i] ~ /_accuracy$/ && (v < 0 || v > 3)) ||
              (name[i] == "iaq_index" && (v < 0 || v > 500)) ||
              (name[i] == "compensated_humidity" && (v < 0 || v > 100))
        if (bad) { printf "day %d, row %d: %s = %s\n", day, NR, name[i], $i; exit 1 }
        if (name[i] == "iaq_index_accuracy") last = v } }
    END { if (day == '"$((days - 1))"' && last < 2) { print "IAQ accuracy " last " at the end"; exit 1 } }
  ' "$work/out.csv"
done
echo "soak: $days days with faults and daily restarts, every output in range"
