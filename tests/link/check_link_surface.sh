#!/usr/bin/env bash
# Usage: check_link_surface.sh path/to/libvorn.so
# Fails when the library needs more than libc and the loader (it carries its own
# maths, so not even libm), imports anything but a few memory functions of libc (no
# maths, allocator, C++ runtime or unwinder symbol), or exports a symbol outside vorn_*.
set -euo pipefail

lib=${1:?usage: $0 libvorn.so}
[ -f "$lib" ] || { echo "no such library: $lib" >&2; exit 1; }
failed=0

needed=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for name in $needed; do
    case "$name" in
        libc.so.* | ld-linux*.so.*) ;;
        *) echo "unexpected NEEDED library: $name"; failed=1 ;;
    esac
done

# "TYPE NAME" pairs, the name without its version suffix (name@GLIBC_x.y).
undefined=$(nm -D --undefined-only "$lib" | awk '{print $(NF-1) ":" $NF}' | sed 's/@.*//')
for entry in $undefined; do
    type=${entry%%:*}
    name=${entry#*:}
    # glibc's own __cxa_finalize, weakly referenced by the startup code linked into
    # every shared object (C ones too), is not the C++ runtime.
    if [ "$type" = w ] && [ "$name" = __cxa_finalize ]; then
        continue
    fi
    case "$name" in
        memcpy | memmove | memset | memcmp | __stack_chk_fail | _ITM_* | __gmon_start__) ;;
        *) echo "unexpected import: $name"; failed=1 ;;
    esac
done

exported=$(nm -D --defined-only "$lib" | awk '{print $NF}' | sed 's/@.*//')
for name in $exported; do
    case "$name" in
        vorn_*) ;;
        *) echo "unexpected export: $name"; failed=1 ;;
    esac
done

if [ "$failed" -ne 0 ]; then
    exit 1
fi
echo "link surface clean: $(echo "$exported" | grep -c . || true) vorn_* exports"
