#!/usr/bin/env bash
# The product's story, told and checked on a running site. Wants to be what scripts/site.sh runs beside it: it reads a
# register trace that the box writes in the site's own /run.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/common.sh"

usage() {
    cat <<END
usage: scripts/site.sh --beside scripts/demo.sh
       scripts/demo.sh [--shell-port N] [--bench-port N]

Plays what the box is there for on the site it is started beside, in under a minute: routers that come, order,
die and return, and what the outputs hear of it. Every step is checked. Ends with exit status 0 if all was as
it should be; else it says what was expected and what was seen, and ends with 1 at once.
END
}

declare -A port=([shell]=55555 [bench]=55560 [router0]=55570 [router1]=55571) connection=()
while (($# > 0)); do
    case $1 in
        --shell-port | --bench-port)
            (($# > 1)) || usage_error "$1 needs a value"
            name=${1#--}
            port[${name%-port}]=$2
            shift 2
            ;;
        --help | -h) usage && exit ;;
        *) usage_error "unknown option '$1'" ;;
    esac
done

# The fixed output routes: what slot n of the converters plays of a link at each rate. Output p has slots p and p + 8.
declare -A samples=(
    [48]="7 6 - - 5 4 - - 2 3 - - 0 1 - -"
    [96]="7 6 23 22 5 4 21 20 2 3 18 19 0 1 16 17")
# Which input slots a router gets in its samples 0 to 23 at each rate.
declare -A inputs=(
    [48]="2 3 6 7 10 11 14 15 - - - - - - - - - - - - - - - -"
    [96]="0 1 4 5 8 9 12 13 - - - - - - - - 2 3 6 7 10 11 14 15")
declare -A endpoint=([inputs]=1 [t2]=2 [t1]=3 [outputs]=4)
# The key of each output in a port bitmap.
audio_port=(7 6 5 4 2 3 0 1)

# What is expected at any time: the link that each output plays, or silence, and the rate.
plays=(- - - - - - - -)
rate=48

patience_ms=5000
start_patience_ms=20000
fail_over_limit_ms=3000

# now_ms: in $now.
now_ms() {
    now=$((${EPOCHREALTIME//[!0-9]/} / 1000))
}

seconds() {
    printf '%d.%02d s' $(($1 / 1000)) $(($1 % 1000 / 10))
}

chapter() {
    say
    say "$*"
}

note() {
    say "  $*"
}

# check WHAT EXPECTED SEEN
check() {
    if [[ $2 != "$3" ]]; then
        say "  FAILED: $1"
        say "    expected: $2"
        say "    seen:     $3"
        exit 1
    fi
}

connect() {
    local stream
    { exec {stream}<>"/dev/tcp/127.0.0.1/${port[$1]}"; } 2>/dev/null ||
        fail "nobody listens on 127.0.0.1:${port[$1]} ($1); the demo runs beside a site, see --help"
    connection[$1]=$stream
}

send() {
    printf '%s\n' "${@:2}" >&"${connection[$1]}" || fail "$1 has hung up at '$2'"
}

# receive WHOM: the next line, in $reply.
receive() {
    IFS= read -r -t 10 reply <&"${connection[$1]}" || fail "no answer from $1"
}

# ask WHOM REQUEST: the answer, in $reply; one that isn't ok ends the demo.
ask() {
    send "$1" "$2"
    receive "$1"
    [[ $reply == ok* ]] || fail "$1 says '$reply' to '$2'"
}

# ask_shell COMMAND ANSWER: the first line that begins with ANSWER, in $reply.
ask_shell() {
    send shell "$1"
    receive shell
    while [[ $reply != "$2"* ]]; do
        receive shell
    done
}

# until_true PATIENCE_MS COMMAND...: asks again and again; false when the time is over. The time it took is in $took.
until_true() {
    local limit=$1 began
    shift
    now_ms
    began=$now
    until "$@"; do
        now_ms
        took=$((now - began))
        ((took < limit)) || return 1
        sleep 0.01
    done
    now_ms
    took=$((now - began))
}

# hear SINK COUNT: what samples 0 to COUNT - 1 of the endpoint play, in $heard as "t1:7" or "-".
hear() {
    local requests=() n words
    for ((n = 0; n < $2; ++n)); do
        requests+=("hear ${endpoint[$1]} $n")
    done
    send bench "${requests[@]}"
    heard=()
    for ((n = 0; n < $2; ++n)); do
        receive bench
        read -ra words <<<"$reply"
        case ${words[*]} in
            "ok ${endpoint[t1]} "*) heard+=("t1:${words[2]}") ;;
            "ok ${endpoint[t2]} "*) heard+=("t2:${words[2]}") ;;
            "ok ${endpoint[inputs]} "*) heard+=("in:${words[2]}") ;;
            'ok silence') heard+=(-) ;;
            'ok none') heard+=(none) ;;
            *) heard+=("${words[1]-}:${words[2]-}") ;;
        esac
    done
}

# expect_slots: what the outputs' slots are to play, in $expected.
expect_slots() {
    local sample=() slot link
    read -ra sample <<<"${samples[$rate]}"
    expected=()
    for slot in "${!sample[@]}"; do
        link=${plays[slot % 8]}
        if [[ $link == - || ${sample[slot]} == - ]]; then
            expected+=(-)
        else
            expected+=("$link:${sample[slot]}")
        fi
    done
}

outputs_are_right() {
    hear outputs 16
    [[ ${heard[*]} == "${expected[*]}" ]]
}

# show_outputs: what each output hears, as the link and the samples of it that its two slots play.
show_outputs() {
    local output first second line=
    for ((output = 0; output < 8; ++output)); do
        first=${heard[output]} second=${heard[output + 8]}
        if [[ $first != "$second" ]]; then
            first+=,${second#"${first%%:*}:"}
        fi
        printf -v line '%s  %d %-8s' "$line" "$output" "$first"
    done
    note "outputs hear${line%"${line##*[! ]}"}"
}

# outputs_become WHAT [PATIENCE_MS]: waits until they do; how long it took is in $took.
outputs_become() {
    expect_slots
    until_true "${2:-$patience_ms}" outputs_are_right || check "$1 (16 slots)" "${expected[*]}" "${heard[*]}"
    show_outputs
}

# outputs_stay WHAT: to be called when all that might have changed them is over.
outputs_stay() {
    expect_slots
    hear outputs 16
    check "$1 (16 slots)" "${expected[*]}" "${heard[*]}"
    show_outputs
}

# all_play LINK
all_play() {
    plays=("$1" "$1" "$1" "$1" "$1" "$1" "$1" "$1")
}

routers_hear_inputs() {
    local wanted link
    wanted=" ${inputs[$rate]}"
    wanted=${wanted// /  in:}
    read -ra expected <<<"${wanted//in:-/-}"
    for link in t1 t2; do
        hear "$link" 24
        check "the inputs on their way to the router of $link" "${expected[*]}" "${heard[*]}"
    done
}

# field NAME: a plain value in the JSON of $reply, in $value.
field() {
    [[ $reply =~ \"$1\":([^],}]*) ]] || fail "there is no $1 in '$reply'"
    value=${BASH_REMATCH[1]}
}

# element NAME INDEX: a value in a list in the JSON of $reply, in $value.
element() {
    local list
    [[ $reply =~ \"$1\":\[([^]]*)\] ]] || fail "there is no list $1 in '$reply'"
    IFS=, read -ra list <<<"${BASH_REMATCH[1]}"
    value=${list[$2]-}
}

board_shows() {
    ask bench state
    field "$1"
    [[ $value == "$2" ]]
}

board_lists() {
    ask bench state
    element "$1" "$2"
    [[ $value == "$3" ]]
}

# await_board FIELD VALUE WHAT
await_board() {
    until_true "$patience_ms" board_shows "$1" "$2" || check "$3" "$1 $2" "$1 $value"
}

shell_lists() {
    ask_shell t2avail 'Available Talvo links - '
    [[ $reply == "$1" ]]
}

# await_available TEXT: the routers that the shell lists.
await_available() {
    local wanted="Available Talvo links - $1"
    until_true "$start_patience_ms" shell_lists "$wanted" || check "the shell's t2avail" "$wanted" "$reply"
}

# shell_calls_active NAME
shell_calls_active() {
    ask_shell t2act 'Active Talvo link - '
    check "the shell's t2act" "Active Talvo link - $1" "$reply"
    note "the shell says: $reply"
}

is_connected() {
    ask "$1" state
    field connected
    [[ $value == true ]]
}

# has_heartbeats ROUTER COUNT: whether it has had more than that many of the box's.
has_heartbeats() {
    ask "$1" state
    field heartbeats_received
    ((value > $2))
}

# answers ROUTER: how many replies to `info` it remembers, in $count.
answers() {
    local name='"IO_INFO"' rest
    ask "$1" state
    rest=${reply//"$name"/}
    count=$(((${#reply} - ${#rest}) / ${#name}))
}

has_answers() {
    answers "$1"
    ((count == $2))
}

# order ROUTER REQUEST: returns when the box has carried it out: it answers a question that came after it.
order() {
    local before
    answers "$1"
    before=$count
    ask "$1" "$2"
    ask "$1" info
    until_true "$patience_ms" has_answers "$1" $((before + 1)) ||
        check "the box's answer to $1 after '$2'" "$((before + 1)) IO_INFO" "$count"
    ask bench wait
}

# await_router NUMBER [HEARTBEATS]: until it is connected and has had more than that many heartbeats.
await_router() {
    until_true "$start_patience_ms" is_connected "router$1" || check "router $1 connected" true "$value"
    until_true "$start_patience_ms" has_heartbeats "router$1" "${2:-0}" ||
        check "the box's heartbeats at router $1" "more than ${2:-0}" "$value"
}

# die NUMBER: as when its process is killed: no heartbeats, and the stream is closed.
die() {
    send "router$1" "heartbeat off" "disconnect"
    receive "router$1"
    check "router $1 at 'heartbeat off'" ok "$reply"
    receive "router$1"
    check "router $1 at 'disconnect'" ok "$reply"
}

# measure_clocks: rows of a request, the PLL's source after it, and what it means, from standard input.
measure_clocks() {
    local request source meaning
    while IFS='|' read -r request source meaning; do
        ask bench "$request"
        ask bench wait
        ask bench state
        field pll_source
        check "$request: $meaning" "pll_source $source" "pll_source $value"
        note "$request -> source $source: $meaning"
    done
}

routers_come_up() {
    chapter "Both routers come up: each dials the box, and heartbeats go both ways."
    await_router 0
    await_router 1
    await_available 'T2 Pri Link,  T2 Sec Link'
    note "both are connected, and the box sees both"
}

router_0_claims() {
    chapter "Router 0 claims the box: every output plays the primary link, t1."
    order router0 claim
    all_play t1
    outputs_become "all outputs on t1"
    shell_calls_active 'T2 Pri Link'
    routers_hear_inputs
    note "the inputs go to both routers, in samples 0 to 7"
}

bitmap_moves_outputs() {
    local output there=() back=()
    for output in 0 4 5; do
        there+=("${audio_port[output]}:1")
        back+=("${audio_port[output]}:0")
        plays[output]=t2
    done
    chapter "A port bitmap of router 0 moves outputs 0, 4 and 5 to the other link, t2, and back."
    order router0 "bitmap ${there[*]}"
    outputs_stay "outputs 0, 4 and 5 on t2"
    all_play t1
    order router0 "bitmap ${back[*]}"
    outputs_stay "all outputs on t1 again"
}

mute_silences() {
    chapter "Output 1 is muted: it falls silent, and no other does."
    plays[1]=-
    order router0 "mute 1 on"
    outputs_stay "output 1 silent"
    plays[1]=t1
    order router0 "mute 1 off"
    outputs_stay "output 1 back"
}

# 30 dB is an analogue step of 26 dB (code 0x0f) and 4 dB behind it (code 0x195b): 0x195b0f.
gain_goes_in_stages() {
    local trace=/run/demo.trace lines=() micros=() words=() line
    chapter "Input 1 gets 30 dB of gain, input 2 phantom power."
    ask bench "trace $trace"
    ask router0 "gain 1 300"
    until_true "$patience_ms" board_lists gain 1 $((0x195b0f)) || check "gain word of input 1" $((0x195b0f)) "$value"
    ask bench "trace off"
    mapfile -t lines < <(grep ' 0007 W 0x20 ' "$trace" || true)
    for line in "${lines[@]}"; do
        words+=("${line##* }")
        micros+=("${line%% *}")
    done
    check "the gain words written" "0x00100000 0x00195b0f" "${words[*]}"
    ((micros[1] - micros[0] >= 10000)) ||
        check "time between the stages" "at least 10000 us" "$((micros[1] - micros[0])) us"
    note "in two stages, the old step at 0 dB, then 26 + 4 dB $(((micros[1] - micros[0]) / 1000)) ms later"
    order router0 "phantom 2 on"
    ask bench state
    [[ $reply =~ \"phantom\":\[([^]]*)\] ]]
    check "phantom power of the inputs" "false,false,true,false,false,false,false,false" "${BASH_REMATCH[1]}"
    note "phantom power is on at input 2 alone"
}

clock_is_followed() {
    chapter "The clock: router 0's is source 1, the internal one source 0. In range are 1129000 to 1175000."
    measure_clocks <<END
measure 1 1175001|0|too slow, not taken
measure 1 1152000|1|taken, and the PLL is to lock on it
pll locked|1|the PLL has locked
measure 1 1152000|1|the box holds it for locked
measure 1 1128999|0|out of range: back to the internal clock
measure 1 1152000|1|in range again, and taken again
measure 2 1152000|1|router 1's clock is good, too, and is kept for later
END
}

rate_changes() {
    chapter "The rate goes to 96 kHz, after 200 ms that router 0 asks for to mute its own paths."
    now_ms
    local began=$now
    rate=96
    ask router0 "rate 1 200"
    outputs_become "all outputs with the routes of 96 kHz"
    now_ms
    ((now - began >= 200)) || check "time until the new routes" "at least 200 ms" "$((now - began)) ms"
    await_board double_speed true "the converters' speed"
    await_board reset false "the converters' reset"
    note "after $(seconds $((now - began))), the converters are at double speed and out of reset"
    routers_hear_inputs
    note "the inputs go to both routers, in samples 0 to 7 and 16 to 23"
}

# The board's state but for the OK LED, which has a life of its own.
ask_steady_state() {
    ask bench state
    reply=$(sed -E 's/"ok":\{"on":(true|false)[^}]*\}//' <<<"$reply")
}

rate_is_refused() {
    local before
    chapter "Router 0 asks for a rate that the box doesn't have: nothing changes."
    ask_steady_state
    before=$reply
    order router0 "rate 4"
    ask_steady_state
    check "the whole board's state" "$before" "$reply"
    outputs_stay "all outputs as before"
}

router_0_dies() {
    chapter "Router 0 dies: no heartbeats, no stream. The outputs go over to router 1, on t2."
    all_play t2
    die 0
    outputs_become "all outputs on t2" "$fail_over_limit_ms"
    note "they hear router 1 $(seconds "$took") after the death"
    shell_calls_active 'T2 Sec Link'
    ask bench wait
    measure_clocks <<END
measure 1 1175001|2|the box follows router 1's clock already
measure 1 1152000|2|the dead one's clock is good, and isn't taken all the same
END
}

router_0_returns() {
    local before
    chapter "Router 0 comes back. It is standby now: its claim changes nothing."
    ask router0 state
    field heartbeats_received
    before=$value
    ask router0 connect
    ask router0 "heartbeat on"
    await_router 0 "$before"
    await_available 'T2 Pri Link,  T2 Sec Link'
    order router0 claim
    outputs_stay "all outputs still on t2"
    shell_calls_active 'T2 Sec Link'
}

both_die() {
    chapter "Both routers die: silence, and the internal clock."
    all_play -
    die 0
    die 1
    outputs_become "all outputs silent" "$fail_over_limit_ms"
    note "silent $(seconds "$took") after the death"
    await_board pll_source 0 "the PLL's source"
    shell_calls_active 'No active Talvo link'
}

# A hang-up is told by the write that meets it.
trap '' PIPE
now_ms
started=$now
for name in bench router0 router1 shell; do
    connect "$name"
done
ask_shell 'tail false' 'false'

routers_come_up
router_0_claims
bitmap_moves_outputs
mute_silences
gain_goes_in_stages
clock_is_followed
rate_changes
rate_is_refused
router_0_dies
router_0_returns
both_die

now_ms
say
say "All was as it should be, in $(seconds $((now - started)))."
