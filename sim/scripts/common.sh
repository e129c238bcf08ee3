# Sourced by every script of this folder: one-line errors, a scratch folder that never stays behind, formats.
# shellcheck shell=bash

script_name=${0##*/}
scratch=
unexpected_status=1 # exit status of a failure that the script did not foresee
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin # an ordinary user's PATH lacks the file system tools

# fail STATUS MESSAGE
fail() {
  trap - ERR
  printf '%s: %s\n' "$script_name" "${2//[[:cntrl:]]/?}" >&2
  exit "$1"
}

# show TEXT: one progress line, at most 40 characters, the width of the display.
# STEP_SECONDS (seconds, default 0) holds each line long enough for a person to read it.
show() {
  printf 'SHOW: %s\n' "$1"
  [[ ${STEP_SECONDS:-0} == 0 ]] || sleep "$STEP_SECONDS"
}

# make_scratch FOLDER: sets `scratch` to a new folder inside it, so that a finished result moves in place at once.
make_scratch() {
  [[ -d $1 && -w $1 ]] || fail "$unexpected_status" "cannot write in $1"
  scratch=$(mktemp -d -- "$1/.scratch.XXXXXX")
}

# Device paths are relative from here on, which keeps odd characters of the root away from the tools.
enter_device() {
  [[ -n ${DEVICE_ROOT:-} ]] || fail "$unexpected_status" "DEVICE_ROOT is not set"
  CDPATH='' cd -- "$DEVICE_ROOT" 2>/dev/null || fail "$unexpected_status" "no device at $DEVICE_ROOT"
}

# A firmware container: these 16 bytes, the encrypted archive, then a 64 byte Ed25519 signature of all before it.
print_container_magic() {
  printf 'tonecrate-fw-01\n'
}

# run_cipher KEY_FILE [-d]: encrypts, or decrypts, standard input.
run_cipher() {
  local key=$1
  shift
  openssl enc -aes-256-cbc -md sha256 -pbkdf2 -iter 10000 -pass "file:$key" "$@"
}

# One word that fits the display.
is_version() {
  [[ $1 =~ ^[A-Za-z0-9][A-Za-z0-9.+-]{0,31}$ ]]
}

# A relative path that needs no quoting on its way into the internal memory and does not lead out of its folder.
is_plain_path() {
  [[ $1 =~ ^[A-Za-z0-9._+\ -]+(/[A-Za-z0-9._+\ -]+)*/?$ && /$1/ != */../* ]]
}

# make_file_system IMAGE KIB FOLDER: a new ext4 image holding what is in FOLDER; fails when that does not fit.
make_file_system() {
  mke2fs -q -F -t ext4 -b 1024 -i 2048 -m 0 -d "$3" "$1" "$2k" </dev/null >/dev/null 2>&1
}

# read_memory IMAGE FOLDER PATH...: copies trees of an image into FOLDER; what the image lacks is left out.
# The tool hides its errors, and complains about owners without root, so callers compare what they get.
read_memory() {
  local image=$1 folder=$2 path
  shift 2
  for path in "$@"; do
    printf 'rdump "%s" "%s"\n' "$path" "$folder"
  done | debugfs -f /dev/stdin "$image" >/dev/null 2>&1 || true
}

trap '[[ -z $scratch ]] || rm -rf -- "$scratch"' EXIT
# In a subshell the error ends just that; the script around it then says so, once.
trap '((BASH_SUBSHELL > 0)) || fail "$unexpected_status" "unexpected failure in line $LINENO"' ERR
# A caller that looks at the exit code alone takes a death by signal for success.
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 141' PIPE
trap 'exit 143' TERM
