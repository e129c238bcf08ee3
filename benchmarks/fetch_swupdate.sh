#!/bin/bash
# Fetches Debian's SWUpdate with its missing dependencies and unpacks them in FOLDER; installs nothing. Does nothing if
# this version of the script has already filled FOLDER.
# Usage: fetch_swupdate.sh FOLDER
set -euo pipefail
export LC_ALL=C
# shellcheck source-path=SCRIPTDIR source=../tests/support/mirror.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../tests/support/mirror.sh"

[[ $# -eq 1 ]] || { echo "usage: fetch_swupdate.sh FOLDER" >&2; exit 1; }
readonly folder=$1
stamp=$(sha256sum "${BASH_SOURCE[0]}")
readonly stamp=${stamp%% *}
[[ $(cat "$folder/stamp" 2>/dev/null) != "$stamp" ]] || exit 0

# shellcheck disable=SC2034 # prepare_apt uses it
mirror=$(host_mirror)
work=$(realpath -- "$(mktemp -d)")
trap 'rm -rf -- "$work"' EXIT
prepare_apt "$work" "$(dpkg --print-architecture)" "$(host_release)"
apt-get "${apt_options[@]}" -o Dir::State::status=/var/lib/dpkg/status --yes --download-only \
    --no-install-recommends --reinstall install swupdate >/dev/null
rm -rf -- "$folder"
unpack_all "$work/cache/archives" "$folder"
printf '%s\n' "$stamp" >"$folder/stamp"
