#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
#
# completion_test.sh FILE PROGRAM: what the completion in FILE proposes, with PROGRAM to ask.
set -uo pipefail # a completion runs in shells without -e
# shellcheck source=share/completion/lumagauge-qc
. "$1"
program=$2
wrong=0

# Outside of a completion the builtin refuses; what it was asked for is shown with the words.
# shellcheck disable=SC2317 # called by it
compopt() { asked+=" $2"; }

# expect "WORDS PROPOSED" COMMAND-LINE-WORD...: the last word is the one to complete.
expect() {
  local expected=$1 got
  shift
  COMP_WORDS=(lumagauge-qc "$@")
  COMP_CWORD=$#
  asked=
  _lumagauge_qc "$program" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
  got=${COMPREPLY[*]-}$asked
  if [[ $got != "$expected" ]]; then
    echo "$*: expected \"$expected\", got \"$got\"" >&2
    wrong=1
  fi
}

expect "--profile --print-profile --progress --probe" --pr
expect "--output" --ou
expect "--no-frames --no-seek" --raw --no
expect " default" clip
expect "default broadcast default" --profile ""
expect "broadcast default" --profile = b
expect "default broadcast default" --profile =
expect "plain" --progress pl
expect "auto plain none" --progress =
expect "blockiness block_loss blur blackout block_damage" --indicators bl
expect "noise,blur" --indicators noise,blu
expect " dirnames" -o ""
expect " default" --files-from a
expect "--html --html-from" --htm
expect " default" --html ""
expect "" --size ""
expect " default" --raw ""
expect " default" -- --pr
exit $wrong
