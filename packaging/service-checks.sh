#!/bin/bash
# What test-service.sh has the guest check, in this order, beside a service that systemd has started with the machine.

unit=talvo-brindlet.service
dumps=/var/lib/sorvel/crashdumps/TalvoBrindlet
debug_conf=/home/root/TalvoBrindlet/debug.conf
driver=/sys/kernel/debug/t2link
checked=0
failed=0

exec >/dev/console 2>&1

check() {
    local what=$1 seen status=0
    shift
    seen=$("$@" 2>&1) || status=$?
    checked=$((checked + 1))
    if ((status == 0)); then
        echo "ok $what"
    else
        seen=${seen//$'\n'/; }
        echo "not ok $what: ${seen:0:600}"
        failed=$((failed + 1))
    fi
}

# await SECONDS COMMAND...
await() {
    local limit=$((SECONDS + $1))
    shift
    until "$@"; do
        if ((SECONDS >= limit)); then
            echo "still not so: $*"
            return 1
        fi
        sleep 0.2
    done
}

property() {
    systemctl show --value -p "$1" "$unit"
}

# ask COMMAND...: what the shell replies.
ask() {
    local shell
    { exec {shell}<>/dev/tcp/127.0.0.1/55555; } 2>/dev/null || return 1
    printf '%s\n' "tail false" "$@" >&"$shell"
    timeout 2 cat <&"$shell" || true
    exec {shell}>&-
}

replies() {
    ask "$1" | grep -qE -- "$2"
}

dump_count() {
    find "$dumps" -name '*.dmp' -size +20k | wc -l
}

has_dumps() {
    (($(dump_count) >= $1)) && head -qc 4 "$dumps"/*.dmp | tr -d '\n' | grep -qE '^(MDMP)+$'
}

restarts_without_fpga() {
    await 30 has_dumps 2 && [[ $(property NRestarts) -ge 1 && $(property RestartUSec) == 5s ]] &&
        journalctl -u "$unit" | grep -qF "MINIDUMP=$dumps/"
}

fpga_comes() {
    insmod /modules/uio.ko && insmod /modules/veth.ko && insmod /modules/t2link.ko && insmod /modules/brindlet_uio.ko &&
        ip link set lo up && ip link add t2link0 type veth peer name far0 && ip link add t2link1 type veth peer name far1 &&
        await 30 replies hid '^Hid is set to '
}

is_confined() {
    local main
    main=$(property MainPID)
    grep -E '^(CapEff|NoNewPrivs|Seccomp|Uid):' "/proc/$main/status"
    grep -qE '^CapBnd:\s+0*1000$' "/proc/$main/status" && grep -qE '^CapEff:\s+0*1000$' "/proc/$main/status" &&
        grep -qE '^NoNewPrivs:\s+1$' "/proc/$main/status" && grep -qE '^Seccomp:\s+2$' "/proc/$main/status" &&
        ! nsenter -t "$main" -m touch /etc/trial && ! nsenter -t "$main" -m touch /home/root/TalvoBrindlet/trial &&
        nsenter -t "$main" -m touch /home/root/Firmware/trial
}

record_is_kept() {
    grep -F '<Version>2.0.4711</Version>' /home/root/Firmware/Application.xml
}

has_address() {
    ip -4 address show "$1" | grep -qF "inet $2/24 "
}

address_is_set() {
    echo 'set 0 0x5002 2 0 1 6' >$driver
    await 15 has_address t2link0 10.0.66.1 && ip link show t2link0 | grep -q '[<,]UP[,>]'
}

# What is typed is logged, so that this makes two files full.
log_is_rotated() {
    local line tries
    printf -v line '%060000d' 0
    for ((tries = 0; tries < 40; ++tries)); do
        echo "$line"
    done >/dev/tcp/127.0.0.1/55555
    await 15 test -s /var/log/T2.log.1.gz && gzip -t /var/log/T2.log.1.gz && ls -l /var/log &&
        [[ $(stat -c %U:%a /var/log/T2.log.1.gz) == root:600 ]] && await 5 test ! -e /var/log/T2.log.1
}

crash_leaves_a_dump() {
    local before main
    before=$(dump_count) main=$(property MainPID)
    kill -SEGV "$main"
    await 15 has_dumps $((before + 1)) && await 30 replies hid '^Hid is set to ' &&
        [[ $(property MainPID) != "$main" ]]
}

quit_is_restarted() {
    local main
    main=$(property MainPID)
    ask quit >/dev/null
    await 30 replies hid '^Hid is set to ' && [[ $(property MainPID) != "$main" ]]
}

# And isn't put back.
debug_conf_may_be_missing() {
    rm "$debug_conf" && systemctl restart "$unit" && await 30 replies hid '^Hid is set to ' && [[ ! -e $debug_conf ]] &&
        grep -F "unable to access File '$debug_conf'" /var/log/T2.log
}

stop_keeps_the_folders() {
    local before=$SECONDS
    systemctl stop "$unit" && ((SECONDS - before <= 5)) && [[ $(property Result) == success ]] &&
        has_dumps 3 && [[ -s /var/log/T2.log && -s /var/log/T2.log.1.gz ]]
}

# runs PROGRAM: whether anybody runs it.
runs() {
    grep -qx -- "$1" /proc/[0-9]*/comm 2>/dev/null
}

# Which the next start begins with.
stop_keeps_the_log_in_compression() {
    yes | head -c 30000000 >/var/log/T2.log
    systemctl start "$unit" && await 10 runs gzip && systemctl stop "$unit" && ls -l /var/log &&
        [[ $(gzip -dc /var/log/T2.log.1.gz | wc -c) == 30000000 ]]
}

# The box starts again meanwhile, and may have shifted the generations by one.
crash_keeps_the_log_in_compression() {
    systemctl stop "$unit" && yes | head -c 31000000 >/var/log/T2.log
    systemctl start "$unit" && await 10 runs gzip && kill -KILL "$(property MainPID)" && runs gzip &&
        await 30 replies hid '^Hid is set to ' && await 30 lacks_gzip && ls -l /var/log &&
        for generation in /var/log/T2.log.[12].gz; do gzip -dc "$generation" | wc -c; done | grep -x 31000000 &&
        systemctl stop "$unit"
}

lacks_gzip() {
    ! runs gzip
}

lost_folders_come_back() {
    rm -r /home/root/TalvoBrindlet /var/lib/sorvel
    systemctl start "$unit" && await 30 replies hid '^Hid is set to ' &&
        [[ -d /home/root/TalvoBrindlet && -d /var/lib/sorvel/etc/Extends && -d $dumps && ! -e $debug_conf ]] && is_confined
}

# The first of 130 is empty, one in the middle can't be removed; of the rest the oldest and the newest stay.
old_dumps_go() {
    local number
    rm -f "$dumps"/*
    mkdir "$dumps/60-.dmp"
    for ((number = 1; number < 130; ++number)); do
        [[ -d $dumps/$number-.dmp ]] || echo MDMP >"$dumps/$number-.dmp"
    done
    : >"$dumps/0-.dmp"
    for ((number = 0; number < 130; ++number)); do
        touch -d "@$((1000000000 + number))" "$dumps/$number-.dmp"
    done
    systemctl restart "$unit" && await 30 replies hid '^Hid is set to ' && ls "$dumps" &&
        [[ $(find "$dumps" -type f | wc -l) == 100 && ! -e $dumps/0-.dmp && -e $dumps/50-.dmp &&
            ! -e $dumps/51-.dmp && ! -e $dumps/79-.dmp && -e $dumps/80-.dmp ]]
}

nothing_was_refused() {
    journalctl -u "$unit" | grep -F 'starting...' >/dev/null &&
        ! journalctl -u "$unit" | grep -iE 'not permitted|denied|read-only|cannot|failed to'
}

reinstallation_restarts_it() {
    local main
    main=$(property MainPID)
    dpkg --install /product.deb && await 30 replies hid '^Hid is set to ' && [[ $(property MainPID) != "$main" ]] &&
        [[ $main != 0 && ! -e $debug_conf ]]
}

removal_stops_it() {
    systemctl is-active "$unit" && dpkg --remove talvo-brindlet && ! systemctl is-active "$unit" &&
        ! runs TalvoBrindlet && [[ -d $dumps && -s /var/log/T2.log ]]
}

check 'without its FPGA it starts again and again, and each crash leaves a dump' restarts_without_fpga
check 'it runs when the FPGA comes' fpga_comes
check 'it is confined' is_confined
check 'the firmware record is kept' record_is_kept
check "a link's address is set" address_is_set
check 'a full log is renamed and compressed' log_is_rotated
check 'a crash under the sandbox leaves a dump, and it starts again' crash_leaves_a_dump
check 'it starts again after quit' quit_is_restarted
check 'debug.conf may be missing' debug_conf_may_be_missing
check 'a stop is quick, and keeps log and dumps' stop_keeps_the_folders
check 'a stop during a compression loses no log' stop_keeps_the_log_in_compression
check 'a crash during a compression loses no log' crash_keeps_the_log_in_compression
check 'lost folders are made again' lost_folders_come_back
check 'nothing was refused to it' nothing_was_refused
check 'dumps go where there are many, and none keeps it from starting' old_dumps_go
echo "memory: $(property MemoryCurrent) bytes, tasks: $(property TasksCurrent)"
check 'a reinstallation restarts it, and leaves debug.conf alone' reinstallation_restarts_it
check 'a removal stops it, and keeps log and dumps' removal_stops_it
if ((failed > 0)); then
    journalctl -u "$unit" -n 60 --no-pager
    echo "verdict: $failed of $checked checks are not well"
else
    echo "verdict: all $checked checks are well"
fi
systemctl reboot --force --force
