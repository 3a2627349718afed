#!/usr/bin/env bash
# A new Python user's first minutes: `pip install .` of the source tree into a fresh
# virtual environment (Debian's setuptools, no network), then the README's Python
# loop exactly as printed there, run from another directory.
#   check_pip_install.sh SOURCE_DIR PYTHON
set -euo pipefail
source=$1 python=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

"$python" -m venv --system-site-packages "$scratch/venv"
export PIP_DISABLE_PIP_VERSION_CHECK=1 PIP_NO_INDEX=1
(cd "$source" && "$scratch/venv/bin/pip" install --no-build-isolation .) >"$scratch/pip.log" 2>&1 \
  || { cat "$scratch/pip.log"; exit 1; }

# The first Python block of the README's section "From Python".
"$python" - "$source/README.md" >"$scratch/loop.py" <<'PY'
import re, sys
section = open(sys.argv[1]).read().split("\n## From Python", 1)[1]
print(re.search(r"```python\n(.*?)```", section, re.S).group(1))
PY

mkdir "$scratch/elsewhere"
cd "$scratch/elsewhere"
unset PYTHONPATH VORN_LIBRARY VORN_HOST_LIBRARY
"$scratch/venv/bin/python" "$scratch/loop.py" | tee "$scratch/loop.out"
grep -q "^IAQ " "$scratch/loop.out"
"$scratch/venv/bin/python" - "$scratch/venv" <<'PY'
import sys
from pathlib import Path
import vorn
from vorn import _loader
venv = Path(sys.argv[1]).resolve()
for kind in ("vorn", "vorn_host"):
    assert _loader.find_library(kind).is_relative_to(venv), _loader.find_library(kind)
assert (Path(vorn.__file__).parent / "py.typed").is_file()
print("pip install: vorn", vorn.__version__, "in", Path(vorn.__file__).parent)
PY
