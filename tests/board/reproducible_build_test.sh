#!/bin/bash
# Builds the updater again with each preset in another folder, and compares it with the program in BUILD.
# Usage: reproducible_build_test.sh BUILD PRESET...   (BUILD is the project's folder build, with a folder per preset)
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
