# Sourced by every script in this folder: one-line errors, a scratch folder that is removed at exit, file systems.
# shellcheck shell=bash

script_name=${0##*/}
scratch=
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin # a normal user's PATH lacks the file system tools

# fail STATUS MESSAGE
fail() {
  trap - ERR
  printf '%s: %s\n' "$script_name" "${2//[[:cntrl:]]/?}" >&2
  exit "$1"
}

# make_scratch FOLDER: creates a scratch folder in FOLDER and sets `scratch`. Results are renamed from it into place.
make_scratch() {
  [[ -d $1 && -w $1 ]] || fail 1 "cannot write in $1"
  scratch=$(mktemp -d -- "$1/.scratch.XXXXXX")
}

# make_file_system IMAGE KIB FOLDER: creates an ext4 image with the content of FOLDER. Fails when it does not fit.
make_file_system() {
  mke2fs -q -F -t ext4 -b 1024 -i 2048 -m 0 -d "$3" "$1" "$2k" </dev/null >/dev/null 2>&1
}

# read_memory IMAGE FOLDER PATH...: copies files and folders of an image into FOLDER and ignores missing ones.
# debugfs does not report errors in its exit status, and without root prints errors for successful copies, so callers
# compare the copies.
read_memory() {
  local image=$1 folder=$2 path
  shift 2
  for path in "$@"; do
    printf 'rdump "%s" "%s"\n' "$path" "$folder"
  done | debugfs -f /dev/stdin "$image" >/dev/null 2>&1 || true
}

trap '[[ -z $scratch ]] || rm -rf -- "$scratch"' EXIT
# An error in a subshell ends the subshell, and the calling shell reports the error once.
trap '((BASH_SUBSHELL > 0)) || fail 1 "unexpected failure in line $LINENO"' ERR
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 141' PIPE
trap 'exit 143' TERM
