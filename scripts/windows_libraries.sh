#!/usr/bin/env bash
# Builds the libraries of the Windows build from Debian's source packages into a folder outside the tree:
# $RAMPART_WINDOWS_LIBS, or rampart/windows in the user's cache folder. A second call finds them there and does nothing.
# Prints the folder as its last line.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/packages.sh"

sources=(sqlite3 libzstd libsodium pugixml re2 spdlog utf8proc)
target=$(windows_libraries_folder)
recipe=$root/cmake/windows_libraries/CMakeLists.txt
# What the result depends on: a change of any of it builds anew.
wanted=$(
    cat "$0" "$recipe" "$root/cmake/mingw-w64.cmake"
    dpkg-query -W g++-mingw-w64-x86-64-posix googletest libfmt-dev libboost1.81-dev libcli11-dev nlohmann-json3-dev
)
if [ "$(cat "$target/stamp" 2>/dev/null)" = "$wanted" ]; then
    printf '%s\n' "$target"
    exit
fi

say "Libraries for Windows" >&2
# One folder for every build, so that the compiler's cache knows the files again; one build at a time.
work=$target.building
mkdir -p "$(dirname "$target")"
exec 9>"$work.lock"
flock 9
rm -rf "$work"
mkdir "$work"
trap 'rm -rf "$work"' EXIT

# apt-get on lists of its own: the machine's are neither read nor changed.
own_apt() {
    apt-get -qq -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$work/apt/parts" \
        -o Dir::State::lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache" -o APT::Sandbox::User=root "$@"
}

fetch_sources() {
    local list package file
    mkdir -p "$work"/apt/{parts,lists/partial,cache/archives/partial} "$work/sources"
    for list in /etc/apt/sources.list.d/*.sources; do
        if [ -e "$list" ]; then
            sed 's/^Types:.*/Types: deb-src/' "$list" >"$work/apt/parts/${list##*/}"
        fi
    done
    for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        if [ -e "$list" ]; then
            sed -n 's/^deb /deb-src /p' "$list" >"$work/apt/parts/$(basename "$list" .list).list"
        fi
    done
    own_apt update
    (cd "$work/sources" && own_apt source --download-only "${sources[@]}")
    for package in "${sources[@]}"; do
        file=("$work/sources/${package}"_*.dsc)
        [ -e "${file[0]}" ] || fail "no source package of $package was found"
        dpkg-source -x --no-check "${file[0]}" "$work/sources/$package" >/dev/null
    done
    cp -r /usr/src/googletest "$work/sources/googletest"
}

# The files that the packages leave to be generated.
generate() {
    # sqlite3 takes all of its sources as one file.
    (cd "$work/sources/sqlite3" && ./configure --disable-shared --disable-tcl && make -s sqlite3.c)
    (
        cd "$work/sources/re2/re2"
        perl make_perl_groups.pl >perl_groups.cc
        python3 make_unicode_casefold.py >unicode_casefold.cc
        python3 make_unicode_groups.py >unicode_groups.cc
    )
    printf '%s\n' '#ifndef SPDLOG_COMPILED_LIB' '#define SPDLOG_COMPILED_LIB' '#endif' \
        >>"$work/sources/spdlog/include/spdlog/tweakme.h"
    cp "$work/sources/libsodium/builds/msvc/version.h" "$work/sources/libsodium/src/libsodium/include/sodium/version.h"
}

# step TITLE COMMAND...: what the command says is shown only when it fails. Its first failure ends it, so it must not
# stand in a condition.
step() {
    local code
    printf '%s\n' "$1" >&2
    shift
    set +e
    (set -e; "$@") >"$work/log" 2>&1
    code=$?
    set -e
    if [ $code -ne 0 ]; then
        tail -n 40 "$work/log" >&2
        fail "it failed: $*"
    fi
}

step "sources of ${sources[*]}" fetch_sources
step "generated files" generate
# The files of pkg-config name the folder where the libraries will lie.
step "configuration" cmake -G Ninja -S "$root/cmake/windows_libraries" -B "$work/build" \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$target" -DRAMPART_SOURCES="$work/sources"
step "build" ninja -C "$work/build"
rm -rf "$target"
step "installation" ninja -C "$work/build" install
printf '%s\n' "$wanted" >"$target/stamp"
printf '%s\n' "$target"
