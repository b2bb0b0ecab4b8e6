#!/usr/bin/env bash
# Builds Rampart and shows its main job on real files: a folder goes into a vault twice, and both states come back.
# Usage: ./quickstart.sh [FOLDER]     (a generated sample if no folder is named; the folder itself is never written to)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$root/scripts/packages.sh"
if [ $# -gt 1 ] || [ "${1:-}" = --help ] || [ "${1:-}" = -h ]; then
    sed -n '2,3s/^# //p' "$0"
    exit 2
fi
folder=${1:-}
[ -z "$folder" ] || [ -d "$folder" ] || fail "there is no folder $folder"
[ -z "$folder" ] || folder=$(cd "$folder" && pwd)

cd "$root"
mkdir -p build
install_packages "${build_packages[@]}"
build release rampart
rampart=$root/build/release/bin/rampart

work=$(mktemp -d "${TMPDIR:-/tmp}/rampart-quickstart.XXXXXX")
finished=
cleanup() {
    if [ -n "$finished" ]; then
        rm -rf "$work"
    else
        echo "What was made so far stays in $work" >&2
    fi
}
trap cleanup EXIT
export RAMPART_HOME=$work/home
source_folder=$work/source/files
mkdir -p "$work/source"

say "The files to protect"
if [ -n "$folder" ]; then
    # Links, sockets, devices and what the default filters exclude are not backed up; the copy leaves them out, so that
    # the comparison is of files.
    mkdir -p "$source_folder"
    (cd "$folder" && find . -type d \( -name lost+found -o -name .Trash -o -name '.Trash-*' -o -iname '$RECYCLE.BIN' \
        -o -iname 'System Volume Information' \) -prune -o \( -type f -o -type d \) ! -iname '*.tmp' ! -name '~$*' \
        ! -iname Thumbs.db ! -name .DS_Store ! -iname pagefile.sys ! -iname hiberfil.sys ! -iname swapfile.sys -print0 |
        tar --null --no-recursion -T - -cf -) | tar -xf - -C "$source_folder"
    chmod -R u+w "$source_folder"
    echo "A copy of $folder, without links, devices and temporary files"
else
    mkdir -p "$source_folder/letters/2026" "$source_folder/photos" "$source_folder/empty folder"
    for i in $(seq 1 200); do
        printf 'Letter %d\nDear reader,\nthis is line after line of text.\n' "$i" >"$source_folder/letters/2026/letter $i.txt"
    done
    head -c 6000000 /dev/urandom >"$source_folder/photos/holiday.raw"
    printf 'naïve café — 文書\n' >"$source_folder/naïve 文書.txt"
    printf 'odd names come back too\n' >"$source_folder/a:b\\c."
    : >"$source_folder/empty"
    echo "A generated sample"
fi
echo "$(find "$source_folder" -type f | wc -l) files, $(du -sh "$source_folder" | cut -f1)"

say "First backup, into a new vault"
"$rampart" vault init --vault "$work/vault"
"$rampart" backup "$source_folder" --name sample --vault "$work/vault"
cp -a "$source_folder" "$work/state-1"
sleep 3
moment=$(date '+%F %T')
sleep 2

say "Some files change"
changed=0 first=
while IFS= read -r -d '' file && [ $changed -lt 3 ]; do
    printf '\nA line that was added later.\n' >>"$file"
    changed=$((changed + 1))
    first=${first:-$file}
done < <(find "$source_folder" -type f -size +0 -print0 | sort -z)
[ -n "$first" ] || fail "no file has content"
printf 'A file that came later.\n' >"$source_folder/added later.txt"
echo "$changed changed, 1 added"

say "Second backup: only what changed is sent"
"$rampart" backup "$source_folder" --name sample --vault "$work/vault"

say "The versions of one changed file"
"$rampart" versions "$first" --vault "$work/vault"

say "Both states come back"
"$rampart" restore sample --into "$work/restored-2" --vault "$work/vault"
"$rampart" restore sample --into "$work/restored-1" --at "$moment" --vault "$work/vault"
diff -r "$source_folder" "$work/restored-2/files" || fail "the newest state came back different"
diff -r "$work/state-1" "$work/restored-1/files" || fail "the earlier state came back different"
echo "Compared with diff -r: both restored states equal what was backed up."

say "The vault is checked, every stored byte"
"$rampart" vault verify --read-data --vault "$work/vault"
"$rampart" vault stats --vault "$work/vault"

finished=1
cat <<TXT

== What happened
Rampart was built, a folder was backed up into a vault, some of its files were changed and it was backed up again.
The second run sent only the changes and kept the old contents as versions. Both states were restored and compared
with the originals, and the vault was verified. The sample and its vault have been removed again.

== What to type next
  export PATH=$root/build/release/bin:\$PATH
  rampart vault init --vault /path/on/another/disk     a vault of your own
  rampart backup ~/documents --vault /path/on/another/disk
  rampart --help
TXT
