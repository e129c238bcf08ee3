# Sourced by the commands in this folder: handles --help, and provides `usage` and the functions of errors.sh.
# The command first sets `arguments`, the part of its usage line after its name.
# shellcheck shell=bash disable=SC2154

# shellcheck source=errors.sh
. "${BASH_SOURCE[0]%/*}/errors.sh"

# Ends the command because of wrong arguments.
usage() {
  fail 2 "usage: $command_name $arguments"
}

if [[ ${1:-} == --help ]]; then
  echo "usage: $command_name $arguments"
  exit
fi
