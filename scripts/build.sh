#!/usr/bin/env bash
# Configures and builds one flavour of the tree.
#   scripts/build.sh <build-dir> [extra cmake arguments...]
# OSTRAVEL_TARGETS, when set, names the targets to build (default: all);
# the value "concurrency-tests" builds the *_concurrency test programs only.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
dir="$1"; shift
jobs="${OSTRAVEL_JOBS:-$(nproc)}"
# Paths below the checkout are hashed relative to the build folder, so that
# several checkouts of the tree share one compiler cache.
export CCACHE_BASEDIR="$root"
launcher=()
# ccache makes the several flavours of the test command and repeated builds cheap.
if command -v ccache >/dev/null 2>&1; then launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
if [ ! -f "$dir/build.ninja" ]; then
  cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release "${launcher[@]}" "$@" >/dev/null
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
