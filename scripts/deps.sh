#!/usr/bin/env bash
# Installs the Debian packages the build, tests, tools and plots need, only the
# ones missing, so a fresh machine and a prepared one both work.
set -euo pipefail

packages=(
  cmake g++ make pkg-config
  libgtest-dev libbenchmark-dev libcli11-dev libfmt-dev libmpfr-dev
  python3 python3-matplotlib
  clang libclang-rt-14-dev
  gcc-arm-none-eabi libnewlib-arm-none-eabi
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
fi
