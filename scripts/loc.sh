#!/usr/bin/env bash
# Non-blank lines of C, C++ and Python per top-level folder (src/ by layer), and the
# share of tests (tests/, fuzz/, python/tests/) against code (the rest but bench/).
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"
count() { find "$@" -type f \( -name '*.c' -o -name '*.cpp' -o -name '*.h' -o -name '*.py' \) \
            -print0 2>/dev/null | xargs -0 -r cat | grep -cv '^[[:space:]]*$' || true; }
for d in src/* include tools python/vorn examples tests/* fuzz python/tests bench; do
  [ -e "$d" ] && printf '%-22s %6s\n' "$d" "$(count "$d")"
done
tests=$(count tests fuzz python/tests)
code=$(( $(count . -not -path './build*' -not -path './.git/*') - tests - $(count bench) ))
echo "tests $tests / code $code = $(( 100 * tests / code )) %"
