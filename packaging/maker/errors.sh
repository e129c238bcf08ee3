# Sourced by the commands in this folder and by the simulator's scripts: one-line errors, and a scratch folder that is
# removed at exit.
# shellcheck shell=bash

command_name=${0##*/}
scratch=
exec {messages}>&2
export LC_ALL=C

# fail STATUS MESSAGE: prints MESSAGE to the standard error that the command had at the start, and exits with STATUS.
fail() {
  trap - ERR
  printf '%s: %s\n' "$command_name" "${2//[[:cntrl:]]/?}" >&"$messages"
  exit "$1"
}

# make_scratch FOLDER: creates a scratch folder in FOLDER and sets `scratch`. Results are renamed from it into place.
make_scratch() {
  [[ -d $1 && -w $1 ]] || fail 1 "cannot write in $1"
  scratch=$(mktemp -d -- "$1/.scratch.XXXXXX")
}

trap '[[ -z $scratch ]] || rm -rf -- "$scratch"' EXIT
# A subshell reports no error, so that only the calling shell reports it.
trap '((BASH_SUBSHELL > 0)) || fail 1 "unexpected failure in line $LINENO"' ERR
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 141' PIPE
trap 'exit 143' TERM
