#!/bin/bash
# Tests the maker's commands: make-keys, pack-firmware, inspect-firmware and verify-firmware.
set -uo pipefail

repository=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
work=$(mktemp -d) || exit 1
readonly repository work maker=$repository/packaging/maker
trap 'rm -rf -- "$work"' EXIT
export LC_ALL=C TMPDIR=$work/tmp SHELL=/bin/false # as for system users; the commands must not run it
# shellcheck source=../support/cases.sh
. "$repository/tests/support/cases.sh"
# shellcheck source=../support/containers.sh
. "$repository/tests/support/containers.sh"

make_fixtures() {
  mkdir "$TMPDIR" && "$maker/tonecrate-make-keys" "$work/keys" &&
    "$maker/tonecrate-make-keys" "$work/other keys" && make_folder "$work/folder" &&
    "$maker/tonecrate-pack-firmware" --chunk 100 "$work/folder" 1.0 "$work/keys" "$work/firmware.fw" || exit 1
}

# make_folder FOLDER
make_folder() {
  mkdir -p "$1/sub"
  echo 1 >"$1/one"
  seq 1000 >"$1/sub/thousand numbers"
}

# Every case starts with a copy of the firmware folder.
around_case() {
  rm -rf -- "$work/case"
  mkdir "$work/case"
  cd "$work/case"
  cp -R "$work/folder" folder
  "$@"
}

# pack [ARGUMENT...]: packs ./folder as version 1.0 into ./out.fw.
pack() {
  "$maker/tonecrate-pack-firmware" "$@" folder 1.0 "$work/keys" out.fw
}

# refuses COMMAND [ARGUMENT...]: checks that a command fails, prints only one line, on standard error, that begins with
# the command's name, and leaves no scratch folder.
refuses() {
  run "$@"
  [[ $status -ne 0 && ! -s out ]] || { echo "$* exits $status: $(cat out)"; return 1; }
  one_error_line "$1"
}

# run COMMAND [ARGUMENT...]: stores the output in ./out and ./err, and the exit status in $status.
run() {
  status=0
  "$maker/$1" "${@:2}" >out 2>err </dev/null || status=$?
  [[ -z $(ls -A "$TMPDIR") && -z $(find "$work/case" -name '.scratch*') ]] ||
    { echo "leaves its scratch folder"; return 1; }
}

# one_error_line COMMAND
one_error_line() {
  [[ $(wc -l <err) -eq 1 && $(cat err) == "$1: "* ]] ||
    { echo "does not print one line that begins with its name: $(cat err)"; return 1; }
  ! grep -n unexpected err
}

# prints TEXT COMMAND [ARGUMENT...]: checks that a command succeeds and prints exactly TEXT.
prints() {
  run "${@:2}"
  cat err
  [[ $status -eq 0 && ! -s err ]]
  diff <(printf '%s\n' "$1") out
}

keys_are_private() {
  umask 000
  "$maker/tonecrate-make-keys" "new keys"
  [[ $(stat -c %a "new keys" "new keys"/* | sort -u) == $'600\n700' ]]
  [[ $(ls -A "new keys") == $'firmware.key\nsigning.key\nsigning.pub' ]]
}

keys_are_different_each_time() {
  local name
  for name in firmware.key signing.key signing.pub; do
    [[ $(cat "$work/keys/$name") != $(cat "$work/other keys/$name") ]]
  done
}

keys_are_not_overwritten() {
  cp -R "$work/keys" keys
  refuses tonecrate-make-keys keys
  diff -r "$work/keys" keys
}

make_keys_arguments() {
  refuses tonecrate-make-keys
  refuses tonecrate-make-keys one two
  refuses tonecrate-make-keys nowhere/keys
  refuses tonecrate-make-keys folder/one
  refuses tonecrate-make-keys --unknown
  [[ ! -e one ]]
}

# Parses the file independently of container.sh.
file_has_the_documented_format() {
  local size
  pack --chunk 300
  [[ $(head -c 16 out.fw) == tonecrate-fw-02 ]]
  size=$((10#$(tail -c +17 out.fw | head -c 8)))
  tail -c +26 out.fw | head -c "$size" >manifest
  tail -c +$((26 + size)) out.fw | head -c 64 >signature
  tail -c +$((90 + size)) out.fw >payload
  head -c $((25 + size)) out.fw >signed
  openssl pkeyutl -verify -pubin -inkey "$work/keys/signing.pub" -rawin -in signed -sigfile signature
  split -b 300 payload chunk.
  [[ $(find . -name 'chunk.*' | wc -l) -gt 2 ]]
  {
    printf 'version 1.0\nunpacked 24576\npayload %s\nchunk 300\n' "$(stat -c %s payload)"
    sha256sum chunk.* | cut -c 1-64
  } | diff - manifest
  decrypt_payload out.fw | tar -tf - | diff - <(printf '%s\n' version.txt firmware/ firmware/one firmware/sub/ \
    'firmware/sub/thousand numbers')
}

# decrypt_payload FILE: prints the archive.
decrypt_payload() {
  tail -c +$((90 + 10#$(tail -c +17 "$1" | head -c 8))) "$1" | openssl enc -d -aes-256-cbc -md sha256 -pbkdf2 \
    -iter 10000 -pass "file:$work/keys/firmware.key" | zstd -dc
}

chunks_are_4_mib_by_default() {
  pack
  run tonecrate-inspect-firmware out.fw
  grep -qx 'chunks        1 of 4194304 bytes' out
}

invalid_chunk_sizes() {
  local size
  for size in "" 0 -1 010 1k 67108865 99999999999999999999; do
    refuses tonecrate-pack-firmware --chunk "$size" folder 1.0 "$work/keys" out.fw
  done
  head -c 20000 /dev/urandom >folder/random
  refuses tonecrate-pack-firmware --chunk 1 folder 1.0 "$work/keys" out.fw
  [[ ! -e out.fw ]]
}

archives_are_reproducible() {
  pack
  decrypt_payload out.fw >first
  cp -R --preserve=mode folder copy
  touch -d 2001-01-01 copy/one
  chmod 2775 copy/sub
  chmod 4600 copy/one
  "$maker/tonecrate-pack-firmware" copy 1.0 "$work/keys" out.fw
  decrypt_payload out.fw | cmp - first
}

executable_files_stay_executable() {
  chmod 700 folder/one
  pack
  [[ $(decrypt_payload out.fw | tar -tvf - firmware/one) == -rwxr-xr-x* ]]
}

hard_links_become_files() {
  ln folder/one folder/two
  pack
  [[ $(decrypt_payload out.fw | tar -tvf - | grep -c '^-') -eq 4 ]]
  "$maker/tonecrate-verify-firmware" out.fw "$work/keys"
}

file_is_readable_as_the_umask_allows() {
  umask 022
  pack
  [[ $(stat -c %a out.fw) == 644 ]]
}

folder_may_be_a_link() {
  ln -s folder link
  "$maker/tonecrate-pack-firmware" link 1.0 "$work/keys" out.fw
  [[ $(decrypt_payload out.fw | tar -tf - | wc -l) -eq 5 ]]
}

# pack_refuses_folder COMMAND...: checks that the folder is rejected after COMMAND made it invalid.
pack_refuses_folder() {
  "$@"
  refuses tonecrate-pack-firmware folder 1.0 "$work/keys" out.fw
  [[ ! -e out.fw ]]
}

long_path() {
  local name
  name=folder/$(printf 'x%.0s' {1..200})
  mkdir "$name"
  echo 1 >"$name/$(printf 'y%.0s' {1..120})"
}

pack_refuses_versions() {
  local version
  for version in "" " " "1.0 beta" "1/2" $'1\n2' $'1\n' "-1" "$(printf '1%.0s' {1..33})"; do
    refuses tonecrate-pack-firmware folder "$version" "$work/keys" out.fw
  done
  "$maker/tonecrate-pack-firmware" folder "$(printf '1%.0s' {1..32})" "$work/keys" out.fw
}

pack_refuses_keys() {
  cp -R "$work/keys" keys
  refuses tonecrate-pack-firmware folder 1.0 nowhere out.fw
  cp "$work/other keys/signing.pub" keys/
  refuses tonecrate-pack-firmware folder 1.0 keys out.fw
  openssl genpkey -algorithm ed448 -out keys/signing.key
  openssl pkey -in keys/signing.key -pubout -out keys/signing.pub
  refuses tonecrate-pack-firmware folder 1.0 keys out.fw
  echo "no key" >keys/signing.key
  refuses tonecrate-pack-firmware folder 1.0 keys out.fw
  cp "$work"/keys/signing.* keys/
  printf '\nkey\n' >keys/firmware.key
  refuses tonecrate-pack-firmware folder 1.0 keys out.fw
  [[ ! -e out.fw ]]
}

pack_arguments() {
  refuses tonecrate-pack-firmware
  refuses tonecrate-pack-firmware --unknown folder 1.0 "$work/keys" out.fw
  refuses tonecrate-pack-firmware --chunk
  refuses tonecrate-pack-firmware nowhere 1.0 "$work/keys" out.fw
  refuses tonecrate-pack-firmware folder 1.0 "$work/keys" nowhere/out.fw
  refuses tonecrate-pack-firmware folder 1.0 "$work/keys" folder
}

failed_pack_keeps_older_file() {
  echo older >out.fw
  ln -s one folder/two
  refuses tonecrate-pack-firmware folder 1.0 "$work/keys" out.fw
  [[ $(cat out.fw) == older ]]
}

# rows FILE COMPLETE: prints the rows that inspect must print for FILE, which contains the manifest of firmware.fw.
rows() {
  local payload
  payload=$(tail -c +26 "$work/firmware.fw" | sed -n '3s/payload //p;3q')
  printf '%-14s%s\n' version 1.0 'unpacked size' '24576 bytes' payload "$payload bytes" \
    chunks "$(((payload + 99) / 100)) of 100 bytes" 'file size' "$(stat -c %s "$1") bytes" complete "$2"
}

inspect_prints_rows() {
  prints "$(rows "$work/firmware.fw" yes)" tonecrate-inspect-firmware "$work/firmware.fw"
}

inspect_reports_incomplete_files() {
  local size
  size=$(stat -c %s "$work/firmware.fw")
  head -c $((size - 1)) "$work/firmware.fw" >short.fw
  { cat "$work/firmware.fw" && echo; } >long.fw
  for file in short.fw long.fw; do
    run tonecrate-inspect-firmware "$file"
    [[ $status -eq 1 ]]
    rows "$file" no | diff - out
    one_error_line tonecrate-inspect-firmware
  done
}

# not_firmware COMMAND [ARGUMENT...]: checks that a command rejects files that are not firmware files.
not_firmware() {
  local length
  for length in 0 1 16 24 25 26 80 89 120; do
    head -c "$length" "$work/firmware.fw" >bad.fw
    refuses "$1" bad.fw "${@:2}"
  done
  head -c 100000 /dev/urandom >bad.fw
  refuses "$1" bad.fw "${@:2}"
  { printf 'tonecrate-fw-01\n' && tail -c +17 "$work/firmware.fw"; } >bad.fw
  refuses "$1" bad.fw "${@:2}"
  refuses "$1" nowhere.fw "${@:2}"
  refuses "$1" folder "${@:2}"
}

# invalid_manifests COMMAND [ARGUMENT...]: checks that a command rejects signed files with invalid manifests.
invalid_manifests() {
  local change size
  size=$((10#$(tail -c +17 "$work/firmware.fw" | head -c 8)))
  tail -c +26 "$work/firmware.fw" | head -c "$size" >original
  tail -c +$((90 + size)) "$work/firmware.fw" >payload
  cp original manifest
  seal_manifest good.fw
  cmp "$work/firmware.fw" good.fw
  for change in '1d' '1s/ .*/ /' '1s/1.0/1 0/' $'1s/1.0/1\a0/' '1s/version/Version/' '2s/ / -/' '3s/ / 0/' \
    '3s/payload/chunk/' '4s/100/0/' '4s/100/90/' '4s/100/67108865/' '4s/100/1e2/' "\$d" "\$p"; do
    echo "change $change"
    sed "$change" original >manifest
    seal_manifest bad.fw
    refuses "$1" bad.fw "${@:2}"
  done
}

verify_accepts_firmware() {
  local file=$work/firmware.fw
  prints "$file: version 1.0, valid signature, checksums and content" tonecrate-verify-firmware "$file" "$work/keys"
  prints "$file: version 1.0, valid signature and checksums" tonecrate-verify-firmware "$file" "$work/keys/signing.pub"
  prints "$file: version 1.0, valid signature, checksums and content" \
    tonecrate-verify-firmware "$file" "$work/keys/signing.pub" --firmware-key "$work/keys/firmware.key"
}

verify_needs_no_private_key() {
  mkdir keys
  cp "$work"/keys/{signing.pub,firmware.key} keys/
  "$maker/tonecrate-verify-firmware" "$work/firmware.fw" keys
}

# verify_detects_flipped_bytes KEYS
verify_detects_flipped_bytes() {
  local size offset
  size=$(stat -c %s "$work/firmware.fw")
  for offset in 0 15 16 23 24 25 34 100 $((size / 4)) $((size / 2)) -1 -100; do
    echo "byte $offset"
    cp "$work/firmware.fw" bad.fw
    flip bad.fw "$offset"
    refuses tonecrate-verify-firmware bad.fw "$1"
  done
}

verify_rejects_other_keys() {
  local file=$work/firmware.fw other=$work/other\ keys
  refuses tonecrate-verify-firmware "$file" "$other"
  refuses tonecrate-verify-firmware "$file" "$work/keys/signing.pub" --firmware-key "$other/firmware.key"
  refuses tonecrate-verify-firmware "$file" "$work/keys/signing.key"
  refuses tonecrate-verify-firmware "$file" "$work/keys/firmware.key"
  refuses tonecrate-verify-firmware "$file" "$work/keys/signing.pub" --firmware-key nowhere
  refuses tonecrate-verify-firmware "$file" nowhere
}

verify_checks_the_content() {
  mkdir firmware
  echo 9.9 >version.txt
  ln -s /etc/passwd firmware/link
  tar -cf archive version.txt firmware
  seal archive bad.fw
  "$maker/tonecrate-verify-firmware" bad.fw "$work/keys/signing.pub"
  refuses tonecrate-verify-firmware bad.fw "$work/keys"
}

verify_prints_one_complaint() {
  archive_parts
  seq -f 'firmware/%g' 1500 | xargs touch
  tar --format=pax --pax-option=unknown:=value -cf archive version.txt firmware
  seal archive bad.fw
  refuses tonecrate-verify-firmware bad.fw "$work/keys"
  diff - err <<<"tonecrate-verify-firmware: bad.fw: not a plain archive: tar: Ignoring unknown extended header keyword \
'unknown'"
}

verify_arguments() {
  refuses tonecrate-verify-firmware
  refuses tonecrate-verify-firmware "$work/firmware.fw"
  refuses tonecrate-verify-firmware "$work/firmware.fw" "$work/keys" --firmware-key
  refuses tonecrate-verify-firmware "$work/firmware.fw" "$work/keys" --other "$work/keys/firmware.key"
  refuses tonecrate-verify-firmware --unknown "$work/keys"
}

commands_have_help() {
  local command
  for command in "$maker"/tonecrate-*; do
    run "${command##*/}" --help
    [[ $status -eq 0 && ! -s err && $(cat out) == "usage: ${command##*/} "* ]]
  done
}

# The package installs the commands as symbolic links.
commands_run_through_links() {
  cp -RL "$maker" "the maker"
  mkdir bin
  ln -s "../the maker/tonecrate-inspect-firmware" bin/
  bin/tonecrate-inspect-firmware "$work/firmware.fw"
}

make_fixtures
it "make-keys lets only the owner read the keys, whatever the umask" keys_are_private
it "make-keys makes different keys each time" keys_are_different_each_time
it "make-keys overwrites no keys" keys_are_not_overwritten
it "make-keys rejects wrong arguments" make_keys_arguments
it "pack writes the documented format" file_has_the_documented_format
it "pack divides the payload into chunks of 4 MiB by default" chunks_are_4_mib_by_default
it "pack rejects invalid chunk sizes, and chunks that are too small for the firmware" invalid_chunk_sizes
it "pack ignores times, read and write permissions, and special mode bits" archives_are_reproducible
it "pack keeps files executable" executable_files_stay_executable
it "pack stores hard-linked files as separate files" hard_links_become_files
it "pack gives the file the mode that the umask allows" file_is_readable_as_the_umask_allows
it "pack accepts a link to the folder" folder_may_be_a_link
it "pack rejects a symbolic link" pack_refuses_folder ln -s one folder/two
it "pack rejects a named pipe" pack_refuses_folder mkfifo folder/pipe
it "pack rejects a quote in a name" pack_refuses_folder touch 'folder/a"b'
it "pack rejects a line feed in a name" pack_refuses_folder touch $'folder/a\nb'
it "pack rejects a path that is too long for the archive" pack_refuses_folder long_path
it "pack rejects a folder without files" pack_refuses_folder rm -r folder/one folder/sub
it "pack rejects invalid versions" pack_refuses_versions
it "pack rejects missing, invalid and mismatched keys" pack_refuses_keys
it "pack rejects wrong arguments" pack_arguments
it "a failed pack keeps the old file" failed_pack_keeps_older_file
it "inspect prints version, sizes and chunks without keys" inspect_prints_rows
it "inspect reports a file that is too short or too long" inspect_reports_incomplete_files
it "inspect rejects files that are not firmware files" not_firmware tonecrate-inspect-firmware
it "inspect rejects invalid manifests" invalid_manifests tonecrate-inspect-firmware
it "verify accepts a folder of keys, the public key, or separate key files" verify_accepts_firmware
it "verify works without the private key" verify_needs_no_private_key
it "verify with only the public key detects flipped bytes" verify_detects_flipped_bytes "$work/keys/signing.pub"
it "verify with the folder of keys detects flipped bytes" verify_detects_flipped_bytes "$work/keys"
it "verify rejects wrong and missing keys" verify_rejects_other_keys
it "verify rejects files that are not firmware files" not_firmware tonecrate-verify-firmware "$work/keys"
it "verify rejects signed files with invalid manifests" invalid_manifests tonecrate-verify-firmware "$work/keys"
it "verify checks the content when it has the firmware key" verify_checks_the_content
it "verify prints the first of many complaints about the archive" verify_prints_one_complaint
it "verify rejects wrong arguments" verify_arguments
it "--help prints a usage line" commands_have_help
it "a command runs through a symbolic link" commands_run_through_links
finish
