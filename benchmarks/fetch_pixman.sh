#!/bin/bash
# Fetches Debian's pixman for 64-bit Arm and unpacks it in FOLDER; installs nothing. Does nothing if this version of the
# script has already filled FOLDER.
# Usage: fetch_pixman.sh FOLDER
set -euo pipefail
export LC_ALL=C
# shellcheck source-path=SCRIPTDIR source=../tests/support/mirror.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../tests/support/mirror.sh"

begin_fetch "$@"
prepare_apt "$work/pixman" arm64 bookworm # the same release, thus the same counts, on every machine
mkdir "$work/archives"
(cd "$work/archives" && apt-get "${apt_options[@]}" download libpixman-1-dev)
rm -rf -- "$folder"
unpack_all "$work/archives" "$folder"
finish_fetch
