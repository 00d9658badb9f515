#!/usr/bin/env bash
# Installs what the build needs from Debian's packages, only when something is missing.
# dpkg-dev and file: cpack -G DEB reads the plug-in's library dependencies with them.
set -euo pipefail

packages=(cmake g++ make pkg-config libgtest-dev libbenchmark-dev libsndfile1-dev clang libclang-rt-14-dev
  libx11-dev libxext-dev libxtst-dev libpng-dev xvfb xauth
  libcairo2-dev libfontconfig-dev fonts-liberation2
  dpkg-dev file)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
fi
