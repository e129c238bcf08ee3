#!/bin/bash
# Runs a command. When started by root, runs it as the user "nobody".
set -euo pipefail
readonly nobody=65534
cd / # other users may have no access to the current folder
[[ $(id -u) -eq 0 ]] || exec "$@"
exec setpriv --reuid="$nobody" --regid="$nobody" --clear-groups env TMPDIR=/tmp "$@"
