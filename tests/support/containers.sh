# Sourced by script tests: creates and damages firmware containers, with the keys in $work/keys.
# shellcheck shell=bash disable=SC2154 # the sourcing script sets work

# seal ARCHIVE OUT [VERSION]: compresses, encrypts and signs an archive. Implements the format independently of the
# command that packs firmware. VERSION: the version in the manifest; default: the contents of ./version.txt.
seal() {
  zstd -qc "$1" | openssl enc -aes-256-cbc -md sha256 -pbkdf2 -iter 10000 -pass "file:$work/keys/firmware.key" >payload
  seal_payload "$2" "${3-$(cat version.txt)}"
}

# seal_payload OUT VERSION: writes a container with ./payload as its only chunk.
seal_payload() {
  local size
  size=$(stat -c %s payload)
  printf 'version %s\nunpacked 1000000\npayload %s\nchunk 5000000\n%s\n' \
    "$2" "$size" "$(sha256sum <payload | cut -c 1-64)" >manifest
  seal_manifest "$1"
}

# seal_manifest OUT: writes a container from ./manifest, which it signs, and ./payload.
seal_manifest() {
  printf 'tonecrate-fw-02\n%08d\n' "$(stat -c %s manifest)" | cat - manifest >signed
  sign signed sealed "$work/keys"
  cat sealed payload >"$1"
}

# archive_parts: creates ./version.txt and ./firmware/a.txt, the minimum content of a valid archive.
archive_parts() {
  rm -rf version.txt firmware
  echo 9.9 >version.txt
  mkdir firmware
  echo a >firmware/a.txt
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
