# shellcheck shell=bash
# What the scripts of this folder share; they source it first.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '\n== %s\n' "$*"; }
fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# build_directory PRESET FOLDER [cmake option...]: configures and builds FOLDER with all CPUs.
build_directory() {
  local preset=$1 folder=$2
  shift 2
  (cd "$ROOT" && cmake --preset "$preset" -B "$folder" "$@")
  cmake --build "$ROOT/$folder" --parallel "$(nproc)"
}

# run_tests PRESET [ctest argument...]: runs the tests of a preset and ends with CTest's summary.
# The sanitizers of g++ 12 stop at start where the kernel moves mappings further than they reckon
# with, so addresses are left unrandomised where the system lets us.
run_tests() {
  local preset=$1 fixed_addresses=()
  shift
  if setarch --addr-no-randomize true 2>/dev/null; then
    fixed_addresses=(setarch --addr-no-randomize)
  fi
  (cd "$ROOT" && "${fixed_addresses[@]}" ctest --preset "$preset" --parallel "$(nproc)" "$@")
}
