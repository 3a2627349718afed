#!/usr/bin/env bash
# Usage: check_link_surface.sh path/to/libvorn.so
# Fails when the library needs more than libc, libm and the loader, imports an
# allocator, C++ runtime or unwinder symbol, or exports a symbol outside vorn_*.
set -euo pipefail

lib=${1:?usage: $0 libvorn.so}
[ -f "$lib" ] || { echo "no such library: $lib" >&2; exit 1; }
failed=0

needed=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for name in $needed; do
    case "$name" in
        libc.so.* | libm.so.* | ld-linux*.so.*) ;;
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
        malloc | calloc | realloc | free | aligned_alloc | posix_memalign | \
            _Znw* | _Zna* | _Zdl* | _Zda* | __cxa_* | _Unwind*)
            echo "forbidden import: $name"; failed=1 ;;
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
