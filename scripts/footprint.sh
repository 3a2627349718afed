#!/usr/bin/env bash
# Footprint report: the size of the library instance, the worst-case stack of every
# exported call, and the code size of the core on a Cortex-M4 with hard float.
#
#   scripts/footprint.sh        build (build-m4) and print the report against the targets
#   scripts/footprint.sh --ci   the same build and report, figures not asserted: CI runs it
#                               so that the Cortex-M4 build cannot rot (in both modes any
#                               compiler warning, of the project's set, fails the build)
#
# Code size = text+data of a bare-metal program calling every exported operation minus
# the same program without the library (newlib nano, --gc-sections), so it includes the
# libm and libc routines the core pulls in. Stack = own frame (-fstack-usage) plus the
# deepest chain of direct callees (-fcallgraph-info), per exported call, on both the
# Cortex-M4 (-Os) and x86-64 (-O3, the Release build).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)

mode=report
case "${1:-}" in
  --ci) mode=ci ;;
  "") ;;
  -h|--help) sed -n '2,14p' "$0"; exit 0 ;;
  *) echo "usage: $0 [--ci]" >&2; exit 2 ;;
esac

scripts/deps.sh m4
BUILD=$ROOT/build-m4
mkdir -p "$BUILD"
cmake -DVORN_GENERATED_DIR="$BUILD/generated" -P cmake/VornVersion.cmake  # vorn/version.h
SOURCES=$(ls src/math/*.cpp src/serialization/*.cpp src/modules/*.cpp src/hub/*.cpp \
              src/engine/*.cpp src/exports/*.cpp)
# The project's warning set, as errors: the firmware build must stay clean.
read -ra WARNINGS < <(sed -n 's/^set(VORN_WARNINGS \(.*\))$/\1/p' cmake/VornFlags.cmake)
[ ${#WARNINGS[@]} -gt 0 ] || { echo "no VORN_WARNINGS in cmake/VornFlags.cmake" >&2; exit 1; }
WARNINGS+=(-Werror)
COMMON=(-std=c++20 -I"$ROOT/src" -I"$ROOT/include" -I"$BUILD/generated" -DVORN_BUILDING_LIBRARY
        -fno-exceptions -fno-rtti -fno-threadsafe-statics "${WARNINGS[@]}" -fstack-usage
        -fcallgraph-info=su)
M4=(-mcpu=cortex-m4 -mthumb -mfloat-abi=hard -mfpu=fpv4-sp-d16 -Os -ffunction-sections
    -fdata-sections)
M4_LINK=(-Wl,--gc-sections --specs=nano.specs --specs=nosys.specs)

compile_all() {  # compile_all COMPILER OUTDIR FLAGS...
  local cxx=$1 out=$2; shift 2
  rm -rf "$out"; mkdir -p "$out"
  local pids=() src obj
  for src in $SOURCES; do
    obj=$out/$(echo "$src" | tr / _).o
    (cd "$out" && "$cxx" "${COMMON[@]}" "$@" -c "$ROOT/$src" -o "$obj" 2>>"$out/warnings.log" ||
       { cat "$out/warnings.log" >&2; exit 1; }) &
    pids+=($!)
    if [ ${#pids[@]} -ge 2 ]; then wait "${pids[0]}"; pids=("${pids[@]:1}"); fi
  done
  for p in "${pids[@]}"; do wait "$p"; done
}

echo "== footprint: Cortex-M4 build in $BUILD"
compile_all arm-none-eabi-g++ "$BUILD/m4" "${M4[@]}"
arm-none-eabi-gcc "${M4[@]}" "${WARNINGS[@]}" -std=c99 -I"$ROOT/include" -c bench/m4/main.c \
  -o "$BUILD/main.o"
arm-none-eabi-gcc "${M4[@]}" "${WARNINGS[@]}" -c bench/m4/empty.c -o "$BUILD/empty.o"
arm-none-eabi-gcc "${M4[@]}" "${M4_LINK[@]}" -Wl,-Map="$BUILD/probe.map" "$BUILD/main.o" \
  "$BUILD"/m4/*.o -lm -o "$BUILD/probe.elf"
arm-none-eabi-gcc "${M4[@]}" "${M4_LINK[@]}" "$BUILD/empty.o" -o "$BUILD/empty.elf"

size_of() {  # text data bss of an ELF
  arm-none-eabi-size -A "$1" | awk '
    $1 ~ /^\.(text|rodata|ARM\.exidx|init|fini|init_array|fini_array)/ {t += $2}
    $1 == ".data" {d += $2} $1 == ".bss" {b += $2} END {print t, d, b}'
}
read -r ptext pdata pbss < <(size_of "$BUILD/probe.elf")
read -r etext edata ebss < <(size_of "$BUILD/empty.elf")
code=$(( (ptext + pdata) - (etext + edata) ))
ram=$(( (pdata + pbss) - (edata + ebss) ))
# The share of the core's own objects, from the link map (the rest is libm/libc).
own=$(python3 - "$BUILD/probe.map" "$BUILD/m4/" <<'PY'
import re, sys
text, total = open(sys.argv[1]).read(), 0
text = text[text.find("Linker script and memory map"):]  # skip the discarded sections
# An input section: " .text.name  0xADDR  0xSIZE  object", the name possibly on its own line.
pattern = r"^ \.(?:text|rodata)\S*\s+0x[0-9a-f]+\s+0x([0-9a-f]+)\s+(\S+)"
for m in re.finditer(pattern, text, re.M):
    if m.group(2).startswith(sys.argv[2]):
        total += int(m.group(1), 16)
print(total)
PY
)

hex_size() { awk '/anonymous namespace\)::storage$/ {print $2}'; }
instance_m4=$((16#$(arm-none-eabi-nm -S -C "$BUILD/probe.elf" | hex_size)))

echo "== footprint: $(grep -c 'warning:' "$BUILD/m4/warnings.log" || true) compiler warnings on the Cortex-M4 (see $BUILD/m4/warnings.log)"
echo "== footprint: x86-64 stack analysis (-O3)"
compile_all g++ "$BUILD/x86" -O3 -DNDEBUG -fPIC -fvisibility=hidden
instance_x86=$((16#$(nm -S -C "$BUILD"/x86/src_engine_instance.cpp.o | hex_size)))

echo
echo "Stack per exported call, Cortex-M4 (-Os):"
# Printed from a variable, not through `tee /dev/stderr`: reopening /dev/stderr would
# truncate a log file that stdout and stderr are redirected to.
stack_walk() { python3 bench/m4/stack_walk.py "$1" | c++filt | sed -e 's/([^()]*)//g' -e "s|$ROOT/||g"; }
m4_walk=$(stack_walk "$BUILD/m4")
echo "$m4_walk"
m4_stack=$(awk '/^MAX/ {print $2}' <<<"$m4_walk")
echo "Stack per exported call, x86-64 (-O3):"
x86_walk=$(stack_walk "$BUILD/x86")
echo "$x86_walk"
x86_stack=$(awk '/^MAX/ {print $2}' <<<"$x86_walk")
echo "Largest single frame (x86-64): $(cat "$BUILD"/x86/*.su | sort -t$'\t' -k2 -n | tail -1 | c++filt)"

verdict() { if [ "$1" -le "$2" ]; then echo ok; else echo MISSED; fi; }
echo
printf '%-44s %12s %12s %s\n' "Footprint" "measured" "target" ""
printf '%-44s %12s %12s %s\n' "library instance, x86-64 (bytes)" "$instance_x86" "<= 1150" "$(verdict "$instance_x86" 1150)"
printf '%-44s %12s %12s %s\n' "library instance, Cortex-M4 (bytes)" "$instance_m4" "<= 1150" "$(verdict "$instance_m4" 1150)"
printf '%-44s %12s %12s %s\n' "worst exported call stack, Cortex-M4 (bytes)" "$m4_stack" "<= 512" "$(verdict "$m4_stack" 512)"
printf '%-44s %12s %12s %s\n' "worst exported call stack, x86-64 (bytes)" "$x86_stack" "<= 512" "$(verdict "$x86_stack" 512)"
printf '%-44s %12s %12s %s\n' "Cortex-M4 code, core + libm/libc (bytes)" "$code" "<= 10240" "$(verdict "$code" 10240)"
printf '%-44s %12s %12s %s\n' "  of which the core's own objects (bytes)" "$own" "" ""
printf '%-44s %12s %12s %s\n' "Cortex-M4 static RAM, data+bss (bytes)" "$ram" "" ""
if [ "$mode" = ci ]; then
  echo "== footprint: Cortex-M4 build ok (figures not asserted in CI mode)"
fi
