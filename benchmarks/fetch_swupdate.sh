#!/bin/bash
# Fetches Debian's SWUpdate and those of its dependencies that are not installed, and unpacks them in FOLDER; installs
# nothing. Does nothing if this version of the script has already filled FOLDER.
# Usage: fetch_swupdate.sh FOLDER
set -euo pipefail
export LC_ALL=C
# shellcheck source-path=SCRIPTDIR source=../tests/support/mirror.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../tests/support/mirror.sh"

begin_fetch "$@"
prepare_apt "$work" "$(dpkg --print-architecture)" "$(host_release)"
apt-get "${apt_options[@]}" -o Dir::State::status=/var/lib/dpkg/status --yes --download-only \
    --no-install-recommends --reinstall install swupdate >/dev/null
rm -rf -- "$folder"
unpack_all "$work/cache/archives" "$folder"
finish_fetch
