#!/usr/bin/env bash
# What scripts/site.sh runs as the first process of the site's own process namespace: all ends when it ends. It is in
# the machine's network still; the box and the routers each get one of their own, and a relay for each port leads there.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/common.sh"

bin=$1 shell_port=$2 bench_port=$3 owner=$4 beside=$5
shift 5
control_ports=(55570 55571)
links=("up 0x5002 2 adma 3" "up 0x5004 1 adma 2")

# What the box is told of a link is told to the router at its end, too.
bench_options=(--bench "127.0.0.1:$bench_port")
while (($# > 0)) && [[ $1 != -- ]]; do
    case $1 in
        --link[01]=*) links[${1:6:1}]=${1#*=} ;;
        --link[01]) links[${1:6:1}]=${2-} && shift ;;
        *) bench_options+=("$1") ;;
    esac
    shift || break
done
bench_options+=(--link0 "${links[0]}" --link1 "${links[1]}")
application_options=(--telnet "127.0.0.1:$shell_port" "${@:2}")

exec {lifeline}<&0 </dev/null
stop_patience=15
declare -A name_of=()

within() {
    local network=$1
    shift
    nsenter --net="/run/netns/$network" "$@"
}

# start NAME COMMAND...: in the background; its process id is in $!, so that a signal reaches it and no shell around it.
start() {
    local name=$1
    shift
    "$@" &
    name_of[$!]=$name
}

# listens NETWORK PORT: whether somebody listens there on 127.0.0.1; the empty name is the machine's.
listens() {
    local wanted
    printf -v wanted ': 0100007F:%04X 00000000:0000 0A ' "$2"
    ${1:+nsenter "--net=/run/netns/$1"} grep -qF -- "$wanted" /proc/net/tcp
}

# await PID NETWORK PORT: until it listens; false where it ends, or ten seconds pass, before.
await() {
    local tries
    for ((tries = 0; tries < 200; ++tries)); do
        if listens "$2" "$3"; then
            return
        fi
        kill -0 "$1" 2>/dev/null || return 1
        sleep 0.05
    done
    return 1
}

# relay NAME PORT NETWORK: from 127.0.0.1 of the machine to the same of that network. A client that comes before the
# port is there waits for it.
relay() {
    local log=/run/relay.$2
    if listens '' "$2"; then
        fail "127.0.0.1:$2, for $1, is taken by another program"
    fi
    start "the relay of $1" socat -t 10 -lf "$log" \
        "TCP-LISTEN:$2,bind=127.0.0.1,reuseaddr,fork,max-children=64,backlog=64" \
        "EXEC:nsenter --net=/run/netns/$3 socat -t 10 -lf $log STDIO 'TCP\\:127.0.0.1\\:$2,retry=100,interval=0.1'"
    await $! '' "$2" || fail "cannot listen on 127.0.0.1:$2, for $1: $(sed 's/.*): //' "$log" 2>/dev/null)"
}

# address LINK END: by the plan that both ends follow, from what the link driver is to report of the link.
address() {
    local words hid=0 port=0 bits
    read -ra words <<<"${links[$1]}"
    if [[ ${words[*]:1:2} =~ ^(0x[0-9a-fA-F]{1,8}|[0-9]{1,9})' '(0x[0-9a-fA-F]{1,8}|[0-9]{1,9})$ ]]; then
        hid=${words[1]} port=${words[2]}
    fi
    bits=$((hid << 13 | port << 8 | $1 << 13 | $2))
    printf '%d.%d.%d.%d' $((bits >> 24 & 255)) $((bits >> 16 & 255)) $((bits >> 8 & 255)) $((bits & 255))
}

# Leads link N from the box to the router's network, and starts the router there.
start_router() {
    local link=$1 network=router$1 words
    read -ra words <<<"${links[$link]}"
    within box ip link add "t2link$link" type veth peer name eth0 netns "$network"
    if [[ ${words[0]-} != up ]]; then
        return
    fi
    within "$network" ip address add "$(address "$link" 254)/24" dev eth0
    within "$network" ip link set eth0 up
    start "router $link" nsenter "--net=/run/netns/$network" "${own[@]}" "$bin/talvo-router-sim" --hid "${words[1]-}" \
        --local "$(address "$link" 254)" --box "$(address "$link" $((link + 1)))" \
        --control "127.0.0.1:${control_ports[link]}" >/dev/null
    await $! "$network" "${control_ports[link]}" || fail "router $link doesn't start"
}

# A terminal's end or a kill of what started the site is its end.
watch_lifeline() {
    cat <&"$lifeline" >/dev/null
}

run_beside() {
    await "$box" box "$bench_port" && await "$box" box "$shell_port" || return 1
    bash -c "$beside"
}

# stop_box: asks it to end, and takes no for an answer after a while.
stop_box() {
    kill -TERM "$box" 2>/dev/null || true
    start 'the patience' sleep "$stop_patience"
}

mount -t tmpfs -o size=16m tmpfs /run
mkdir /run/netns
own=()
if [[ -n $owner ]]; then
    own=(setpriv --reuid "${owner%:*}" --regid "${owner#*:}" --init-groups
        --inh-caps=+net_admin --ambient-caps=+net_admin)
fi
# Not by `ip netns add`, which wants to return to the machine's network in a way that only root may.
for network in box router0 router1; do
    : >"/run/netns/$network"
    unshare --net="/run/netns/$network" ip link set lo up
done

relay "the shell" "$shell_port" box
relay "the bench port" "$bench_port" box
start_router 0
start_router 1
relay "router 0" "${control_ports[0]}" router0
relay "router 1" "${control_ports[1]}" router1
say "Shell on 127.0.0.1:$shell_port, bench port on 127.0.0.1:$bench_port," \
    "routers' control ports on 127.0.0.1:${control_ports[0]} and :${control_ports[1]}; Ctrl-C ends the site."

start 'the box' nsenter --net=/run/netns/box "${own[@]}" "$bin/brindlet-sim" "${bench_options[@]}" \
    -- "${application_options[@]}"
box=$!
start 'the lifeline' watch_lifeline
if [[ -n $beside ]]; then
    start 'the command beside' run_beside
fi

# The box's end is the site's, whoever asked for it.
verdict=
while true; do
    status=0
    wait -n -p ended || status=$?
    case ${name_of[$ended]} in
        'the box') exit "${verdict:-$status}" ;;
        'the lifeline') stop_box ;;
        'the command beside') verdict=$status && stop_box ;;
        'the patience') fail "the box still ran $stop_patience seconds after it was asked to end" ;;
        'router '?) say "${name_of[$ended]} has ended (status $status); the site goes on without it." >&2 ;;
        *) say "${name_of[$ended]} has ended (status $status)." >&2 && verdict=1 && stop_box ;;
    esac
done
