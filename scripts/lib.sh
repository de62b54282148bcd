# shellcheck shell=bash
# What the scripts share. Sourced, never run; leaves the caller in the project's root.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit

# Every builder and test runner below us uses all cores, unless the caller asked for less.
export CMAKE_BUILD_PARALLEL_LEVEL="${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}"
export CTEST_PARALLEL_LEVEL="${CTEST_PARALLEL_LEVEL:-$(nproc)}"

step() { echo "==> $*"; }

fail() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# Runs a talkative command in silence; shows all that it said when it fails.
quietly() {
  local log status=0
  log=$(mktemp)
  "$@" >"$log" 2>&1 </dev/null || status=$?
  [[ $status == 0 ]] || cat "$log" >&2
  rm -f "$log"
  return "$status"
}
