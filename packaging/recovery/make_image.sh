#!/bin/bash
# Builds the recovery image, an initramfs with the updater, the scripts, and the programs, libraries and kernel modules
# that they need. The settings and keys are optional.
# Usage: make_image.sh [--modules FOLDER|none] [--settings FOLDER] PACKAGES UPDATER OUT
#   --modules    the folder /lib/modules/VERSION of a kernel; default: the modules of the kernel in PACKAGES; none: adds
#                no modules, for a kernel that contains all drivers
#   --settings   a folder whose files are copied to /etc/tonecrate: the manufacturer's updater.conf, which is required,
#                and usually the public key, the pass phrase and prepare.sh; default: no settings
#   PACKAGES     the output folder of tests/board/fetch_packages.sh
#   UPDATER      the static program for the device
#   OUT          the image
# All files get the time SOURCE_DATE_EPOCH (default: 0), so the same input gives the same bytes.
set -euo pipefail
shopt -s inherit_errexit
export LC_ALL=C
umask 022

fail() {
    printf 'make_image.sh: %s\n' "$1" >&2
    exit 1
}

usage() {
    echo "make_image.sh: usage: make_image.sh [--modules FOLDER|none] [--settings FOLDER] PACKAGES UPDATER OUT" >&2
    exit 2
}

# absolute PATH: prints the absolute path of an existing file or folder.
absolute() {
    realpath -e -- "$1" 2>/dev/null || fail "no such file: $1"
}

modules='' settings=''
while [[ ${1:-} == --* ]]; do
    [[ $# -ge 2 ]] || usage
    case $1 in
    --modules) [[ $2 == none ]] && modules=none || modules=$(absolute "$2") ;;
    --settings) settings=$(absolute "$2") ;;
    *) usage ;;
    esac
    shift 2
done
[[ $# -eq 3 ]] || usage
packages=$(absolute "$1") updater=$(absolute "$2") out=$(realpath -m -- "$3")
here=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")")
[[ -n $modules ]] || modules=$packages/board/lib/modules/$(cat "$packages/kernel_version")
readonly modules settings packages updater out here scripts=$here/../scripts

# Programs that the scripts run, and that BusyBox lacks or implements with too few options.
readonly tools=(usr/bin/openssl usr/bin/zstd usr/bin/flock sbin/mke2fs sbin/e2fsck sbin/dumpe2fs)

install_programs() {
    local script
    install -D -m 755 "$here/init" "$root/init"
    install -D -m 755 -t "$root/bin" "$packages/board/bin/busybox"
    install -D -m 755 -t "$root/usr/sbin" "$updater"
    for script in "$scripts"/*.sh; do
        if [[ -x $script ]]; then
            install -m 755 -t "$root/usr/sbin" "$script"
        else
            install -D -m 644 -t "$root/usr/lib/tonecrate" "$script"
        fi
    done
}

install_tools() {
    local tool
    for tool in "${tools[@]}"; do
        install -D -m 755 "$packages/board/$tool" "$root/$tool"
        install_libraries_of "$root/$tool"
    done
    install -D -m 644 -t "$root/etc" "$packages/board/etc/mke2fs.conf"
}

# install_libraries_of FILE: installs the shared libraries that FILE needs, and those that the libraries need.
install_libraries_of() {
    local name file
    for name in $(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
        [[ ! -e $root/lib/$name ]] || continue
        file=$(find "$packages/board" -path "*/aarch64-linux-gnu/$name" -print -quit)
        [[ -n $file ]] || fail "the packages do not contain $name"
        install -D -m 755 "$file" "$root/lib/$name"
        install_libraries_of "$root/lib/$name"
    done
}

# The keys are module names with underscores instead of hyphens, as in the kernel.
declare -A module_files=() is_built_in=() is_installed=()

# module_name MODULE: sets `name` to the key of MODULE, a path or a name.
module_name() {
    name=${1##*/} name=${name%%.ko*} name=${name//-/_}
}

find_modules() {
    local path name
    [[ -f $modules/modules.builtin ]] || fail "$modules is not a folder of kernel modules"
    while read -r path; do
        module_name "$path"
        is_built_in[$name]=1
    done <"$modules/modules.builtin"
    while read -r path; do
        module_name "$path"
        module_files[$name]=$path
    done < <(find "$modules/" -name '*.ko' -o -name '*.ko.gz' -o -name '*.ko.xz' -o -name '*.ko.zst' | sort)
}

unpacked() {
    case $1 in
    *.gz) gzip -dc "$1" ;;
    *.xz) xz -dc "$1" ;;
    *.zst) zstd -qdc "$1" ;;
    *) cat "$1" ;;
    esac
}

# install_module NAME [optional]: installs the module and its dependencies, and appends them to the file `order`, the
# dependencies first. Without "optional", a missing module is an error.
install_module() {
    local name file copy dependency
    module_name "$1"
    [[ -z ${is_built_in[$name]:-} && -z ${is_installed[$name]:-} ]] || return 0
    file=${module_files[$name]:-}
    [[ -n $file || ${2:-} != optional ]] || return 0
    [[ -n $file ]] || fail "no module $1 in $modules"
    is_installed[$name]=1
    copy=${file##*/} copy=$folder/${copy%%.ko*}.ko
    unpacked "$file" >"$copy"
    for dependency in $(readelf -p .modinfo "$copy" | sed -n 's/.*\] *depends=//p' | tr ',' ' '); do
        install_module "$dependency"
    done
    basename "$copy" .ko >>"$folder/order"
}

install_modules() {
    local module condition folder=$root/lib/modules/${modules##*/}
    [[ $modules != none ]] || return 0
    find_modules
    mkdir -p "$folder"
    while read -r module condition; do
        install_module "$module" "$condition"
    done < <(sed '/^#/d;/^$/d' "$here/modules")
}

install_settings() {
    local file
    [[ -n $settings ]] || return 0
    [[ -f $settings/updater.conf ]] || fail "no updater.conf in $settings"
    ! grep -qrs 'PRIVATE KEY' "$settings" || fail "a private key in $settings; the device needs only the public key"
    for file in "$settings"/*; do
        [[ -x $file ]] && mode=700 || mode=600
        install -D -m "$mode" -t "$root/etc/tonecrate" "$file"
    done
}

pack() {
    find "$root" -exec touch -h -d "@${SOURCE_DATE_EPOCH:-0}" {} +
    (cd "$root" && find . -mindepth 1 | sort | cpio --quiet --reproducible -o -H newc --owner 0:0 | gzip -9n)
}

mkdir -p "$(dirname -- "$out")"
work=$(mktemp -d -- "$out.XXXXXX")
trap 'rm -rf -- "$work"' EXIT
root=$work/root
mkdir "$root"
install_programs
install_tools
install_modules
install_settings
pack >"$work/image"
chmod 644 "$work/image"
mv -- "$work/image" "$out"
