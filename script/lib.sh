# shellcheck shell=bash
# What the scripts of this folder share; they source it first.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '\n== %s\n' "$*"; }
fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# become_root MESSAGE: sets AS_ROOT to what makes a command run as root; fails with the message where
# that takes a password.
# shellcheck disable=SC2034 # it is for the scripts
become_root() {
  AS_ROOT=()
  if ((EUID != 0)); then
    sudo --non-interactive true 2>/dev/null || fail "$1"
    AS_ROOT=(sudo --non-interactive)
  fi
}

# build_directory PRESET FOLDER [cmake option...]: configures and builds FOLDER with all CPUs. Warnings
# are errors where the environment has LUMAGAUGE_WERROR=ON.
build_directory() {
  local preset=$1 folder=$2
  shift 2
  (cd "$ROOT" && cmake --preset "$preset" -B "$folder" \
    -DLUMAGAUGE_WERROR="${LUMAGAUGE_WERROR:-OFF}" "$@")
  cmake --build "$ROOT/$folder" --parallel "$(nproc)"
}

# fix_addresses: sets FIXED_ADDRESSES to what runs a command with unrandomised addresses, where the
# system lets us: the sanitizers of g++ 12 stop at start where the kernel moves mappings further than
# they reckon with.
fix_addresses() {
  FIXED_ADDRESSES=()
  if setarch --addr-no-randomize true 2>/dev/null; then
    FIXED_ADDRESSES=(setarch --addr-no-randomize)
  fi
}

# run_tests FOLDER [ctest argument...]: runs the tests built there and ends with CTest's summary. One
# that takes more than five minutes hangs.
run_tests() {
  local folder=$1
  shift
  fix_addresses
  "${FIXED_ADDRESSES[@]}" ctest --test-dir "$ROOT/$folder" --output-on-failure --no-tests=error \
    --timeout 300 --parallel "$(nproc)" "$@"
}
