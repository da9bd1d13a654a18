#!/usr/bin/env bash
# The main job: install what is missing, build in Release and solve the
# shipped sample collection with the command-line program.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" "$root/build" -DOSTRAVEL_TESTS=OFF -DOSTRAVEL_BENCH=OFF
cd "$root"
exec ./build/ostravel-cli regress data/sample_problems.cp --brief
