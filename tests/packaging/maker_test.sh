#!/bin/bash
# Tests the commands that make keys and firmware files.
set -uo pipefail

repository=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
work=$(mktemp -d) || exit 1
readonly repository work maker=$repository/packaging/maker
trap 'rm -rf -- "$work"' EXIT
export LC_ALL=C
# shellcheck source=../support/cases.sh
. "$repository/tests/support/cases.sh"

make_fixtures() {
  "$maker/tonecrate-make-keys" "$work/keys"
}

# Every case starts in an empty folder.
around_case() {
  rm -rf -- "$work/case"
  mkdir "$work/case"
  cd "$work/case"
  "$@"
}

make_folder() {
  mkdir -p folder/sub
  echo 1 >folder/one
  echo 2 >"folder/sub/number two"
}

# pack [ARGUMENT...]: packs ./folder as version 1.0 into ./out.fw.
pack() {
  "$maker/tonecrate-pack-firmware" "$@" folder 1.0 "$work/keys" out.fw
}

# refuses COMMAND [ARGUMENT...]: checks that a command fails, prints one line that begins with its name, and leaves no
# scratch folder.
refuses() {
  local status=0
  "$maker/$1" "${@:2}" >out 2>err || status=$?
  [[ $status -ne 0 && ! -s out ]] || { echo "$* exits $status: $(cat out)"; return 1; }
  [[ $(wc -l <err) -eq 1 && $(cat err) == "$1: "* ]] || { echo "no error or several lines: $(cat err)"; return 1; }
  [[ -z $(find "$work" -name '.scratch*') ]] || { echo "leaves its scratch folder"; return 1; }
}

keys_are_private() {
  umask 000
  "$maker/tonecrate-make-keys" "new keys"
  [[ $(stat -c %a "new keys" "new keys"/* | sort -u) == $'600\n700' ]]
  [[ $(ls -A "new keys") == $'firmware.key\nsigning.key\nsigning.pub' ]]
}

keys_are_different_each_time() {
  "$maker/tonecrate-make-keys" new
  [[ $(cat new/firmware.key) != $(cat "$work/keys/firmware.key") ]]
  [[ $(cat new/signing.key) != $(cat "$work/keys/signing.key") ]]
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
  [[ ! -e one ]]
}

# pack_refuses_folder COMMAND...: checks that the folder is rejected after COMMAND made it invalid.
pack_refuses_folder() {
  make_folder
  "$@"
  refuses tonecrate-pack-firmware folder 1.0 "$work/keys" out.fw
  [[ ! -e out.fw ]]
}

long_path() {
  mkdir -p "folder/$(printf '%.0sx' {1..200})"
  echo 1 >"folder/$(printf '%.0sx' {1..200})/$(printf '%.0sy' {1..120})"
}

pack_refuses_versions() {
  local version
  make_folder
  for version in "" " " "1.0 beta" "1/2" $'1\n2' $'1\n' "-1" "$(printf '1%.0s' {1..33})"; do
    refuses tonecrate-pack-firmware folder "$version" "$work/keys" out.fw
  done
  [[ ! -e out.fw ]]
}

pack_arguments() {
  make_folder
  refuses tonecrate-pack-firmware
  refuses tonecrate-pack-firmware --unknown folder 1.0 "$work/keys" out.fw
  refuses tonecrate-pack-firmware nowhere 1.0 "$work/keys" out.fw
  refuses tonecrate-pack-firmware folder 1.0 nowhere out.fw
  refuses tonecrate-pack-firmware folder 1.0 "$work/keys" nowhere/out.fw
  refuses tonecrate-pack-firmware folder 1.0 "$work/keys" folder
}

failed_pack_keeps_older_file() {
  make_folder
  echo older >out.fw
  refuses tonecrate-pack-firmware folder "not one word" "$work/keys" out.fw
  [[ $(cat out.fw) == older ]]
}

make_fixtures
it "make-keys lets only the owner read the keys, whatever the umask" keys_are_private
it "make-keys makes different keys each time" keys_are_different_each_time
it "make-keys overwrites no keys" keys_are_not_overwritten
it "make-keys rejects wrong arguments" make_keys_arguments
it "pack rejects a symbolic link" pack_refuses_folder ln -s one folder/two
it "pack rejects a named pipe" pack_refuses_folder mkfifo folder/pipe
it "pack rejects a quote in a name" pack_refuses_folder touch 'folder/a"b'
it "pack rejects a line end in a name" pack_refuses_folder touch $'folder/a\nb'
it "pack rejects a path that is too long for the archive" pack_refuses_folder long_path
it "pack rejects a folder without files" pack_refuses_folder rm -r folder/one folder/sub
it "pack rejects invalid versions" pack_refuses_versions
it "pack rejects wrong arguments" pack_arguments
it "a failed pack keeps the old file" failed_pack_keeps_older_file
finish
