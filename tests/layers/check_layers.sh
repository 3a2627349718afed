#!/usr/bin/env bash
# Every folder of src/ is a layer; a file may include only its own layer's and lower
# layers' headers (and the public header), so data flows down and results come back
# up as return values. Prints each include that reaches upward and fails on any; also
# each core source whose first include is not math/fp_rules.h, which must precede every
# function definition to keep its multiply-adds unfused.
set -euo pipefail
SRC=${1:?usage: check_layers.sh SRC_DIR}

rank() {
  case $1 in
    math|serialization|identifiers) echo 0 ;;
    modules) echo 1 ;;
    hub) echo 2 ;;
    engine) echo 3 ;;
    exports) echo 4 ;;
    host) echo 5 ;;
    vorn) echo -1 ;;  # the public header, below everything
    *) echo unknown ;;
  esac
}

bad=0
while IFS= read -r file; do
  layer=${file#"$SRC"/}; layer=${layer%%/*}
  own=$(rank "$layer")
  [ "$own" = unknown ] && { echo "$file: folder '$layer' is no known layer"; bad=1; continue; }
  if [[ $file == *.cpp && $layer != host ]] &&
     [ "$(grep -m1 '^#include' "$file")" != '#include "math/fp_rules.h"' ]; then
    echo "$file: the first include must be \"math/fp_rules.h\""
    bad=1
  fi
  while IFS= read -r target; do
    dep=${target%%/*}
    theirs=$(rank "$dep")
    if [ "$theirs" = unknown ] || [ "$theirs" -gt "$own" ]; then
      echo "$file includes \"$target\": layer '$layer' may not reach '$dep'"
      bad=1
    fi
  done < <(sed -n 's/^#include "\([^"]*\)".*/\1/p' "$file")
done < <(find "$SRC" -name '*.h' -o -name '*.cpp' | sort)

[ $bad -eq 0 ] && echo "layers: every include in $SRC points to its own or a lower layer"
exit $bad
