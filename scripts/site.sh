#!/usr/bin/env bash
# The virtual site: a box, two routers and the links between them, in networks of their own. Ends what it started
# whichever way it ends itself.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/common.sh"

usage() {
    cat <<END
usage: scripts/site.sh [--bin DIR] [--shell-port N] [--bench-port N] [--beside COMMAND]
                       [bench options] [-- application options]

Starts the virtual box with its two links and a virtual router at the far end of each, out of DIR
(build/release/bin). The shell, the bench port and the routers' control ports are reached on 127.0.0.1;
the numbers are the first two's. Ends with the box, and with its exit status.

  --beside COMMAND   run COMMAND with bash once all ports answer; the site ends with it, and with its
                     exit status. It may enter the networks:
                     nsenter --net=/run/netns/router0 ip link set eth0 down
  --help             this text
END
}

bin=$root/build/release/bin
shell_port=55555
bench_port=55560
beside=
while (($# > 0)); do
    case $1 in
        --bin | --shell-port | --bench-port | --beside)
            (($# > 1)) || usage_error "$1 needs a value"
            case $1 in
                --bin) bin=$(readlink -f -- "$2") ;;
                --shell-port) shell_port=$2 ;;
                --bench-port) bench_port=$2 ;;
                --beside) beside=$2 ;;
            esac
            shift 2
            ;;
        --help | -h) usage && exit ;;
        *) break ;;
    esac
done
# or_else HINT: what a developer may do instead; where this is installed there is no ./run.
or_else() {
    [[ ! -x $root/run ]] || printf '; %s' "$1"
}

for program in brindlet-sim talvo-router-sim; do
    [[ -x $bin/$program ]] || fail "there is no $program in $bin$(or_else "'./run --build' builds it")"
done

# In a mount and process namespace of their own all that is started ends, and all that is mounted goes, with the first
# process.
as_root=(unshare --mount --pid --fork --kill-child --mount-proc)
as_user=(unshare --user --map-root-user "${as_root[@]:1}")

# can COMMAND...: whether that gives what the site needs: a mount, a network, and an interface in it.
# shellcheck disable=SC2016
trial='mount -t tmpfs tmpfs /run && mkdir /run/netns && touch /run/netns/trial &&
    unshare --net=/run/netns/trial ip link set lo up && nsenter --net=/run/netns/trial ip link add trial0 type veth peer name trial1'
can() {
    why_not=$("$@" sh -c "$trial" 2>&1 </dev/null) && return
    why_not=${why_not##*$'\n'}
    return 1
}

# Who asked for it owns the files that the box writes, even where root makes the networks.
owner=
enter=("${as_root[@]}")
if ((EUID == 0)); then
    can "${enter[@]}" || fail "root may not make networks on this machine ($why_not)$(
        or_else "'./run --box-only' starts the box alone, in the machine's own network"
    )"
elif can "${as_user[@]}"; then
    enter=("${as_user[@]}")
else
    user_why_not=$why_not
    if command -v sudo >/dev/null; then
        say "User namespaces don't serve here; sudo makes the site's networks."
    fi
    enter=(sudo -n "${as_root[@]}")
    if ! sudo -v 2>/dev/null || ! can "${enter[@]}"; then
        fail "this machine gives an ordinary user no network of its own ($user_why_not), and sudo doesn't help;" \
            "run it as root$(or_else "'./run --box-only' starts the box alone, in the machine's own network")"
    fi
    owner=$(id -u):$(id -g)
fi

# The site's standard input is the lifeline: it ends when this shell lets go of it, killed or not. setsid keeps the
# terminal's Ctrl-C from it; it hears of that from here, once and in order.
# shellcheck disable=SC2034
exec {lifeline}> >(exec "${enter[@]}" setsid bash "$root/scripts/site-inside.sh" \
    "$bin" "$shell_port" "$bench_port" "$owner" "$beside" "$@")
site=$!

signalled=true
trap 'signalled=true; exec {lifeline}>&-' INT TERM HUP
while $signalled; do
    signalled=false status=0
    wait "$site" || status=$?
done
exit "$status"
