#!/bin/bash
# Runs a command; as the user "nobody" when started by root.
set -euo pipefail
readonly nobody=65534
cd / # the current folder may be closed to other users
[[ $(id -u) -eq 0 ]] || exec "$@"
exec setpriv --reuid="$nobody" --regid="$nobody" --clear-groups env TMPDIR=/tmp "$@"
