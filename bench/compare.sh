#!/usr/bin/env bash
# Sets a first backup and a run without changes beside restic, BorgBackup and rsync, on one generated tree in one run.
# Usage: bench/compare.sh [FILES]      (100000 by default)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/packages.sh"
files=${1:-100000}
cd "$root"
mkdir -p build
install_packages "${build_packages[@]}" "${bench_packages[@]}"
build release rampart >/dev/null
rampart=$root/build/release/bin/rampart

work=$(mktemp -d "${TMPDIR:-/tmp}/rampart-compare.XXXXXX")
trap 'rm -rf "$work"' EXIT
tree=$work/tree
export RAMPART_HOME=$work/home
export RESTIC_PASSWORD=bench RESTIC_CACHE_DIR=$work/restic-cache
export BORG_UNKNOWN_UNENCRYPTED_REPO_ACCESS_IS_OK=yes BORG_BASE_DIR=$work/borg-home

echo "Generating $files files ..."
python3 "$root/bench/make_tree.py" "$tree" "$files"
echo "$(find "$tree" -type f | wc -l) files, $(du -sm --apparent-size "$tree" | cut -f1) MB"

# measure NAME COMMAND...: seconds and peak memory of one command, with the page cache warm.
results=$work/results
measure() {
    local name=$1
    shift
    sync
    /usr/bin/time -f "%e %M" -o "$work/time" "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "$name failed"; }
    read -r seconds kilobytes < <(tail -n 1 "$work/time")
    echo "$name $seconds $((kilobytes / 1024))" >>"$results"
    printf '%-28s %8.2f s  %6d MB\n' "$name" "$seconds" "$((kilobytes / 1024))"
}

cat $(find "$tree" -type f | head -n 20000) >/dev/null
"$rampart" vault init --vault "$work/vault" >/dev/null
restic init -q -r "$work/restic" >/dev/null
borg init -e none "$work/borg"
mkdir "$work/rsync"

measure rampart-first "$rampart" backup "$tree" --name t --vault "$work/vault" --quiet
measure restic-first restic -q -r "$work/restic" backup "$tree"
measure borg-first borg create --compression zstd,1 "$work/borg::one" "$tree"
measure rsync-first rsync -a "$tree/" "$work/rsync/"
for round in 1 2 3; do
    measure "rampart-unchanged-$round" "$rampart" backup "$tree" --name t --vault "$work/vault" --quiet
    measure "restic-unchanged-$round" restic -q -r "$work/restic" backup "$tree"
    measure "borg-unchanged-$round" borg create --compression zstd,1 "$work/borg::again$round" "$tree"
    measure "rsync-unchanged-$round" rsync -a "$tree/" "$work/rsync/"
done

python3 - "$results" "$files" <<'PY'
import sys
rows = {name: float(seconds) for name, seconds, _ in (line.split() for line in open(sys.argv[1]))}
files = int(sys.argv[2])
best = lambda tool: min(rows[f"{tool}-unchanged-{i}"] for i in (1, 2, 3))
print()
print(f"{'':10} {'first':>8} {'ratio':>6} {'unchanged':>10} {'ratio':>6}   (ratio: rampart's time to this one's)")
for tool in ("rampart", "restic", "borg", "rsync"):
    print(f"{tool:10} {rows[tool + '-first']:8.2f} {rows['rampart-first'] / rows[tool + '-first']:6.2f}"
          f" {best(tool):10.2f} {best('rampart') / best(tool):6.2f}")
print(f"rampart: first backup {files / rows['rampart-first']:.0f} files/s, unchanged {files / best('rampart'):.0f} files/s")
PY
echo "vault  $(du -sm "$work/vault" | cut -f1) MB, restic $(du -sm "$work/restic" | cut -f1) MB, borg $(du -sm "$work/borg" | cut -f1) MB"
