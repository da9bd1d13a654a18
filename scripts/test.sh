#!/usr/bin/env bash
# The whole test suite: install what is missing, then
#   1. Release build: unit tests, and the long tests in reduced form;
#   2. AddressSanitizer + UBSan build (clang): unit tests, and from the same
#      build each libFuzzer target for a short time;
#   3. ThreadSanitizer build: the concurrency tests.
# OSTRAVEL_FUZZ_SECONDS (default 5) sets the fuzzing time per target.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
"$root/scripts/install-deps.sh"
export OSTRAVEL_JOBS="${OSTRAVEL_JOBS:-$(nproc)}"
ctest_args=(--output-on-failure -j "$OSTRAVEL_JOBS" --timeout 900)

echo "== Format check (clang-format, the project's .clang-format)"
git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run -Werror

echo "== Release build"
scripts/build.sh build -DOSTRAVEL_TESTS=ON -DOSTRAVEL_BENCH=ON
ctest --test-dir build -L "unit|concurrency" "${ctest_args[@]}"
# The distributed solver's runs, where Open MPI is installed (one at a time:
# their ranks take every core).
if command -v mpirun >/dev/null 2>&1; then
  echo "== MPI runs"
  ctest --test-dir build -L mpi --output-on-failure --timeout 300
fi
echo "== Long tests (reduced)"
OSTRAVEL_PERFT_BUDGET=2000000 OSTRAVEL_LONG_REDUCED=1 ctest --test-dir build -L long "${ctest_args[@]}"

echo "== AddressSanitizer + UBSan build (clang; also the libFuzzer targets)"
CC=clang CXX=clang++ scripts/build.sh build-clang-asan -DOSTRAVEL_TESTS=ON -DOSTRAVEL_BENCH=OFF -DOSTRAVEL_FUZZ=ON \
  -DOSTRAVEL_SANITIZE=address,undefined -DOSTRAVEL_GUI=OFF
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-clang-asan -L unit "${ctest_args[@]}"

echo "== ThreadSanitizer build"
OSTRAVEL_TARGETS=concurrency-tests scripts/build.sh build-tsan -DOSTRAVEL_TESTS=ON -DOSTRAVEL_BENCH=OFF \
  -DOSTRAVEL_SANITIZE=thread -DOSTRAVEL_GUI=OFF
TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build-tsan -L concurrency "${ctest_args[@]}"

echo "== libFuzzer targets"
secs="${OSTRAVEL_FUZZ_SECONDS:-5}"
for f in build-clang-asan/tests/fuzz/fuzz_*; do
  [ -x "$f" ] || continue
  name="$(basename "$f")"
  corpus="build-clang-asan/corpus-$name"
  mkdir -p "$corpus"
  seeds="tests/fuzz/seeds/${name#fuzz_}"
  [ -d "$seeds" ] && cp -n "$seeds"/* "$corpus"/ 2>/dev/null || true
  echo "fuzzing $name for ${secs}s"
  "$f" -max_total_time="$secs" -rss_limit_mb=2048 -timeout=10 "$corpus" >"build-clang-asan/$name.log" 2>&1 ||
    { tail -40 "build-clang-asan/$name.log"; exit 1; }
done
echo "All test stages passed."
