#!/usr/bin/env bash
# Configures and builds one flavour of the tree.
#   scripts/build.sh <build-dir> [extra cmake arguments...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
dir="$1"; shift
jobs="${OSTRAVEL_JOBS:-$(nproc)}"
if [ ! -f "$dir/build.ninja" ]; then
  cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
else
  cmake "$dir" "$@" >/dev/null
fi
cmake --build "$dir" -j "$jobs" | { grep -E "warning|error" || true; }
test "${PIPESTATUS[0]}" -eq 0
