# Sourced by decrypt.sh and by the manufacturer's commands: reads a firmware file.
# Installed in /usr/lib/tonecrate and in /usr/share/tonecrate-maker. Compatible with BusyBox ash, dash and bash.
#
# A firmware file consists of
#   "tonecrate-fw-02" and a line feed
#   the size of the manifest in bytes: 8 decimal digits and a line feed
#   the manifest: lines with a name and a value (version, unpacked, payload, chunk), then the SHA-256 of each
#   chunk, one per line
#   the Ed25519 signature of everything before it, 64 bytes
#   the payload: an archive of version.txt and the folder firmware, compressed by zstd and encrypted
# The payload is read in chunks. A chunk is decrypted only after its checksum has been compared, so no unsigned data is
# decrypted or unpacked, although the file is read only once.
#
# A script that reads a firmware file sets `scratch` to a folder, and defines three functions that end the script:
# `corrupt REASON`, `unreadable` (a read error) and `out_of_memory` ($scratch is full). check_signature also needs
# `signing_key`, and unpack_payload needs `firmware_key`.
# After a failed copy, the free space in $scratch shows whether $scratch is full or the read failed.
# shellcheck shell=sh disable=SC2034,SC2154 # the sourcing scripts use and set some of the names

readonly header_size=25 signature_size=64 largest_manifest=1048576 largest_chunk=67108864

# take COUNT FILE: copies the next COUNT bytes of descriptor 4 to FILE.
take() {
  dd bs=65536 count="$1" iflag=count_bytes <&4 >"$2" 2>/dev/null
}

copying_failed() {
  is_full && out_of_memory
  unreadable
}

is_full() {
  [ "$(available_kib "$scratch")" -lt 64 ]
}

# is_number TEXT LARGEST
is_number() {
  case $1 in
  '' | *[!0-9]* | 0*) return 1 ;;
  esac
  [ "${#1}" -le 18 ] && [ "$1" -le "$2" ]
}

# is_version TEXT: a version is one word of at most 32 characters, so that it fits the display.
is_version() {
  case $1 in
  '' | [!A-Za-z0-9]* | *[!A-Za-z0-9.+-]*) return 1 ;;
  esac
  [ "${#1}" -le 32 ]
}

# open_container FILE: opens the file as descriptor 4, and reads and checks everything before the payload. Sets
# `version`, `unpacked_size`, `payload_size` and `chunk_size`.
open_container() {
  command exec 4<"$1" || unreadable
  container_size=$(stat -L -c %s "$1") || unreadable
  [ "$container_size" -gt $((header_size + signature_size)) ] || corrupt "not a firmware file"
  take "$header_size" "$scratch/signed" || copying_failed
  read_manifest
  check_signature
  parse_manifest
  [ "$container_size" -eq $((header_size + manifest_size + signature_size + payload_size)) ] || corrupt "wrong size"
}

read_manifest() {
  { read -r format && read -r manifest_size; } <"$scratch/signed" || corrupt "not a firmware file"
  [ "$format" = "tonecrate-fw-02" ] || corrupt "not a firmware file"
  manifest_size=$(printf '%s\n' "$manifest_size" | sed 's/^0*//')
  is_number "$manifest_size" "$largest_manifest" || corrupt "invalid size of the manifest"
  [ "$container_size" -gt $((header_size + manifest_size + signature_size)) ] || corrupt "incomplete"
  { take "$manifest_size" "$scratch/manifest" && take "$signature_size" "$scratch/signature"; } || copying_failed
  cat "$scratch/manifest" >>"$scratch/signed" || out_of_memory
}

check_signature() {
  openssl pkeyutl -verify -pubin -inkey "$signing_key" -rawin -in "$scratch/signed" \
    -sigfile "$scratch/signature" >/dev/null || corrupt "the signature does not match $signing_key"
}

parse_manifest() {
  {
    read -r name_of_version version
    read -r name_of_unpacked unpacked_size
    read -r name_of_payload payload_size
    read -r name_of_chunk chunk_size
    cat >"$scratch/checksums"
  } <"$scratch/manifest"
  [ "$name_of_version $name_of_unpacked $name_of_payload $name_of_chunk" = "version unpacked payload chunk" ] ||
    corrupt "invalid manifest"
  is_version "$version" || corrupt "invalid version"
  { is_number "$unpacked_size" 999999999999 && is_number "$payload_size" 999999999999 &&
    is_number "$chunk_size" "$largest_chunk"; } || corrupt "invalid size in the manifest"
  [ "$(wc -l <"$scratch/checksums")" -eq $(((payload_size + chunk_size - 1) / chunk_size)) ] ||
    corrupt "wrong number of checksums"
}

# Called for each verified chunk with its number, counted from 1. The sourcing script may redefine it to show progress.
after_chunk() {
  :
}

# Prints the payload, chunk by chunk, each after its checksum has been compared. Reads and compares the next chunk while
# the previous one is being unpacked.
print_payload() {
  left=$payload_size
  number=0
  printing=
  while read -r checksum; do
    size=$chunk_size
    [ "$left" -ge "$size" ] || size=$left
    chunk=$scratch/chunk$((number % 2))
    take "$size" "$chunk" || { note unreadable; return; }
    actual=$(openssl dgst -sha256 -r <"$chunk")
    [ "${actual%% *}" = "$checksum" ] || return
    await_printing || return
    cat "$chunk" &
    printing=$!
    left=$((left - size))
    number=$((number + 1))
    after_chunk "$number" >&3
  done <"$scratch/checksums"
  await_printing && note complete
}

await_printing() {
  [ -z "$printing" ] || wait "$printing"
}

# note TEXT: reports the result of a pipeline stage on descriptor 5. The stages run in separate processes, and /tmp
# may be too full for a file.
note() {
  printf '%s\n' "$1" >&5
}

# unpack_payload FOLDER: decrypts and unpacks the payload into the new folder FOLDER. Does not trust the archive: its
# content is checked afterwards, and tar writes only below FOLDER.
unpack_payload() {
  mkdir "$1" || out_of_memory
  exec 3>&1
  results=$({
    print_payload | {
      openssl enc -d -bufsize 1048576 -aes-256-cbc -md sha256 -pbkdf2 -iter 10000 -pass "file:$firmware_key" &&
        note decrypted
    } | {
      zstd -dcq && note expanded
    } | {
      complaints=$(umask 022 && tar --no-same-permissions -xomf - -C "$1" 2>&1) && note unpacked
      cat >/dev/null # waits for the other stages: tar may end before they have noted their results
      [ -z "$complaints" ] || note "$complaints"
    }
  } 5>&1)
  ! has_result unreadable || copying_failed
  for result in complete decrypted expanded unpacked; do
    has_result "$result" || unpacking_failed "$result"
  done
  rm -f "$scratch/chunk0" "$scratch/chunk1"
  complaint=$(printf '%s\n' "$results" | grep -m 1 -v -x -e complete -e decrypted -e expanded -e unpacked)
  [ -z "$complaint" ] || corrupt "not a plain archive: $complaint"
  check_content "$1"
}

# has_result RESULT
has_result() {
  # grep -q could end while printf is still writing, and the pipeline would fail under `pipefail`.
  # shellcheck disable=SC2143
  [ -n "$(printf '%s\n' "$results" | grep -x "$1")" ]
}

# unpacking_failed RESULT: ends the script because RESULT is missing. Does not report a full $scratch as a corrupt file.
unpacking_failed() {
  case $results in
  *"No space left"* | *"Wrote only"*) out_of_memory ;;
  esac
  is_full && out_of_memory
  corrupt "not $1"
}

# available_kib FOLDER: prints the space that is left for files in FOLDER, in KiB. For a file system in RAM, prints at
# most the available RAM.
available_kib() {
  available=$(df -P -k "$1" | { read -r _ && read -r _ _ _ size _ && echo "$size"; })
  ram=$(sed -n 's/^MemAvailable: *\([0-9]*\) kB$/\1/p' /proc/meminfo)
  case $(stat -f -c %T "$1") in
  tmpfs) [ "$ram" -ge "$available" ] || available=$ram ;;
  ramfs) available=$ram ;; # has no limit of its own
  esac
  echo "$available"
}

# check_content FOLDER: accepts only version.txt with the manifest's version, and files and folders with plain names
# below firmware/.
check_content() {
  [ "$(ls -A "$1")" = "firmware
version.txt" ] || corrupt "contains a forbidden path or is incomplete"
  { [ -d "$1/firmware" ] && [ ! -L "$1/firmware" ]; } || corrupt "firmware is not a folder"
  [ -z "$(find "$1" ! -type f ! -type d)" ] || corrupt "contains something other than files and folders"
  [ -z "$(find "$1" -type f -links +1)" ] || corrupt "contains a hard link"
  [ -z "$(find "$1/firmware" -name '*[!A-Za-z0-9._+\ -]*')" ] || corrupt "contains a forbidden name"
  [ -f "$1/version.txt" ] || corrupt "version.txt is not a file"
  unpacked_version=
  read -r unpacked_version _ <"$1/version.txt" || :
  [ "$unpacked_version" = "$version" ] || corrupt "version.txt and the manifest contain different versions"
}
