# shellcheck shell=bash
# What tests in a virtual machine share on this side of it. To be sourced.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../../scripts/common.sh"

# For what these tests need and this machine lacks; a caller may take it for a skipped test.
missing() {
    printf '%s: %s\n' "$(basename -- "$0")" "$*" >&2
    exit 77
}

# need_tools TOOL:PACKAGE...: all of them are here.
need_tools() {
    local need lacking=()
    for need in "$@"; do
        command -v "${need%:*}" >/dev/null || lacking+=("${need#*:}")
    done
    if ((${#lacking[@]} > 0)); then
        missing "needs packages; as root: apt-get install --no-install-recommends ${lacking[*]}"
    fi
}

# pack_guest FOLDER FILE: the folder as a machine's first file system.
pack_guest() {
    (cd -- "$1" && find . -xdev | cpio --quiet -o -H newc -R 0:0) >"$2"
}

# boot LIMIT CONSOLE COMMAND...: a machine, whose console goes to a file. It has ended after LIMIT seconds, or with this
# script, however that ends.
boot() {
    local limit=$1 console=$2 ended
    shift 2
    setpriv --pdeathsig KILL "$@" </dev/null >"$console" 2>&1 9>&- &
    machine=$!
    setpriv --pdeathsig KILL sleep "$limit" 9>&- &
    patience=$!
    trap 'kill "$machine" "$patience" 2>/dev/null || true; wait || true' EXIT
    trap 'exit 1' INT TERM HUP
    wait -n -p ended "$machine" "$patience" || true
    if ((ended == patience)); then
        say "not ok the machine ends: it ran $limit seconds"
        kill "$machine"
        wait "$machine" || true
    fi
}

# verdicts CONSOLE: the lines that tell of checks. Whether all of them are well is the exit status.
verdicts() {
    tr -d '\r' <"$1" | grep -aE '^(ok |not ok |verdict: )' || true
    tr -d '\r' <"$1" | grep -qaxE 'verdict: all [0-9]+ checks are well'
}
