#!/bin/bash
# Builds the programs for the device again in another folder and compares them with the existing programs.
# Usage: reproducible_build_test.sh BUILD PRESET...   (BUILD contains a build folder for each preset)
set -euo pipefail
build=$(realpath -- "$1")
readonly build project=$build/..
shift
copy=$(mktemp -d)
readonly copy
trap 'rm -rf -- "$copy"' EXIT

git -C "$project" ls-files -z |
    tar --create --directory="$project" --null --files-from=- | tar --extract --directory="$copy"
cd "$copy"
for preset in "$@"; do
    cmake --preset "$preset" >/dev/null
    cmake --build "build/$preset" --parallel "$(nproc)" --target tonecrate-updater >/dev/null
    cmp "build/$preset/app/tonecrate-updater" "$build/$preset/app/tonecrate-updater"
    printf '%s: %s identical bytes\n' "$preset" "$(stat -c %s "build/$preset/app/tonecrate-updater")"
done
