#!/bin/sh
# Runs one Windows program under Wine without a screen, sound or a menu.
: "${WINEPREFIX:=${TMPDIR:-/tmp}/ombrel-wine}"
export WINEPREFIX WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe=d"
export LC_ALL=C.UTF-8  # file names outside ASCII need it
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$WINEPREFIX"
# Wine's loader has its heap up to 1 GiB behind itself, where chance puts it. Once in some thousand starts that is
# where Windows' shared page has to be, and the program ends with 1 before its first instruction.
without_chance=
! setarch --addr-no-randomize true 2>/dev/null || without_chance='setarch --addr-no-randomize'
# shellcheck disable=SC2086 # two words or none
$without_chance /usr/lib/wine/wine64 "$@" && exit
status=$?
# A program that does not start says nothing itself: 53 is a missing DLL, 5 an access to no memory.
echo "${0##*/}: $1 ended with $status" >&2
exit $status
