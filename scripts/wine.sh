# Wine for the tests of the Windows build, in a prefix of the build's own. Sourced by test.sh.

# Makes the prefix if it is missing and starts its server, which would otherwise belong to the first test.
start_wine() {
    export WINEPREFIX=$root/build/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
    say "Wine"
    mkdir -p "$WINEPREFIX"
    /usr/lib/wine/wineserver64 -p30 >/dev/null 2>&1
    /usr/lib/wine/wine64 reg add 'HKCU\Software\Wine' /v Version /d win10 /f </dev/null >/dev/null 2>&1 ||
        fail "Wine does not start; its prefix is $WINEPREFIX"
}

# Ends the server of that prefix and waits for it.
stop_wine() {
    /usr/lib/wine/wineserver64 -k >/dev/null 2>&1 || true
    /usr/lib/wine/wineserver64 -w >/dev/null 2>&1 || true
}
