#!/bin/bash
# Fetches Debian's pixman for 64-bit Arm and unpacks it in FOLDER; installs nothing. Does nothing if this version of the
# script has already filled FOLDER.
# Usage: fetch_pixman.sh FOLDER
set -euo pipefail
export LC_ALL=C
# shellcheck source-path=SCRIPTDIR source=../tests/support/mirror.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../tests/support/mirror.sh"

[[ $# -eq 1 ]] || { echo "usage: fetch_pixman.sh FOLDER" >&2; exit 1; }
readonly folder=$1
stamp=$(sha256sum "${BASH_SOURCE[0]}")
readonly stamp=${stamp%% *}
[[ $(cat "$folder/stamp" 2>/dev/null) != "$stamp" ]] || exit 0

# shellcheck disable=SC2034 # prepare_apt uses it
mirror=$(host_mirror)
work=$(realpath -- "$(mktemp -d)")
trap 'rm -rf -- "$work"' EXIT
prepare_apt "$work/pixman" arm64 bookworm # the same release, thus the same counts, on every machine
mkdir "$work/archives"
(cd "$work/archives" && apt-get "${apt_options[@]}" download libpixman-1-dev)
rm -rf -- "$folder"
unpack_all "$work/archives" "$folder"
printf '%s\n' "$stamp" >"$folder/stamp"
