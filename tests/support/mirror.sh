# Sourced by what downloads packages.
# shellcheck shell=bash

# own_mirror RELEASE: prints the address of the first package source of this machine that serves the Debian release.
own_mirror() {
  local mirror
  mirror=$(apt-get indextargets --format "\$(REPO_URI) \$(CODENAME)" 2>/dev/null | sed -n "s/ $1\$//p" | head -n 1)
  [[ -n $mirror ]] || { echo "${0##*/}: no package source for Debian $1 (try apt-get update)" >&2; return 1; }
  printf '%s\n' "$mirror"
}
