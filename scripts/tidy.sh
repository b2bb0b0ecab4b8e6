#!/usr/bin/env bash
# Runs clang-tidy over the sources of the product; fails on a finding.
# Usage: scripts/tidy.sh [PATH-PATTERN]   (all of src/ and hosts/)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/packages.sh"
pattern=${1:-(src|hosts)/}
cd "$root"
mkdir -p build
install_packages "${build_packages[@]}" clang-tidy
# Without precompiled headers, which clang could not read.
cmake --preset debug -B build/tidy -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DRAMPART_TESTS=OFF \
    >build/tidy-configure.log 2>&1 || fail "the configuration failed; see build/tidy-configure.log"
sed -i 's/ -fpch-preprocess//g' build/tidy/compile_commands.json
run-clang-tidy -quiet -p build/tidy -j "$(nproc)" "^$root/$pattern" >build/tidy.log 2>&1 && code=0 || code=$?
grep -E '(error|warning|note):|^ ' build/tidy.log || true
[ "$code" -eq 0 ] || fail "clang-tidy has findings; the whole log is build/tidy.log"
