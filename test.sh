#!/usr/bin/env bash
# Builds and runs all tests natively; with --sanitizers also under the sanitizers, with --all beside that the fuzz targets
# and everything as Windows programs under Wine. --fuzz runs the fuzz targets alone, each for FUZZ_SECONDS (60). Idempotent.
# Usage: ./test.sh [--sanitizers | --all | --fuzz]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$root/scripts/packages.sh"
source "$root/scripts/wine.sh"
native=1 sanitizers= fuzz= windows=
for option in "$@"; do
    case "$option" in
        --sanitizers) sanitizers=1 ;;
        --all) sanitizers=1 fuzz=1 windows=1 ;;
        --fuzz) native= fuzz=1 ;;
        *) sed -n '2,4s/^# //p' "$0"; exit 2 ;;
    esac
done

cd "$root"
mkdir -p build
install_packages "${build_packages[@]}" "${test_packages[@]}"

say "Layers, keys, format"
python3 cmake/check_layers.py || fail "an include goes where it must not"
python3 cmake/check_keys.py || fail "code and shipped files disagree about a key"
git ls-files '*.cpp' '*.h' | xargs -r clang-format --dry-run -Werror || fail "clang-format would change these files"

counts=()
print_counts() {
    say "Counts"
    printf '%s\n' "${counts[@]}"
}

# count_tests PRESET TITLE LOG: how many tests of a run passed, failed and were skipped, which those are and why. To ctest a
# test that skips itself has passed.
count_tests() {
    local preset=$1 title=$2 log=$3 total failed skipped
    read -r failed total < <(sed -nE 's/^[0-9]+% tests passed, ([0-9]+) tests? failed out of ([0-9]+)$/\1 \2/p' "$log" |
        tail -n 1) || true
    skipped=$(grep -cE '^ *[0-9]+/[0-9]+ Test .*\*\*\*Skipped' "$log" || true)
    if [ "$skipped" -gt 0 ]; then
        printf 'skipped (%s):\n' "$title"
        tr -d '\r' <"$root/build/$preset/Testing/Temporary/LastTest.log" |
            awk '/^[0-9]+\/[0-9]+ Test: / { name = $NF }
                 /: Skipped$/ { getline reason; printf "  %s: %s\n", name, reason }'
    fi
    counts+=("$title: $((${total:-0} - ${failed:-0} - skipped)) passed, ${failed:-0} failed, $skipped skipped")
}

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
    count_tests "$preset" "$title" "$log"
    if [ $code -ne 0 ]; then
        # What each failed test said, and the summary.
        awk '/\*\*\*(Failed|Exception|Timeout)/ { shown = 1; print; next }
             /^ *Start +[0-9]+:|^ *[0-9]+\/[0-9]+ Test/ { shown = 0 }
             shown' "$log" | cut -c1-300 | head -n 400 >&2
        tail -n 30 "$log" >&2
        print_counts >&2
        fail "tests failed ($title); the whole log is $log"
    fi
    tail -n 4 "$log"
}

# One target for FUZZ_SECONDS, over a corpus that grows from run to run beside the checked-in one.
fuzz_target() {
    local target=$1 folder=$root/build/fuzz/runs/$1
    mkdir -p "$folder/corpus" "$folder/home"
    RAMPART_HOME=$folder/home "$root/build/fuzz/bin/fuzz_$target" -max_total_time="${FUZZ_SECONDS:-60}" \
        -timeout=20 -print_final_stats=1 -artifact_prefix="$folder/" "$folder/corpus" "$root/tests/fuzz/corpus/$target" \
        >"$folder/log" 2>&1
}

run_fuzz() {
    local code=0 target inputs=0 targets=()
    for target in tests/fuzz/corpus/*/; do
        targets+=("$(basename "$target")")
    done
    build fuzz fuzz_targets
    say "Fuzzing: ${targets[*]}"
    export root
    export -f fuzz_target
    printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'fuzz_target {} || { echo {} fails; exit 1; }' ||
        code=$?
    for target in "${targets[@]}"; do
        local log=$root/build/fuzz/runs/$target/log
        # A log ends with its statistics, and a finding's with the input's place before them.
        if ! grep -q '^Done ' "$log"; then
            grep -aE -A 30 'ERROR|runtime error|broken property' "$log" | head -n 60 >&2
            printf 'input: %s\n' "$(grep -aoE 'Test unit written to .*' "$log" | sed 's/.* to //')" >&2
        fi
        inputs=$((inputs + $(awk '/number_of_executed_units/ { n = $2 } END { print n + 0 }' "$log")))
    done
    [ $code -eq 0 ] || fail "the fuzzer found a fault; the inputs and logs lie in $root/build/fuzz/runs"
    counts+=("fuzzing: ${#targets[@]} targets, $inputs inputs, no finding")
}

if [ -n "$native" ]; then
    run_tests debug "native"
fi
if [ -n "$sanitizers" ]; then
    run_tests asan "address and undefined-behaviour sanitizer"
    run_tests tsan "thread sanitizer"
fi
if [ -n "$fuzz" ]; then
    install_packages "${fuzz_packages[@]}"
    run_fuzz
fi
if [ -n "$windows" ]; then
    install_packages "${windows_packages[@]}"
    scripts/windows_libraries.sh
    trap stop_wine EXIT
    start_wine
    run_tests windows "Windows under Wine"
    stop_wine
fi

print_counts
