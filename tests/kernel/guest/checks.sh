# shellcheck shell=dash source=lib.sh
# What is checked, in this order: each goes on from where the one before it has left the box.

. /lib.sh

# The first slot of the output converters in the table. Its transactions: the destination is sample 0 of address 5;
# the source a sample of address 4 (the inputs), or sample 7 of address 6 or 7 (the links).
dac=1024
from_link0=00c07a00
from_link1=00e07a00
silent=00000a00

transaction_is() {
    replies "adma/transactions $1 $1" "^$1: 0x$2\$"
}

prepare() {
    insmod /modules/uio.ko && insmod /modules/veth.ko && insmod /modules/t2link.ko || return 1
    ip link set lo up
    for link in 0 1; do
        ip netns add router$link && ip link add t2link$link type veth peer name eth0 netns router$link &&
            ip -n router$link link set lo up || return 1
    done
}

missing_block_ends_the_start() {
    insmod /modules/brindlet_uio.ko without=0008 || return 1
    local status=0
    timeout 20 TalvoBrindlet >/tmp/missing.out 2>&1 || status=$?
    rmmod brindlet_uio
    holds [ $status -eq 0 ] && holds grep -qF "FSI '0008' (device '', fd -1, size 0)" /tmp/missing.out
}

# Link 0 may be brought up, of link 1 the driver says to leave it.
box_starts() {
    insmod /modules/brindlet_uio.ko || return 1
    tell_driver set 0 0xffffffff 0 0 1 6
    tell_driver set 1 0xffffffff 0 4 2 7
    start_box
}

firmware_build_is_read() {
    holds grep -qF 'Firmware build v.4711)' /tmp/box.out
}

own_nodes_are_mapped() {
    local identity
    for identity in 0003 0004 0007 0008 0009 000a 000c 000d; do
        holds grep -q " /dev/$(node $identity)\$" "/proc/$box/maps" || return 1
    done
    for identity in unrelated 0010; do
        holds [ -n "$(node $identity)" ] && holds lacks grep -q " /dev/$(node $identity)\$" "/proc/$box/maps" || return 1
    done
}

map_offsets_are_kept() {
    holds replies adma/links 'adcins: Endpoint: 4, .* FSI: 000C, mapped addr: 0x[0-9a-f]*100$' &&
        holds replies adma/links 'dacins: Endpoint: 5, .* FSI: 000D, mapped addr: 0x[0-9a-f]*000$'
}

interrupts_are_enabled() {
    holds block_is 0003 enable 0x1 && holds block_is 0004 enable 0x1f && holds block_is 0008 enable 0x3 &&
        holds block_is 000a enable 0x1 && holds block_is unrelated enable 0x0
}

first_change_over_ends() {
    await 10 synced_beyond 0 && holds replies adma/syncing '^false$'
}

route_is_handed_over() {
    local before
    before=$(block all syncs)
    ask 'adma/patch2 adcins 0,1 dacins 0,1' >/dev/null
    await 10 synced $((before + 1)) &&
        holds transaction_is $dac 00800a00 && holds transaction_is $((dac + 1)) 00801a01 &&
        holds block_is 0003 address 0xc0000
}

# Ten changes while one change-over is in hand take one more, which has the last of them.
held_change_over_gathers() {
    local before sample
    before=$(block all syncs)
    tell hold
    ask 'adma/patch2 adcins 15 dacins 0' >/dev/null
    await 10 block_is all in_hand 1 && holds replies adma/syncing '^true$' || return 1
    for sample in 2 3 4 5 6 7 8 9 10 11; do
        echo "adma/patch2 adcins $sample dacins 0"
    done >/tmp/patches
    ask "$(cat /tmp/patches)" >/dev/null
    holds transaction_is $dac 0080fa00 && holds block_is all syncs "$before" || return 1
    tell auto
    await 10 synced $((before + 2)) && holds transaction_is $dac 0080ba00
}

# At a pace at which most changes have a change-over of their own.
many_change_overs_end() {
    local before round=0
    before=$(block all syncs)
    {
        echo 'tail false'
        while [ $round -lt 400 ]; do
            round=$((round + 1))
            echo "adma/patch2 adcins $((round % 16)) dacins 0"
            usleep 2000
        done
    } | timeout 60 nc 127.0.0.1 55555 >/dev/null
    await 20 synced_beyond $((before + 100)) && holds transaction_is $dac 00800a00
}

# acknowledges IDENTITY BITS TIMES COUNT: raised so often, so many are acknowledged.
acknowledges() {
    local before
    before=$(block "$1" acked)
    tell raise "$1" "$2" "$3"
    await 20 block_is "$1" busy 0 && holds [ "$(block "$1" acked)" -eq $((before + $4)) ]
}

# But the reference's interrupt 3, which its handler disables.
each_node_interrupts() {
    acknowledges 0004 0x17 10 40 && acknowledges 0008 0x3 500 1000 && acknowledges 000a 0x1 10 10
}

# What the handler reads is what the module has put there for it.
interrupt_reaches_its_handler() {
    holds lacks logged 'AC power is unavailable' || return 1
    tell raise 000a 0x1 1 0x1000
    await 10 logged 'AC fault status change. AC power is unavailable'
}

empty_events_do_no_harm() {
    local identity
    for identity in 0003 0004 0008 000a; do
        tell notify $identity 2000
    done
    acknowledges 0008 0x1 1 1 && holds settled && holds replies mode 'Talvo 2'
}

group_is_joined_and_links_asked_for() {
    holds grep -qx 'listened=1' $driver && holds grep -q '^0 .* queries=1 refused=0' $driver &&
        holds grep -q '^1 .* queries=1 refused=0' $driver
}

answers_are_used() {
    holds replies adma/links '^ *t1: Endpoint: 6,' && holds replies adma/links '^ *t2: Endpoint: 7,'
}

down_link_is_brought_up_unless_forbidden() {
    await 10 is_up t2link0 && holds lacks is_up t2link1
}

report_sets_the_address() {
    tell_driver set 0 0x5002 2 0 1 6
    await 10 has_address t2link0 10.0.66.1
}

heartbeats_are_exchanged() {
    start_router 0 0x5002 10.0.66.254 10.0.66.1
    await 15 replies t2avail '^Available Talvo links - T2 Pri Link$' &&
        await 10 router_state 0 '"heartbeats_received":[1-9]' &&
        holds router_state 0 "\"box\":{\"hid\":$(ask hid | sed -n 's/.*set to \([0-9]*\) .*/\1/p'),\"type\":2,"
}

claim_is_taken() {
    await 10 router_state 0 '"connected":true' && holds obeys 0 claim &&
        await 10 replies t2act '^Active Talvo link - T2 Pri Link$' &&
        await 10 router_state 0 '"name":"IO_ACTIVE_AUDIO","hid":[0-9]*,"port":0}' &&
        await 10 transaction_is $dac $from_link0 && await 10 settled
}

# Output port 0, which has the audio port 7 and the first slot.
mute_silences() {
    holds obeys 0 'mute 0 on' && await 10 transaction_is $dac $silent && holds obeys 0 'mute 0 off' &&
        await 10 transaction_is $dac $from_link0
}

rate_is_set_and_told() {
    holds obeys 0 'rate 1' && await 10 logged 'sample rate to 96.* and wait 0 ms' && holds obeys 0 info &&
        await 10 router_state 0 '"name":"IO_SAMPLE_CAPABILITIES"[^}]*"current_rate":1' && holds obeys 0 'rate 0'
}

# Two measurements of link 0's clock: the first makes it the PLL's source, at the second the PLL has locked.
clock_locks() {
    local measurement=$((1150000 << 8 | 1))
    tell raise 0004 0x4 1 $measurement
    await 10 replies clock/active '^t1$' && holds block_is 0004 address 0x30018 && holds block_is 0004 data 0x1 &&
        holds replies clock/status '^ *1 +true +1150000 +stable locking \[selected\]$' || return 1
    tell status 0004 0x8
    tell raise 0004 0x4 1 $measurement
    await 10 replies clock/status '^ *1 +true +1150000 +stable locked \[selected\]$'
}

second_router_is_found() {
    tell_driver set 1 0x5004 1 0 2 7
    await 10 has_address t2link1 10.0.161.2 || return 1
    start_router 1 0x5004 10.0.161.254 10.0.161.2
    await 15 replies t2avail 'T2 Pri Link,  T2 Sec Link$' && await 10 router_state 1 '"connected":true'
}

cut_link_is_left() {
    ip -n router0 link set eth0 down
    await 10 replies t2act 'T2 Sec Link$' && await 10 router_state 1 '"name":"IO_ACTIVE_AUDIO","hid":[0-9]*,"port":1}' &&
        await 10 transaction_is $dac $from_link1 || return 1
    ip -n router0 link set eth0 up
    await 15 replies t2avail 'T2 Pri Link,  T2 Sec Link$' && await 15 router_state 0 '"connected":true' &&
        holds replies t2act 'T2 Sec Link$'
}

# Output port 1, with the audio port 6, stays with the active link.
bitmap_is_played() {
    holds obeys 0 'bitmap 7:1 6:0' && await 10 transaction_is $dac $from_link1 &&
        holds transaction_is $((dac + 1)) 00c06a01 && holds obeys 0 'bitmap 7:0' &&
        await 10 transaction_is $dac $from_link0
}

# The router's heartbeats go on: it is the driver's word that counts.
reported_loss_counts() {
    tell_driver set 1 0xffffffff 0 4 2 7
    await 5 replies t2avail 'links - T2 Pri Link$' && await 5 replies t2act 'T2 Pri Link$'
}

address_changes() {
    kill "$(cat /tmp/router0.pid)"
    tell_driver set 0 0x5006 3 0 1 6
    await 10 has_address t2link0 10.0.195.1 || return 1
    start_router 0 0x5006 10.0.195.254 10.0.195.1
    await 15 logged 'New remote device found: 10.0.195.254' && await 10 replies t2avail 'links - T2 Pri Link$' &&
        await 10 router_state 0 '"connected":true'
}

# The box can't read while the group is flooded, and what it misses is the news.
lost_report_is_asked_for() {
    kill -STOP "$box"
    tell_driver flood 1 2000
    tell_driver quiet 1 0x5004 1 0 2 7
    kill -CONT "$box"
    await 10 logged 'Error receiving reply to netlink message' &&
        { await 15 replies t2avail 'T2 Pri Link,  T2 Sec Link$' || { why="$why; $(tail -n 1 $driver)"; false; }; }
}

stop_leaves_nothing_behind() {
    local identity
    tell hold
    ask 'adma/patch2 adcins 3 dacins 0' >/dev/null
    await 10 block_is all in_hand 1 || return 1
    kill -TERM "$box"
    await 5 ends "$box" || return 1
    for identity in 0003 0004 0008 000a; do
        holds block_is $identity enable 0x0 || return 1
    done
    holds grep -qx 'listened=0' $driver
}

# What the process before has left in hand is waited for; then come its own, one at the start and one for each router.
new_start_waits_for_the_old_change_over() {
    local before
    before=$(block all syncs)
    start_box || return 1
    holds replies adma/syncing '^true$' && holds block_is all syncs "$before" || return 1
    tell auto
    await 10 synced_beyond $((before + 1)) &&
        await 15 replies t2avail 'T2 Pri Link' && await 15 router_state 0 '"connected":true'
}

box_outlives_its_driver() {
    rmmod t2link || return 1
    acknowledges 0008 0x1 1 1 && holds replies t2avail 'T2 Pri Link'
}

box_quits_and_starts_without_driver() {
    ask quit >/dev/null
    await 5 ends "$box" && start_box && holds replies adma/links '^ *t1: Endpoint: 3,' || return 1
    ask quit >/dev/null
    await 5 ends "$box" && holds rmmod brindlet_uio
}

kernel_is_content() {
    why=$(dmesg | grep -E 'BUG|Oops|WARNING|Call Trace|general protection|segfault|refcount' | head -n 1)
    [ -z "$why" ]
}

need 'the modules load and the links are laid' prepare
check 'a missing block ends the start, is named, and the status is 0' missing_block_ends_the_start
need "the box starts on the kernel's nodes" box_starts
check "the firmware's build is read from its node" firmware_build_is_read
check 'the box maps its own nodes and no others' own_nodes_are_mapped
check 'registers are read at the offset of their map' map_offsets_are_kept
check 'interrupts are enabled in the blocks' interrupts_are_enabled
check 'the first change-over ends by its interrupt' first_change_over_ends
check 'a route reaches the table and changes over' route_is_handed_over
check 'changes during a held change-over take one more' held_change_over_gathers
check 'hundreds of change-overs end' many_change_overs_end
check 'interrupts of all four nodes are acknowledged' each_node_interrupts
check 'an interrupt reaches its handler' interrupt_reaches_its_handler
check 'events with nothing pending do no harm' empty_events_do_no_harm
check "the driver's group is joined and both links are asked for" group_is_joined_and_links_asked_for
check "the driver's answers are used" answers_are_used
check 'a link that is down is brought up unless the driver forbids it' down_link_is_brought_up_unless_forbidden
check 'a report sets the address' report_sets_the_address
check 'heartbeats are exchanged with the router' heartbeats_are_exchanged
check "the router's claim is taken" claim_is_taken
check "the router's mute silences" mute_silences
check "the router's sample rate is set and told" rate_is_set_and_told
check "the link's clock is measured and locks" clock_locks
check 'the second router is found' second_router_is_found
check "a router's bitmap is played" bitmap_is_played
check 'a cut link is left for the other' cut_link_is_left
check 'a loss that the driver reports counts at once' reported_loss_counts
check 'a link goes over to another address' address_changes
check 'a report that was lost in a flood is asked for' lost_report_is_asked_for
check 'a stop disables the interrupts and leaves the group' stop_leaves_nothing_behind
check 'a new start waits for the change-over in hand' new_start_waits_for_the_old_change_over
check 'the box outlives its driver' box_outlives_its_driver
check 'the box quits, starts without a driver, and lets its nodes go' box_quits_and_starts_without_driver
check 'the kernel has nothing to complain of' kernel_is_content

conclude
