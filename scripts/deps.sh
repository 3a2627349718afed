#!/usr/bin/env bash
# Installs the Debian packages a job needs, only the missing ones, so a fresh machine
# and a prepared one both work. Each job installs its own: the demo never pulls in the
# fuzzing or cross toolchains.
#
#   scripts/deps.sh [JOB ...]          default: demo
#   scripts/deps.sh --packages P ...   exactly these packages (the cross build's list)
#
# Jobs: demo (compiler, CMake, CLI11, {fmt}, matplotlib), test (the demo's plus
# GoogleTest, MPFR and what `pip install` needs), fuzz (clang with libFuzzer), bench
# (Google Benchmark, valgrind), m4 (the bare-metal ARM toolchain, about 0.8 GB).
set -euo pipefail

packages=()
lean=""  # toolchains come without their recommends (manuals, extra runtimes)
while [ $# -gt 0 ]; do
  case "$1" in
    demo) packages+=(cmake g++ make pkg-config libcli11-dev libfmt-dev python3 python3-matplotlib) ;;
    test) packages+=(cmake g++ make pkg-config libcli11-dev libfmt-dev python3 python3-matplotlib
                     libgtest-dev libmpfr-dev python3-setuptools python3-wheel python3-venv) ;;
    fuzz) packages+=(clang libclang-rt-14-dev) ;;
    bench) packages+=(libbenchmark-dev valgrind) ;;
    m4) packages+=(gcc-arm-none-eabi libnewlib-arm-none-eabi); lean=--no-install-recommends ;;
    --packages) shift; packages+=("$@"); lean=--no-install-recommends; break ;;
    -h|--help) sed -n '2,11p' "$0"; exit 0 ;;
    *) echo "deps.sh: unknown job '$1' (jobs: demo test fuzz bench m4, or --packages P ...)" >&2
       exit 2 ;;
  esac
  shift
done
[ ${#packages[@]} -eq 0 ] && packages=(cmake g++ make pkg-config libcli11-dev libfmt-dev python3
                                      python3-matplotlib)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "== installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq $lean "${missing[@]}" >/dev/null
