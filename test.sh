#!/usr/bin/env bash
# Builds and runs all tests natively; with --sanitizers also under the sanitizers, with --all beside that as Windows
# programs under Wine. Idempotent.
# Usage: ./test.sh [--sanitizers | --all]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$root/scripts/packages.sh"
source "$root/scripts/wine.sh"
sanitizers= windows=
for option in "$@"; do
    case "$option" in
        --sanitizers) sanitizers=1 ;;
        --all) sanitizers=1 windows=1 ;;
        *) sed -n '2,4s/^# //p' "$0"; exit 2 ;;
    esac
done

cd "$root"
mkdir -p build
install_packages "${build_packages[@]}" "${test_packages[@]}"

say "Layers, format"
python3 cmake/check_layers.py || fail "an include goes where it must not"
git ls-files '*.cpp' '*.h' | xargs -r clang-format --dry-run -Werror || fail "clang-format would change these files"

counts=()
# run_tests PRESET TITLE [TARGET...]: builds everything, or those test programs alone, and runs their tests.
run_tests() {
    local preset=$1 title=$2
    shift 2
    build "$preset" "$@"
    say "Tests: $title"
    local log=$root/build/$preset-tests.log code=0
    # Programs that were not built have no tests: ctest would count them as one that is missing.
    ctest --preset "$preset" -j "$(nproc)" --no-tests=error -E '_NOT_BUILT' \
        >"$log" 2>&1 || code=$?
    if [ $code -ne 0 ]; then
        # What each failed test said, and the summary.
        awk '/\*\*\*(Failed|Exception|Timeout)/ { shown = 1; print; next }
             /^ *Start +[0-9]+:|^ *[0-9]+\/[0-9]+ Test/ { shown = 0 }
             shown' "$log" | cut -c1-300 | head -n 400 >&2
        tail -n 30 "$log" >&2
        fail "tests failed ($title); the whole log is $log"
    fi
    tail -n 4 "$log"
    counts+=("$title: $(grep -E 'tests passed' "$log" | tail -n 1)")
}

run_tests debug "native"
if [ -n "$sanitizers" ]; then
    run_tests asan "address and undefined-behaviour sanitizer"
    run_tests tsan "thread sanitizer"
fi
if [ -n "$windows" ]; then
    install_packages "${windows_packages[@]}"
    scripts/windows_libraries.sh
    trap stop_wine EXIT
    start_wine
    run_tests windows "Windows under Wine"
    stop_wine
fi

say "Counts"
printf '%s\n' "${counts[@]}"
