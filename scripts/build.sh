#!/usr/bin/env bash
# Configures and builds one flavour of the tree.
#   scripts/build.sh <build-dir> [extra cmake arguments...]
# OSTRAVEL_TARGETS, when set, names the targets to build (default: all);
# the value "concurrency-tests" builds the *_concurrency test programs only.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
dir="$1"; shift
jobs="${OSTRAVEL_JOBS:-$(nproc)}"
if [ ! -f "$dir/build.ninja" ]; then
  cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
else
  cmake "$dir" "$@" >/dev/null
fi
targets=()
if [ "${OSTRAVEL_TARGETS:-}" = "concurrency-tests" ]; then
  mapfile -t targets < <(ninja -C "$dir" -t targets all | sed -n 's/^\(test_[a-z0-9_]*_concurrency\): phony$/\1/p')
elif [ -n "${OSTRAVEL_TARGETS:-}" ]; then
  read -r -a targets <<<"$OSTRAVEL_TARGETS"
fi
target_args=()
for t in "${targets[@]}"; do target_args+=(--target "$t"); done
cmake --build "$dir" -j "$jobs" "${target_args[@]}" | { grep -E "warning|error" || true; }
test "${PIPESTATUS[0]}" -eq 0
