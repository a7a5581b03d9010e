#!/usr/bin/env bash
# Runs the build for the box's processor: its unit tests by emulation of single processes, then the programs on an
# emulated board with a Debian kernel. README.md says what that shows.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../support/guest.sh"
source "$root/scripts/debian-armhf.sh"

here=$root/tests/arm
build=$root/build/armhf
work=$root/build/arm
limit=1500

usage() {
    cat <<END
usage: tests/arm/arm-test.sh [units | board]

Runs what build/armhf holds: its unit tests under user-mode emulation, then its programs on an emulated board.
Prints a line for each check. Exit status: 0 when all are well, 77 when something is missing here, else another.
END
}

# What the guest consists of, beside what was built here.
packages=(
    dash coreutils grep sed gzip util-linux mount busybox-static iproute2 net-tools
    libstdc++6 libboost-filesystem1.74.0 libboost-program-options1.74.0 libtinyxml2.6.2v5 libnl-genl-3-200
)

# The tests that the emulation of a process can't run, which the board does: a line for each program, with a filter.
board_tests() {
    sed -E 's/ *#.*//; /^$/d' "$here/board-tests"
}

run_units() {
    local left
    left=$(board_tests | sed -E 's/^[^ ]+ //; s/:/|/g; s/\./\\./g; s/\*/.*/g' | paste -sd '|')
    need_folder "$work"
    (cd -- "$root" && ctest --preset armhf -j "$jobs" -LE system -E "^($left)\$") >"$work/units.log" 2>&1 ||
        {
            without_passes <"$work/units.log" >&2
            fail "not all unit tests pass (whole output in $work/units.log)"
        }
    ! grep '(Skipped)$' "$work/units.log" || fail "the board runs what is skipped: add it to $here/board-tests"
    grep -E '^[0-9]+% tests passed' "$work/units.log"
}

# What the guest needs of Debian, once, in a folder that says what it was made of.
fetch_debian() {
    local partial kernel deb
    debian=$cache/guest-armhf-$(cksum <<<"${packages[*]}" | cut -d ' ' -f 1)
    [[ ! -e $debian ]] || return 0
    say "Fetching Debian for the board ..."
    need_folder "$cache"
    partial=$(mktemp -d "$debian.XXXXXX")
    # shellcheck disable=SC2064 # this folder, whatever the name stands for then
    trap "rm -rf -- '$partial'" EXIT
    quietly "$cache/guest-armhf.log" fetch_packages "$partial/apt" || missing "cannot fetch Debian for armhf"
    for deb in "$partial"/apt/cache/archives/*.deb; do
        dpkg-deb -x "$deb" "$partial/tree"
    done
    mkdir -- "$partial/kernel"
    kernel=$(find "$partial/apt" -maxdepth 1 -name 'linux-image-*.deb')
    dpkg-deb --fsys-tarfile "$kernel" | tar -C "$partial/kernel" -x --wildcards --transform 's,.*/,,' --show-transformed \
        './boot/vmlinuz-*' '*/vexpress-v2p-ca9.dtb' '*/drivers/net/veth.ko*'
    find "$partial/kernel" -name '*.ko.xz' -exec xz -d {} +
    rm -rf -- "$partial/apt" "$partial/tree/usr/share" "$partial"/tree/{,usr/}lib/{systemd,udev} \
        "$partial/tree/usr/lib/arm-linux-gnueabihf/gconv"
    ln -sf dash "$partial/tree/bin/sh"
    chmod 755 -- "$partial"
    mv -T -- "$partial" "$debian"
    trap - EXIT
}

fetch_packages() {
    local kernel
    set_up_apt "$1" && fetch "$1" "${packages[@]}" &&
        kernel=$(private_apt "$1" apt-cache depends linux-image-armmp | sed -n 's/^ *Depends: \(linux-image-.*\)/\1/p') &&
        cd -- "$1" && private_apt "$1" apt-get download "$kernel"
}

# The programs stand where they look for each other: at their place on this machine.
make_guest() {
    local guest=$work/guest program
    rm -rf -- "$guest"
    cp -r -- "$debian/tree" "$guest"
    mkdir -p -- "$guest"/{dev,proc,sys,run,tmp,root,home/root,var/log,"$build"/bin,"$root"/docs}
    for program in "$build"/bin/{TalvoBrindlet,brindlet-sim,talvo-router-sim} "$build"/tests/system/system_tests \
        $(board_tests | sed "s,^\([^ ]*\) .*,$build/tests/\1,"); do
        mkdir -p -- "$guest${program%/*}"
        arm-linux-gnueabihf-strip -o "$guest$program" "$program"
    done
    cp -- "$root/docs/shell.md" "$guest$root/docs"
    install -- "$here"/guest/* "$root/tests/support/verdicts.sh" "$debian/kernel/veth.ko" "$guest"
    board_tests | sed "s,^,$build/tests/," >"$guest/board-tests"
    echo "$build" >"$guest/build"
    pack_guest "$guest" "$work/guest.cpio"
}

# The dumps come by a serial line of their own, each as text between two lines.
take_dumps() {
    local program
    for program in TalvoBrindlet brindlet-sim; do
        tr -d '\r' <"$work/dumps.txt" | sed -n "/^begin $program\$/,/^end\$/p" | sed '1d;$d' |
            base64 -d >"$work/$program.dmp"
    done
}

checked=0
failed=0

# stack_has PROGRAM LINE...: one line for each pattern, in the dump's stack.
stack_has() {
    local program=$1 stack line
    shift
    stack=$("$root/tools/stack" "$work/$program.dmp" "$build/symbols" 2>&1) || true
    for line in "$@"; do
        checked=$((checked + 1))
        if grep -qE "$line" <<<"$stack"; then
            say "ok the stack of $program's minidump has $line"
        else
            say "not ok the stack of $program's minidump has $line:" "$stack"
            failed=$((failed + 1))
        fi
    done
}

run_board() {
    need_folder "$work"
    fetch_debian
    make_guest
    boot "$limit" "$work/console.log" qemu-system-arm -M vexpress-a9 -m 1024 -nographic -nodefaults -no-reboot \
        -serial stdio -serial "file:$work/dumps.txt" -net none -kernel "$debian"/kernel/vmlinuz-* \
        -dtb "$debian/kernel/vexpress-v2p-ca9.dtb" -initrd "$work/guest.cpio" \
        -append 'console=ttyAMA0 quiet panic=-1'
    verdicts "$work/console.log" || fail "not all is well (the whole console in $work/console.log)"
    take_dumps
    stack_has TalvoBrindlet 'CPU: arm' 'Crash reason: +SIGABRT' 'TalvoBrindlet!main'
    stack_has brindlet-sim 'CPU: arm' 'Crash reason: +SIGSEGV' 'brindlet-sim!RunApplication.*cpp : [0-9]+'
    ((failed == 0)) || fail "the dumps are not what they should be (they are in $work)"
}

parts=(units board)
case ${1-} in
    --help | -h) usage && exit ;;
    units | board) parts=("$1") ;;
    ?*) usage_error "unknown part '$1'" ;;
esac
need_tools qemu-arm:qemu-user qemu-system-arm:qemu-system-arm arm-linux-gnueabihf-strip:binutils-arm-linux-gnueabihf \
    cpio:cpio xz:xz-utils setpriv:util-linux flock:util-linux
need_folder "$work"
exec 9>"$work/lock"
flock 9
for part in "${parts[@]}"; do
    "run_$part"
done
