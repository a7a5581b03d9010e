#!/usr/bin/env bash
# Whether Wireshark, with the dissector, shows what the wire carries: bytes worked out by hand, whatever bytes come, and
# a virtual site. Exit status 77 where something it needs is missing.

set -euo pipefail

here=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")
root=$(dirname -- "$(dirname -- "$here")")
dissector=$root/tools/wireshark/brindlet.lua
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin

usage() {
    cat <<END
usage: tests/wireshark/dissector-test.sh [bytes | site [BIN_DIR]]

  bytes   captures made of messages.hex, and of bytes derived from it at random
  site    a capture of the virtual site, of the programs in BIN_DIR (build/release/bin)

Without an argument, both.
END
}

say() {
    printf '%s\n' "$*"
}

fail() {
    say "FAILED: $*" >&2
    exit 1
}

skip() {
    say "skipped: $*" >&2
    exit 77
}

# Wireshark reads no settings and no plugins of the user's.
show() {
    XDG_CONFIG_HOME=$folder/config HOME=$folder tshark -n -X "lua_script:$dissector" "$@" 2>"$folder/tshark.log" ||
        fail "tshark $* ends with status $?: $(<"$folder/tshark.log")"
}

# check WHAT EXPECTED_FILE SEEN_FILE
check() {
    diff -U 2 --label expected --label seen -- "$2" "$3" >&2 || fail "$1"
    say "passed: $1"
}

# capture_of HEX_FILE CAPTURE: makes a capture of a file as messages.hex is.
capture_of() {
    local part words parts=()
    rm -rf -- "$folder/parts"
    mkdir -- "$folder/parts"
    # Every conversation becomes a file whose first line is its own; text2pcap takes an offset of 0 for a new frame.
    awk -v folder="$folder/parts" '
        { sub(/#.*/, "") }
        /^(tcp|udp) / { file = sprintf("%s/%03d", folder, ++parts); print > file; fresh = 1; next }
        NF == 0 { fresh = 1; next }
        { if (fresh) printf "\n000000" > file; fresh = 0; gsub(/^ +/, ""); printf " %s", $0 > file }
        END { for (i = 1; i <= parts; ++i) print "" > sprintf("%s/%03d", folder, i) }' "$1"
    for part in "$folder"/parts/*; do
        read -ra words <"$part"
        tail -n +2 -- "$part" | text2pcap -q -4 10.0.66.254,10.0.66.1 \
            "$([[ ${words[0]} == tcp ]] && say -T || say -u)" "${words[1]},${words[2]}" - "$part.pcap" \
            >"$folder/text2pcap.log" 2>&1 || fail "text2pcap: $(<"$folder/text2pcap.log")"
        parts+=("$part.pcap")
    done
    mergecap -a -w "$2" "${parts[@]}"
}

# What people write filters with.
message_fields=(
    type revision id length hid flags port gain reserved phantom_power operating_level impedance mic_headroom enables
    enables.gain0 enables.phantom_power enables.gain3 enables.impedance enables.gain5 enables.other link
    first first_port second second_port count audio_port src_hid route mute current_rate rates rate parameter wait_ms
    text_length text1 text2 text3 text4 text5 raw)
heartbeat_fields=(hid device_type status raw)

# fields_of CAPTURE [OPTION...]: a line for each frame: its number, its summary, each field of ours that it has with its
# values, and what is wrong with it.
fields_of() {
    # shellcheck disable=SC2046
    show -r "$@" -T fields -E header=y -E separator='|' -e frame.number -e _ws.col.Info \
        $(printf ' -e brindlet.%s' "${message_fields[@]}") $(printf ' -e brindlet_hb.%s' "${heartbeat_fields[@]}") \
        -e _ws.expert.message |
        awk -F '|' '
            NR == 1 { for (i = 1; i <= NF; ++i) name[i] = $i; next }
            {
                line = $1 ": " $2
                for (i = 3; i < NF; ++i) {
                    gsub(/True/, "1", $i)
                    gsub(/False/, "0", $i)
                    sub(/^brindlet(_hb)?\./, "", name[i])
                    if ($i != "") line = line " | " name[i] "=" $i
                }
                print line ($NF == "" ? "" : " | !! " $NF)
            }'
}

no_lua_error_in() {
    if grep -m 3 -iE 'Lua Error|Dissector bug|Malformed Packet' -- "$1" "$folder/tshark.log" >&2; then
        fail "the dissector stumbled"
    fi
}

bytes_by_hand() {
    local capture=$folder/bytes.pcapng
    capture_of "$here/messages.hex" "$capture"
    fields_of "$capture" >"$folder/seen"
    check "the bytes of messages.hex, field by field" "$here/messages.expected" "$folder/seen"

    show -r "$capture" -V >"$folder/trees"
    no_lua_error_in "$folder/trees"
    while IFS= read -r line; do
        grep -qF -- "$line" "$folder/trees" || fail "no tree says '$line'"
    done <<'END'
= Type: command (5)
= Command: IoOutputMuteCmd (816)
Gain: -300 cB
Operating level: -24 cB
Microphone headroom: 280 cB
.... .1.. = Phantom power: meant
...0 .... = Impedance: not meant by this bit
First endpoint's HID: none (0xffffffff)
Entry: audio port 6, route secondary
Audio port: output port 0 (7)
Wait: 200 ms
Rate: 44.1 kHz (2)
Text 1 (model): KX4093
Device type: router that has to claim (5)
= ACOK: not healthy
END
    say "passed: names and units in the trees"
}

# The heartbeats of a box of which one thing after the other is at fault.
status_bits() {
    local labels=(Valid PSU0 PSU1 FAN RAIL48V RAIL15V0 RAIL15V1 MADIOK0 MADIOK1 DCOK DCRANGE DCPROTECTION ACOK)
    local names=(valid psu0 psu1 fan rail48v rail15v0 rail15v1 madiok0 madiok1 dcok dcrange dcprotection acok)
    local bit word columns=() row
    say 'udp 40000 60001' >"$folder/status.hex"
    : >"$folder/expected"
    for bit in "${!names[@]}"; do
        word=$((0xFFFFFFFF ^ 1 << bit))
        printf '01 00 00 00 02 00 00 00 %02x %02x ff ff\n\n' $((word & 255)) $((word >> 8 & 255)) >>"$folder/status.hex"
        row=("${names[@]/*/1}")
        row[bit]=0
        say "${row[*]} Not healthy: ${labels[bit]}" >>"$folder/expected"
        columns+=(-e "brindlet_hb.status.${names[bit]}")
    done
    capture_of "$folder/status.hex" "$folder/status.pcapng"
    show -r "$folder/status.pcapng" -T fields -E separator=/s "${columns[@]}" -e _ws.expert.message |
        sed 's/True/1/g; s/False/0/g' >"$folder/seen"
    check "each bit of the status word" "$folder/expected" "$folder/seen"
}

# Bytes of messages.hex with some changed, left out or doubled, in segments cut at will. The streams are shown with
# reassembly and without.
any_bytes() {
    local seed=${BRINDLET_SEED:-$((RANDOM << 15 | RANDOM))} reassembly
    say "seed $seed (BRINDLET_SEED sets it)"
    awk -v seed="$seed" '
        BEGIN { srand(seed) }
        { sub(/#.*/, "") }
        /^(tcp|udp) / { next }
        { for (i = 1; i <= NF; ++i) byte[count++] = $i }
        END {
            for (stream = 0; stream < 60; ++stream) {
                port = 55000 + 100 * (stream % 2)
                print (stream % 6 == 5 ? "udp 40000 60001" : "tcp " 41000 + stream " " port)
                often = 0.0005 * (1 + stream % 40)
                for (i = 0; i < count; ++i) {
                    what = rand() / often
                    if (what < 0.2) continue
                    printf "%s ", what < 1 ? sprintf("%02x", rand() * 256) : byte[i]
                    if (what < 0.3) --i
                    if (rand() < 0.03) printf "\n\n"
                }
                printf "\n\n"
            }
        }' "$here/messages.hex" >"$folder/any.hex"
    capture_of "$folder/any.hex" "$folder/any.pcapng"
    editcap -s 70 "$folder/any.pcapng" "$folder/any-cut.pcapng"
    for reassembly in TRUE FALSE; do
        show -r "$folder/any.pcapng" -o "tcp.desegment_tcp_streams:$reassembly" -V >"$folder/trees"
        no_lua_error_in "$folder/trees"
        (($(grep -c 'Message: ' "$folder/trees") > 100 && $(grep -c 'Expert Info' "$folder/trees") > 100)) ||
            fail "hardly a message was shown, or hardly a bad one"
    done
    show -r "$folder/any-cut.pcapng" -V >"$folder/trees"
    no_lua_error_in "$folder/trees"
    say "passed: no Lua error, whatever the bytes"
}

# A router's commands of messages.hex, cut in two at each place, begun at each, and with eight bytes lost at each; behind
# them all the commands once more, which must be told as ever.
streams_in_and_out_of_step() {
    local way ids frames
    ids='800 806 802 808 815 816 875 891 892'
    for way in cut begun lost; do
        awk -v way=$way '
            { sub(/#.*/, "") }
            /^(tcp|udp) / { if (++conversations > 1) exit; next }
            { for (i = 1; i <= NF; ++i) byte[count++] = $i }
            function segment(from, to) { for (i = from; i < to; ++i) printf "%s ", byte[i]; printf "\n\n" }
            END {
                for (at = 1; at < count - 8; ++at) {
                    print "tcp " 41000 + at " 55000"
                    if (way != "begun") segment(0, at)
                    if (way == "lost") segment(at, at + 8)
                    segment(way == "lost" ? at + 8 : at, count)
                    segment(0, count)
                }
            }' "$here/messages.hex" >"$folder/way.hex"
        capture_of "$folder/way.hex" "$folder/way.pcapng"
        if [[ $way == lost ]]; then
            mapfile -t frames < <(seq 2 4 "$(show -r "$folder/way.pcapng" -T fields -e frame.number | tail -n 1)")
            editcap "$folder/way.pcapng" "$folder/lost.pcapng" "${frames[@]}"
            mv -- "$folder/lost.pcapng" "$folder/way.pcapng"
        fi
        # A second pass is what Wireshark's window makes of it.
        show -r "$folder/way.pcapng" -2 -T fields -e tcp.stream -e brindlet.id |
            awk -F '\t' '$2 != "" { gsub(",", " ", $2); ids[$1] = ids[$1] " " $2 } END { for (i in ids) print ids[i] }' \
                >"$folder/seen"
        (($(wc -l <"$folder/seen") > 100)) || fail "streams are missing ($way)"
        ! grep -vE -m 3 " $ids\$" "$folder/seen" >&2 || fail "a stream doesn't get back into step ($way)"
        [[ $way != cut ]] || ! grep -vxE -m 3 "( $ids){2}" "$folder/seen" >&2 || fail "a cut makes a difference"
        say "passed: streams that are $way anywhere"
    done
}

# A list that is too long for a tree, in a message of 16 MiB that comes in many segments.
long_list() {
    local entries=2396000
    {
        say 'tcp 40000 55000'
        awk -v entries=$entries -v key=$((0x28000000)) '
            function put(byte) { printf "%s ", byte; if (++size % 60000 == 0) printf "\n\n" }
            function word(value, i) {
                for (i = 0; i < 4; ++i) { put(sprintf("%02x", value % 256)); value = int(value / 256) }
            }
            BEGIN {
                word(key + 815); word(20 + 7 * entries)
                for (i = 0; i < 16; ++i) put("00")
                word(entries)
                for (i = 0; i < 7 * entries; ++i) put("01")
                word(key + 806); word(0)
                print ""
            }'
    } >"$folder/long.hex"
    capture_of "$folder/long.hex" "$folder/long.pcapng"
    show -r "$folder/long.pcapng" -Y brindlet -T fields -e _ws.col.Info -e _ws.expert.message >"$folder/seen"
    printf '%s\t%s\n' "PortBitmapCmd ($entries entries); IoActiveRouter" \
        "$((entries - 4096)) more entries aren't shown" >"$folder/expected"
    check "a message of nearly 16 MiB" "$folder/expected" "$folder/seen"
}

# Runs beside the site: listens at the box while routers give every order there is.
tell_story() {
    local capture=$folder/site.pcapng sniffer reply='' request type
    nsenter --net=/run/netns/box dumpcap -q -i any -f 'tcp port 55000 or tcp port 55100 or udp portrange 60001-60002' \
        -w "$capture" 2>"$folder/dumpcap.log" &
    sniffer=$!
    exec 5<>/dev/tcp/127.0.0.1/55570
    await 'a frame in the capture' has_captured "$capture" 1 frame
    await 'a stream' router_says '"connected":true'
    while IFS= read -r request; do
        ask "$request"
        # The box has carried a request out when it has answered a question behind it.
        ask 'info'
        ((++asked))
        await "the answer to question $asked" has_answers "$asked"
    done <<'END'
claim
bitmap 7:1 0:0
gain 3 -65 240 300
phantom 2 on
outgain 4 -60
mute 5 on
rate 1 20
swap
fail
END
    # What is at the end of the kernel's ring would be lost.
    await 'the last answer in the capture' has_captured "$capture" "$asked" 'brindlet.id == 801'
    for type in 1 2; do
        await "heartbeats of type $type in the capture" has_captured "$capture" 3 "brindlet_hb.device_type == $type"
    done
    kill -INT "$sniffer"
    wait "$sniffer" || fail "dumpcap: $(<"$folder/dumpcap.log")"
    say 'told' >"$folder/told"
}

asked=0

ask() {
    say "$1" >&5
    if ! IFS= read -r -t 10 reply <&5 || [[ $reply != ok* ]]; then
        fail "router 0 says '$reply' to '$1'"
    fi
}

router_says() {
    ask state
    [[ $reply == *"$1"* ]]
}

has_answers() {
    local name='"name":"IO_INFO"' rest
    ask state
    rest=${reply//"$name"/}
    (((${#reply} - ${#rest}) / ${#name} >= $1))
}

# has_captured CAPTURE COUNT FILTER: whether that many frames of it pass. It is being written: its end may be half a
# packet.
has_captured() {
    local seen
    seen=$(tshark -n -X "lua_script:$dissector" -r "$1" -Y "$3" -T fields -e frame.number 2>/dev/null | wc -l) || true
    ((seen >= $2))
}

# await WHAT COMMAND...
await() {
    local until=$((SECONDS + 30)) what=$1
    shift
    until "$@"; do
        ((SECONDS < until)) || fail "$what didn't come in 30 s"
        sleep 0.05
    done
}

# What of the site needs a network of its own, as all sites share their ports.
private=(unshare -nmpf --kill-child --mount-proc)
if ((EUID != 0)); then
    private=(unshare -Urnmpf --kill-child --mount-proc)
fi

virtual_site() {
    local bin=$1 capture=$folder/site.pcapng program why status=0
    for program in brindlet-sim talvo-router-sim; do
        [[ -x $bin/$program ]] || skip "there is no $program in $bin; './run --build' builds it"
    done
    # shellcheck disable=SC2016
    why=$("${private[@]}" sh -c 'mount -t tmpfs tmpfs /run && mkdir /run/netns && touch /run/netns/trial &&
        unshare --net=/run/netns/trial ip link set lo up && ip link add trial0 type veth peer name trial1 &&
        nsenter --net=/run/netns/trial dumpcap -q -i lo -a duration:0 -w /dev/null' 2>&1 </dev/null) ||
        skip "this machine allows no private network to listen in (${why##*$'\n'})"
    "${private[@]}" sh -c 'ip link set lo up && "$@"; exit $?' sh "$root/scripts/site.sh" --bin "$bin" \
        --beside "exec $(printf '%q ' "$here/dissector-test.sh" --beside "$folder")" \
        --root "$folder/root" </dev/null >"$folder/site.log" 2>&1 || status=$?
    if ((status != 0)) || [[ ! -e $folder/told ]]; then
        cat -- "$folder/site.log" >&2
        fail "the site's story isn't told (status $status)"
    fi
    check_site "$capture"
}

check_site() {
    local bytes messages ours='brindlet.field_past_end || brindlet.count_too_big || brindlet.bytes_behind ||
        brindlet.length_too_big || brindlet.unknown_type || brindlet.unknown_command || brindlet.out_of_step ||
        brindlet.cut_short || brindlet_hb.wrong_size || _ws.malformed'
    show -r "$1" -V >"$folder/trees"
    no_lua_error_in "$folder/trees"
    show -r "$1" -Y "$ours" >"$folder/seen"
    check "nothing of the site's is malformed or unknown" /dev/null "$folder/seen"

    # What both ends sent is messages without a gap.
    bytes=$(show -r "$1" -Y '!tcp.analysis.retransmission' -T fields -e tcp.len | awk '{ sum += $1 } END { print sum }')
    messages=$(show -r "$1" -T fields -E occurrence=a -E aggregator=' ' -e brindlet.length |
        awk '{ for (i = 1; i <= NF; ++i) sum += 8 + $i } END { print sum }')
    ((bytes > 0 && bytes == messages)) || fail "of $bytes bytes on TCP, $messages are in messages"
    say "passed: all $bytes bytes on TCP are in messages"

    sed -nE 's/^ +Message: //p' "$folder/trees" | LC_ALL=C sort -u >"$folder/seen"
    check "every command, as it was given or answered" "$here/site.expected" "$folder/seen"
    show -r "$1" -Y brindlet_hb -T fields -e _ws.col.Info | LC_ALL=C sort -u >"$folder/seen"
    printf 'Heartbeat of %s\n' '0x1, box' '0x5002, router' '0x5004, router' >"$folder/expected"
    check "the heartbeats of all three" "$folder/expected" "$folder/seen"
}

if [[ ${1-} == --beside ]]; then
    folder=$2
    tell_story
    exit
fi

case ${1-} in
    '' | bytes | site) ;;
    --help | -h) usage && exit ;;
    *) usage >&2 && exit 2 ;;
esac
for program in tshark text2pcap mergecap editcap; do
    command -v "$program" >/dev/null || skip "there is no $program; Debian's package tshark brings it"
done
folder=$(mktemp -d)
trap 'rm -rf -- "$folder"' EXIT
if [[ ${1-} != site ]]; then
    bytes_by_hand
    status_bits
    any_bytes
    streams_in_and_out_of_step
    long_list
fi
if [[ ${1-} != bytes ]]; then
    virtual_site "$(readlink -f -- "${2:-$root/build/release/bin}")"
fi
