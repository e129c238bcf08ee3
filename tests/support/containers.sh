# Sourced by the tests of scripts: firmware containers made by hand, with the keys in $work/keys, and damaged ones.
# shellcheck shell=bash disable=SC2154 # $work is of the test that sources this

# seal ARCHIVE OUT: what packing does after the archive is made, written out once more from the format.
seal() {
  {
    printf 'tonecrate-fw-01\n'
    gzip -c "$1" | openssl enc -aes-256-cbc -md sha256 -pbkdf2 -iter 10000 -pass "file:$work/keys/firmware.key"
  } >sealed
  sign sealed "$2" "$work/keys"
}

# sign FILE OUT KEYS
sign() {
  openssl pkeyutl -sign -rawin -inkey "$3/signing.key" -in "$1" -out signature
  cat "$1" signature >"$2"
}

# flip FILE OFFSET: inverts one byte; a negative offset counts from the end.
flip() {
  local offset=$2 byte
  ((offset >= 0)) || offset=$(($(stat -c %s "$1") + offset))
  byte=$(od -An -tu1 -j "$offset" -N 1 "$1")
  # shellcheck disable=SC2059 # the format is the byte to write
  printf "\\x$(printf %02x $((byte ^ 255)))" | dd of="$1" bs=1 seek="$offset" conv=notrunc status=none
}
