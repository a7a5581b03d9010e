# shellcheck shell=bash
# What the scripts share: where things are, how they speak, how they build. To be sourced.

set -euo pipefail

root=$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")
jobs=$(nproc)
cache=${XDG_CACHE_HOME:-${HOME:-$(getent passwd "$(id -u)" | cut -d: -f6)}/.cache}/talvo-brindlet
breakpad=$cache/breakpad/package

# dpkg runs tools of these folders, and an ordinary user's path may lack them.
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin

say() {
    printf '%s\n' "$*"
}

fail() {
    printf '%s: %s\n' "$(basename -- "$0")" "$*" >&2
    exit 1
}

usage_error() {
    printf "%s: %s; try '%s --help'\n" "$(basename -- "$0")" "$*" "$0" >&2
    exit 2
}

# quietly LOG COMMAND...: what the command prints goes to LOG, and is shown when the command fails. A function must chain
# its steps: within it errors don't end anything by themselves.
quietly() {
    local log=$1 status=0
    shift
    ("$@") >"$log" 2>&1 </dev/null || status=$?
    if ((status != 0)); then
        cat -- "$log" >&2
    fi
    return "$status"
}

# need_folder FOLDER: made where it is missing.
need_folder() {
    if ! mkdir -p -- "$1" 2>/dev/null || [[ ! -w $1 ]]; then
        fail "$1 cannot be written to: perhaps it was made by another user; remove it, then try again"
    fi
}

breakpad_is_there() {
    [[ -e $breakpad/deps/breakpad/src/client/linux/handler/exception_handler.h ]] ||
        pkg-config --exists breakpad-client 2>/dev/null
}

# configure PRESET: every time, as that is how a changed preset takes effect; a tree that needs nothing takes half a
# second. A folder that was copied here with its build starts afresh.
configure() {
    local preset=$1 folder=$root/build/$1 options=()
    need_folder "$folder"
    if [[ ! -e $folder/build.ninja ]]; then
        say "Configuring $preset ..."
    fi
    if [[ -e $folder/CMakeCache.txt ]] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" -- "$folder/CMakeCache.txt"; then
        options+=(--fresh)
    fi
    if [[ $preset == armhf ]]; then
        options+=("-DBRINDLET_SYSROOT=$cache/sysroot-armhf")
    fi
    quietly "$folder/configure.log" cmake "${options[@]}" -S "$root" --preset "$preset" \
        "-DBREAKPAD_DEPS=$breakpad/deps"
}

# build PRESET [TARGET...]: configures and builds; a terminal sees ninja count, anything else only what goes wrong.
build() {
    local preset=$1 folder=$root/build/$1
    shift
    configure "$preset"
    if [[ $(ninja -C "$folder" -n "$@" 2>/dev/null) == *'no work to do'* ]]; then
        return
    fi
    say "Building $preset; from nothing this takes some minutes ..."
    if [[ -t 1 ]]; then
        ninja -C "$folder" -j "$jobs" "$@"
    else
        quietly "$folder/build.log" ninja -C "$folder" -j "$jobs" --quiet "$@"
    fi
}

# without_scatter COMMAND...: the sanitizers' shadow memory has no room where the kernel scatters a process's mappings
# too widely.
without_scatter() {
    if setarch -R true 2>/dev/null; then
        setarch -R "$@"
    else
        "$@"
    fi
}

# Hundreds of tests that passed would bury the one that did not.
without_passes() {
    grep -vE '^ *(Start +[0-9]+: |[0-9]+/[0-9]+ Test +#.* Passed )' || true
}
