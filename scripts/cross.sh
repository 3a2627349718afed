#!/usr/bin/env bash
# Cross-platform bit identity: builds the library core and the scenario client of
# tests/cross (C, public header only) for each platform, runs it under emulation and
# fails unless every platform prints the same hash of every status, output bit and blob.
#
#   scripts/cross.sh [--ci] [PLATFORM ...]     default (and --ci, as CI runs it): all
#
# For aarch64 the unit tests (tests/unit, with GoogleTest built from Debian's sources in
# /usr/src/googletest) are built and run under qemu-aarch64 as well.
#
# Platforms: x86-64 (built for x86-64-v3, whose fused multiply-add the build must not
# use), x86-64-no-fma (the baseline), aarch64, armhf (32-bit ARM Linux), s390x
# (big-endian), cortex-m4 (newlib, hard float, semihosting under qemu-system-arm -M
# mps2-an386). Installs the cross compilers and QEMU (scripts/deps.sh) when they are missing.
#
# The core is compiled with -ffp-contract=fast (GCC's default in its GNU dialects) on
# every platform: only the sources' own rule (src/math/fp_rules.h) keeps the multiply-adds
# of the platforms that have them unfused, and the baseline cannot fuse. Warnings (the
# project's set, from cmake/VornFlags.cmake) are errors.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)
BUILD=$ROOT/build-cross

all=(x86-64 x86-64-no-fma aarch64 armhf s390x cortex-m4)
[ "${1:-}" = --ci ] && shift
platforms=("$@")
[ ${#platforms[@]} -eq 0 ] && platforms=("${all[@]}")

packages=(g++ qemu-user-static)
for p in "${platforms[@]}"; do
  case "$p" in
    aarch64) packages+=(g++-aarch64-linux-gnu googletest) ;;
    armhf) packages+=(g++-arm-linux-gnueabihf) ;;
    s390x) packages+=(g++-s390x-linux-gnu) ;;
    cortex-m4) packages+=(gcc-arm-none-eabi libnewlib-arm-none-eabi libstdc++-arm-none-eabi-newlib
                          qemu-system-arm) ;;
    x86-64 | x86-64-no-fma) ;;
    *) echo "unknown platform '$p' (known: ${all[*]})" >&2; exit 2 ;;
  esac
done
scripts/deps.sh --packages "${packages[@]}"

mkdir -p "$BUILD"
cmake -DVORN_GENERATED_DIR="$BUILD/generated" -P cmake/VornVersion.cmake
CORE=$(find src -name '*.cpp' -not -path 'src/host/*' | sort)
read -ra WARNINGS < <(sed -n 's/^set(VORN_WARNINGS \(.*\))$/\1/p' cmake/VornFlags.cmake)
[ ${#WARNINGS[@]} -gt 0 ] || { echo "!! cross: no VORN_WARNINGS in cmake/VornFlags.cmake" >&2; exit 1; }
COMMON=(-O2 -I"$ROOT/include" -I"$BUILD/generated")
CXXFLAGS=(-std=c++20 -fno-exceptions -fno-rtti -ffp-contract=fast -I"$ROOT/src"
          -DVORN_BUILDING_LIBRARY)
STRICT=("${WARNINGS[@]}" -Werror)

# build PLATFORM PREFIX RUNNER [FLAGS...]: compile, link, run; prints the hash.
build() {
  local name=$1 prefix=$2 runner=$3
  shift 3
  local dir=$BUILD/$name link=(-static)
  mkdir -p "$dir"
  [ "$name" = cortex-m4 ] && link=(--specs=rdimon.specs -Wl,--section-start=.vectors=0x0)
  local pids=() failed=0 pid
  for src in $CORE; do
    "${prefix}g++" "${CXXFLAGS[@]}" "${STRICT[@]}" "${COMMON[@]}" "$@" -c "$src" \
      -o "$dir/$(basename "$src" .cpp).o" >&2 &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do wait "$pid" || failed=1; done
  [ $failed -eq 0 ] || { echo "!! cross: $name: the core does not compile cleanly" >&2; return 1; }
  "${prefix}gcc" -std=c99 "${STRICT[@]}" "${COMMON[@]}" "$@" -c tests/cross/scenario.c \
    -o "$dir/scenario.o" >&2 || return 1
  if [ "$name" = cortex-m4 ]; then
    "${prefix}gcc" "${STRICT[@]}" "$@" -c tests/cross/m4_start.c -o "$dir/start.o" >&2 || return 1
  fi
  "${prefix}g++" "$@" "${link[@]}" "$dir"/*.o -o "$dir/scenario" -lm || return 1
  $runner "$dir/scenario"
}

# The x86-64-v3 build runs natively where the CPU has FMA, else under QEMU.
v3=qemu-x86_64-static
grep -qw fma /proc/cpuinfo && v3=""
# The unit tests of the foundation and the modules, built for aarch64 and run under QEMU.
unit_tests_aarch64() {
  local dir=$BUILD/aarch64-unit gtest=/usr/src/googletest/googletest
  local core=(src/math/*.cpp src/serialization/*.cpp src/modules/*.cpp)
  mkdir -p "$dir"
  aarch64-linux-gnu-g++ -std=c++20 -O1 -I"$gtest/include" -I"$gtest" -c "$gtest/src/gtest-all.cc" \
    -o "$dir/gtest-all.o" &
  aarch64-linux-gnu-g++ -std=c++20 -O1 -I"$gtest/include" -c "$gtest/src/gtest_main.cc" \
    -o "$dir/gtest_main.o" &
  for src in "${core[@]}"; do
    aarch64-linux-gnu-g++ "${CXXFLAGS[@]}" "${COMMON[@]}" -c "$src" \
      -o "$dir/core_$(basename "$src" .cpp).o" &
  done
  wait
  local failed=0
  for test in tests/unit/*.cpp; do
    local name
    name=$(basename "$test" .cpp)
    # (static glibc warns about gtest's unused network code: kept in the log)
    aarch64-linux-gnu-g++ -std=c++20 "${COMMON[@]}" -I"$ROOT/src" -I"$gtest/include" \
      -I"$ROOT/tests/support" -static "$test" "$dir"/core_*.o "$dir/gtest-all.o" \
      "$dir/gtest_main.o" -o "$dir/$name" -lpthread 2>"$dir/$name.link.log" ||
      { cat "$dir/$name.link.log"; return 1; }
    if qemu-aarch64-static "$dir/$name" >"$dir/$name.log" 2>&1; then
      echo "   aarch64 unit tests: $name passed"
    else
      echo "!! aarch64 unit tests: $name failed (log: $dir/$name.log)"
      failed=1
    fi
  done
  return $failed
}

declare -A hashes
for p in "${platforms[@]}"; do
  case "$p" in
    x86-64) hashes[$p]=$(build "$p" "" "$v3" -march=x86-64-v3) ;;
    x86-64-no-fma) hashes[$p]=$(build "$p" "" "" -march=x86-64 -mno-fma) ;;
    aarch64) hashes[$p]=$(build "$p" aarch64-linux-gnu- qemu-aarch64-static) ;;
    armhf) hashes[$p]=$(build "$p" arm-linux-gnueabihf- qemu-arm-static) ;;
    s390x) hashes[$p]=$(build "$p" s390x-linux-gnu- qemu-s390x-static) ;;
    cortex-m4)
      hashes[$p]=$(build "$p" arm-none-eabi- "timeout 600 qemu-system-arm -M mps2-an386 \
        -nographic -semihosting -kernel" -mcpu=cortex-m4 -mthumb -mfloat-abi=hard \
        -mfpu=fpv4-sp-d16) ;;
  esac
  echo "   $p: ${hashes[$p]}"
done

for p in "${platforms[@]}"; do
  [ "$p" = aarch64 ] && { unit_tests_aarch64 || exit 1; }
done

first=${hashes[${platforms[0]}]}
for p in "${platforms[@]}"; do
  if [ "${hashes[$p]}" != "$first" ]; then
    echo "!! cross: $p differs from ${platforms[0]}"
    exit 1
  fi
done
echo "== cross: ${#platforms[@]} platforms, one hash $first"
