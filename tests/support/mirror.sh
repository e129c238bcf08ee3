# Sourced by what downloads packages.
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
  # A list of mirrors, as Debian's cloud images have it.
  [[ $mirror != mirror+file:* ]] || mirror=$(sed -n '/^http/{s/[[:space:]].*//p;q}' "${mirror#mirror+file:}")
  [[ -n $mirror ]] || { echo "${0##*/}: no package source for Debian $(host_release) (try apt-get update)" >&2; return 1; }
  printf '%s\n' "$mirror"
}
