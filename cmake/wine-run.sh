#!/bin/sh
# Runs one Windows program under Wine without a screen, sound or a menu.
: "${WINEPREFIX:=${TMPDIR:-/tmp}/ombrel-wine}"
export WINEPREFIX WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe=d"
export LC_ALL=C.UTF-8  # file names outside ASCII need it
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$WINEPREFIX"
/usr/lib/wine/wine64 "$@" && exit
status=$?
# A program that does not start says nothing itself: 53 is a missing DLL, 5 an access to no memory.
echo "${0##*/}: $1 ended with $status" >&2
exit $status
