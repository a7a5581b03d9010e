# shellcheck shell=dash source=../../support/verdicts.sh
# What is checked on the board.

. /verdicts.sh

build=$(cat /build)

processor_is_the_boxs() {
    holds grep -qi '^CPU part.*: 0xc09' /proc/cpuinfo && holds grep -q '^Features.*: .*neon' /proc/cpuinfo
}

prepare() {
    busybox insmod /veth.ko && ip link set lo up
}

# passes PROGRAM FILTER: its tests, one at least and none of them skipped. What they print goes to the console.
passes() {
    "$1" --gtest_filter="$2" --gtest_brief=1 >/tmp/tests.out 2>&1
    holds [ $? -eq 0 ]
    local status=$?
    cat /tmp/tests.out
    [ $status -eq 0 ] && holds lacks grep -q 'SKIPPED' /tmp/tests.out && holds grep -q 'PASSED *\] [1-9]' /tmp/tests.out
}

# send PROGRAM FILE: on the serial line for dumps.
send() {
    { echo "begin $1" && base64 "$2" && echo end; } >/dev/ttyAMA1
}

product_ends_without_the_fpga() {
    "$build/bin/TalvoBrindlet" >/tmp/product.out 2>&1
    holds [ $? -eq 134 ] && holds grep -qF "FSI '0010' (device '', fd -1, size 0)" /tmp/product.out &&
        send TalvoBrindlet "$(sed -n 's/^MINIDUMP=//p' /tmp/product.out)"
}

virtual_box_crashes() {
    "$build/bin/brindlet-sim" --root /tmp/crash --bench 127.0.0.1:0 --link0 'up 1 1 adma 3' --link1 'up 1 1 adma 2' \
        >/tmp/crash.out 2>&1 &
    local box=$!
    await 30 grep -q 'configuring audio' /tmp/crash.out || return 1
    kill -SEGV $box
    wait $box
    holds [ $? -eq 139 ] && send brindlet-sim "/tmp/crash$(sed -n 's/^MINIDUMP=//p' /tmp/crash.out)"
}

check 'the processor is a Cortex-A9 with NEON' processor_is_the_boxs
need 'the modules load' prepare
check 'the product ends without the FPGA, and leaves a minidump' product_ends_without_the_fpga
check 'a crash of the virtual box leaves a minidump' virtual_box_crashes
while read -r program filter; do
    check "unit tests, $filter" passes "$program" "$filter"
done </board-tests
# But those of the scripts that play a site on a developer's machine: no box has them.
suites=$("$build/tests/system/system_tests" --gtest_list_tests --gtest_filter='-Demo.*:SiteScriptTest.*' |
    sed -n 's/^\([A-Za-z/]*\.\).*/\1/p')
check 'the system tests are known' [ -n "$suites" ]
for suite in $suites; do
    check "system tests, $suite*" passes "$build/tests/system/system_tests" "$suite*"
done
conclude
