# Sourced by scripts that download packages.
# shellcheck shell=bash

# host_release: prints the codename of this machine's Debian release.
host_release() {
  # shellcheck source=/dev/null
  (. /etc/os-release && printf '%s\n' "$VERSION_CODENAME")
}

# host_mirror: prints the address of the first package source that serves this machine's release.
host_mirror() {
  local mirror
  mirror=$(apt-get indextargets --format "\$(ORIGIN) \$(CODENAME) \$(REPO_URI)" 2>/dev/null |
    sed -n "s/^Debian $(host_release) //p" | sed -n 1p)
  # In Debian's cloud images, the source is a file that lists mirrors; the first one is used.
  [[ $mirror != mirror+file:* ]] || mirror=$(sed -n '/^http/{s/[[:space:]].*//p;q}' "${mirror#mirror+file:}")
  [[ -n $mirror ]] || { echo "${0##*/}: no package source for Debian $(host_release) (try apt-get update)" >&2; return 1; }
  printf '%s\n' "$mirror"
}

# prepare_apt FOLDER ARCHITECTURE SUITE...: sets apt_options for a private apt configuration in FOLDER, and downloads
# the package lists of the suites from $mirror.
prepare_apt() {
  local root=$1 architecture=$2 suite
  shift 2
  mkdir -p "$root"/{sources,lists/partial,cache/archives/partial}
  : >"$root/status"
  for suite in "$@"; do
    printf 'deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s %s main\n' "$mirror" "$suite"
  done >"$root/sources/own.list"
  apt_options=(-qq -o APT::Sandbox::User=root -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
    -o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$root/sources" -o "Dir::State::lists=$root/lists"
    -o "Dir::Cache=$root/cache" -o "Dir::State::status=$root/status")
  apt-get "${apt_options[@]}" update
}

# begin_fetch FOLDER: ends the script with status 0 if this version of the script has already filled FOLDER. Otherwise
# sets `folder`, `mirror`, and `work`, a folder next to FOLDER that is removed at exit.
begin_fetch() {
  [[ $# -eq 1 ]] || { echo "usage: ${0##*/} FOLDER" >&2; exit 1; }
  folder=$1
  stamp=$(sha256sum "$0")
  stamp=${stamp%% *}
  [[ $(cat "$folder/stamp" 2>/dev/null) != "$stamp" ]] || exit 0
  mirror=$(host_mirror)
  mkdir -p "$(dirname -- "$folder")"
  work=$(realpath -- "$(mktemp -d -- "$folder.XXXXXX")")
  trap 'rm -rf -- "$work"' EXIT
}

# finish_fetch: records that the FOLDER of begin_fetch is complete.
finish_fetch() {
  printf '%s\n' "$stamp" >"$folder/stamp"
}

# unpack_all ARCHIVES FOLDER: unpacks all packages in the folder ARCHIVES into FOLDER.
unpack_all() {
  local package
  mkdir -p "$2"
  for package in "$1"/*.deb; do
    dpkg-deb --extract "$package" "$2"
  done
}
