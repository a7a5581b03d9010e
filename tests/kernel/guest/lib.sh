# shellcheck shell=dash source=../../support/verdicts.sh
# What the checks share: words with the application, the routers and the modules.

. /verdicts.sh

blocks=/sys/kernel/debug/brindlet
driver=/sys/kernel/debug/t2link
box=

# ask COMMAND...: the replies of the application's shell.
ask() {
    { echo "tail false" && printf '%s\n' "$@"; } | timeout 20 nc 127.0.0.1 55555 2>/dev/null | sed '1,/^false$/d'
}

# replies COMMAND PATTERN: whether a line of the reply is like this.
replies() {
    ask "$1" | grep -qE "$2"
}

logged() {
    grep -qE "$1" /var/log/T2.log
}

# tell WORDS: a command to the register blocks. tell_driver WORDS: one to the link driver.
tell() {
    echo "$*" >$blocks
}

tell_driver() {
    echo "$*" >$driver
}

# block IDENTITY FIELD: a field of its state; "all" has those of the change-over.
block() {
    sed -n "s/^$1 .*\b$2=\([^ ]*\).*/\1/p" $blocks
}

block_is() {
    [ "$(block "$1" "$2")" = "$3" ]
}

# settled: no change-over in hand, none asked for, and every interrupt of it acknowledged.
settled() {
    block_is all in_hand 0 && block_is 0003 busy 0 && [ $(($(block 0003 control) & 0x20)) -eq 0 ] &&
        block_is 0003 acked "$(block 0003 raised)"
}

# synced NUMBER: settled, after so many change-overs in all.
synced() {
    settled && block_is all syncs "$1"
}

# synced_beyond NUMBER: after more than that.
synced_beyond() {
    settled && [ "$(block all syncs)" -gt "$1" ]
}

# node IDENTITY: the name of its device node.
node() {
    grep -lix "$1" /sys/class/uio/*/name | sed 's#/name$##; s#.*/##'
}

start_box() {
    TalvoBrindlet >/tmp/box.out 2>&1 &
    # shellcheck disable=SC2034 # the checks use it
    box=$!
    await 30 replies hid '^Hid is set to '
}

# ends PROCESS: whether it is no more.
ends() {
    ! kill -0 "$1" 2>/dev/null
}

is_up() {
    ip link show "$1" | grep -q '[<,]UP[,>]'
}

has_address() {
    ip -4 address show "$1" | grep -qF "inet $2/24 "
}

# start_router LINK HID ADDRESS BOX
start_router() {
    ip -n "router$1" address flush dev eth0
    ip -n "router$1" address add "$3/24" dev eth0
    ip -n "router$1" link set eth0 up
    nsenter --net="/run/netns/router$1" talvo-router-sim --hid "$2" --local "$3" --box "$4" \
        --control "127.0.0.1:5557$1" >"/tmp/router$1.out" 2>&1 </dev/null &
    echo $! >"/tmp/router$1.pid"
}

# router LINK REQUEST: its reply.
router() {
    echo "$2" | timeout 20 nsenter --net="/run/netns/router$1" nc 127.0.0.1 "5557$1" 2>/dev/null
}

router_state() {
    router "$1" state | grep -qE "$2"
}

# obeys LINK REQUEST: the router has sent it.
obeys() {
    router "$1" "$2" | grep -q '^ok'
}
