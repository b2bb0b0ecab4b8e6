# Debian packages that a build needs, and their installation. Sourced by quickstart.sh and test.sh.

build_packages=(
    g++ cmake ninja-build ccache pkg-config
    libfmt-dev libspdlog-dev libpugixml-dev libutf8proc-dev libre2-dev libsqlite3-dev libzstd-dev
    libboost1.81-dev libsodium-dev libcli11-dev nlohmann-json3-dev
    libfuse3-dev fuse3
)
# xfsprogs: a file system that shares content between files.
test_packages=(libgtest-dev libgmock-dev clang-format python3 xfsprogs)
# The fuzzer's library is in libclang-rt-dev, which clang does not bring along; llvm has the symbolizer of its reports.
fuzz_packages=(clang libclang-rt-dev llvm)
windows_packages=(
    g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev wine wine64 dpkg-dev googletest make perl python3 tcl unicode-data
)
bench_packages=(libbenchmark-dev restic borgbackup rsync time)

say() {
    printf '\n== %s\n' "$*"
}

fail() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# install_packages NAME...: installs those that are missing; needs root or sudo only when something is.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return
    fi
    say "Installing ${missing[*]}"
    local run=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "these packages are missing and there is no sudo: ${missing[*]}"
        run=(sudo)
    fi
    "${run[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq || fail "apt-get update failed"
    "${run[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" \
        >/dev/null || fail "these packages could not be installed: ${missing[*]}"
}

# Where scripts/windows_libraries.sh puts its libraries.
windows_libraries_folder() {
    printf '%s\n' "${RAMPART_WINDOWS_LIBS:-${XDG_CACHE_HOME:-$HOME/.cache}/rampart/windows}"
}

# build PRESET [TARGET...]
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    cmake --preset "$preset" >"$root/build/$preset-configure.log" 2>&1 ||
        { tail -n 20 "$root/build/$preset-configure.log" >&2; fail "the configuration of $preset failed"; }
    ninja -C "$root/build/$preset" "$@" || fail "the build of $preset failed"
}
