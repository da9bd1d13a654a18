#!/usr/bin/env bash
# A Release build of ostravel-cli with profile-guided optimisation:
#   scripts/build-pgo.sh [build-dir]        (default build-pgo)
# 1. builds with instrumentation, 2. trains it on the shipped sample
# collection (one thread, so the profile is the same on every run),
# 3. rebuilds the same folder with the profile. The training set is part of
# the repository, so the build is reproducible from a checkout.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
dir="${1:-$root/build-pgo}"
profile="$dir/pgo-profile"
"$root/scripts/install-deps.sh"
common=(-DOSTRAVEL_TESTS=OFF -DOSTRAVEL_BENCH=OFF -DOSTRAVEL_GUI=OFF "-DOSTRAVEL_PGO_DIR=$profile")

echo "== instrumented build"
rm -rf "$profile"
OSTRAVEL_TARGETS=ostravel-cli "$root/scripts/build.sh" "$dir" "${common[@]}" -DOSTRAVEL_PGO=generate
echo "== training run (sample collection)"
home="$(mktemp -d)"
trap 'rm -rf "$home"' EXIT
# A data folder of its own, and no online tablebase: the run is the same
# everywhere.
printf '[chess]\nLichessLevels=-1\n' >"$home/options.ini"
(cd "$root" && OSTRAVEL_HOME="$home" "$dir/ostravel-cli" regress data/sample_problems.cp --brief >/dev/null)
echo "== optimised build"
OSTRAVEL_TARGETS=ostravel-cli "$root/scripts/build.sh" "$dir" "${common[@]}" -DOSTRAVEL_PGO=use
echo "built $dir/ostravel-cli"
