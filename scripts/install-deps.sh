#!/usr/bin/env bash
# Installs the Debian packages Ostravel needs, only those that are missing.
# Quiet when everything is already there. Uses sudo when not run as root.
set -euo pipefail

PACKAGES=(
  g++ cmake ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  liblz4-dev libboost-dev nlohmann-json3-dev libcurl4-openssl-dev
  clang clang-format libclang-rt-14-dev ccache git
  libcpp-httplib-dev libboost-stacktrace-dev libunwind-dev
  qt6-base-dev qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools qt6-svg-dev
  xvfb xauth fonts-dejavu-core
  libopenmpi-dev openmpi-bin
  help2man bash-completion librsvg2-bin file dpkg-dev
  librsvg2-dev libcairo2-dev libexpat1-dev zlib1g-dev
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "Installing: ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
