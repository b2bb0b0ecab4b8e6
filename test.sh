#!/usr/bin/env bash
# Builds and runs all tests natively. With --all also under the sanitizers. Idempotent; leaves build/ behind.
# Usage: ./test.sh [--all]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$root/scripts/packages.sh"
all=
case "${1:-}" in
    "") ;;
    --all) all=1 ;;
    *) sed -n '2,3s/^# //p' "$0"; exit 2 ;;
esac

cd "$root"
mkdir -p build
install_packages "${build_packages[@]}" "${test_packages[@]}"

say "Layers, format"
python3 cmake/check_layers.py || fail "an include goes where it must not"
git ls-files '*.cpp' '*.h' | xargs -r clang-format --dry-run -Werror || fail "clang-format would change these files"

counts=()
# run_tests PRESET TITLE
run_tests() {
    build "$1"
    say "Tests: $2"
    local log=$root/build/$1-tests.log code=0
    ctest --test-dir "$root/build/$1" -j "$(nproc)" --output-on-failure --no-tests=error >"$log" 2>&1 || code=$?
    if [ $code -ne 0 ]; then
        sed -n '/\*\*\*Failed\|\*\*\*Exception\|\*\*\*Timeout/,$p' "$log" | tail -n 200 >&2
        tail -n 30 "$log" >&2
        fail "tests failed ($2)"
    fi
    tail -n 4 "$log"
    counts+=("$2: $(grep -E 'tests passed' "$log" | tail -n 1)")
}

run_tests debug "native"
if [ -n "$all" ]; then
    export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 UBSAN_OPTIONS=print_stacktrace=1
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
    run_tests asan "address and undefined-behaviour sanitizer"
    run_tests tsan "thread sanitizer"
fi

say "Counts"
printf '%s\n' "${counts[@]}"
