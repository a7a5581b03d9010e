# shellcheck shell=dash
# What tests in a virtual machine share within it: verdicts and patience. To be sourced.

checked=0
failed=0

# check NAME COMMAND...: tells whether the command succeeds, and why it does not where it has said so in $why.
check() {
    local name=$1
    shift
    why=
    checked=$((checked + 1))
    if "$@"; then
        echo "ok $name"
    else
        echo "not ok $name: ${why:-$*}"
        failed=$((failed + 1))
    fi
}

# need NAME COMMAND...: a check without which no other makes sense.
need() {
    check "$@"
    if [ "$failed" -ne 0 ]; then
        conclude
        exit
    fi
}

conclude() {
    if [ "$failed" -eq 0 ]; then
        echo "verdict: all $checked checks are well"
    else
        echo "verdict: $failed of $checked checks are not well"
    fi
}

# holds COMMAND...: the command succeeds now; what does not is why the check fails.
holds() {
    "$@" || { why="not so: $*"; return 1; }
}

# lacks COMMAND...: the command fails.
lacks() {
    ! "$@"
}

# await SECONDS COMMAND...: the command succeeds within this time.
await() {
    local until=$(($(seconds) + $1))
    shift
    while ! "$@"; do
        if [ "$(seconds)" -ge "$until" ]; then
            why="still not so: $*"
            return 1
        fi
        sleep 0.1
    done
}

seconds() {
    sed 's/\..*//' /proc/uptime
}
