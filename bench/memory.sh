#!/usr/bin/env bash
# Peak memory and time of a run over many files with nothing changed. Usage: bench/memory.sh [FILES]  (1000000)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/packages.sh"
files=${1:-1000000}
cd "$root"
mkdir -p build
install_packages "${build_packages[@]}" "${bench_packages[@]}"
build release rampart >/dev/null
rampart=$root/build/release/bin/rampart
work=$(mktemp -d "${TMPDIR:-/tmp}/rampart-memory.XXXXXX")
trap 'rm -rf "$work"' EXIT
export RAMPART_HOME=$work/home
python3 "$root/bench/make_tree.py" "$work/tree" "$files" 64
"$rampart" vault init --vault "$work/vault" >/dev/null
for run in first unchanged; do
    /usr/bin/time -f "$run: %e s, %M KB at most" "$rampart" backup "$work/tree" --name t --vault "$work/vault" --quiet
done
