#!/usr/bin/env bash
# Fault-injection check for developers (not part of CI): plants each fault listed in
# scripts/mutants.txt into a scratch copy of the tree, one at a time, and reports the
# score and, per test file, the faults it catches and catches alone. Takes about an
# hour for the whole list on two cores; --only ID,ID runs a few.
#   scripts/mutants.sh [--only ID,...] [--work DIR] [--jobs N]
set -euo pipefail
cd "$(dirname "$0")/.."
exec python3 scripts/mutants.py "$@"
