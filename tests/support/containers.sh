# Sourced by script tests: creates and damages firmware containers, with the keys in $work/keys.
# shellcheck shell=bash disable=SC2154 # the sourcing script sets work

# seal ARCHIVE OUT: compresses, encrypts and signs an archive. Implements the format independently of tonecrate-pack-firmware.
seal() {
  {
    printf 'tonecrate-fw-01\n'
    gzip -c "$1" | openssl enc -aes-256-cbc -md sha256 -pbkdf2 -iter 10000 -pass "file:$work/keys/firmware.key"
  } >sealed
  sign sealed "$2" "$work/keys"
}

# sign FILE OUT KEYS: writes FILE and its signature to OUT. KEYS: the folder that contains signing.key.
sign() {
  openssl pkeyutl -sign -rawin -inkey "$3/signing.key" -in "$1" -out signature
  cat "$1" signature >"$2"
}

# flip FILE OFFSET: inverts one byte. A negative offset counts from the end of the file.
flip() {
  local offset=$2 byte
  ((offset >= 0)) || offset=$(($(stat -c %s "$1") + offset))
  byte=$(od -An -tu1 -j "$offset" -N 1 "$1")
  # shellcheck disable=SC2059 # the format is the byte to write
  printf "\\x$(printf %02x $((byte ^ 255)))" | dd of="$1" bs=1 seek="$offset" conv=notrunc status=none
}
