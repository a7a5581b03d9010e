#!/usr/bin/env bash
# Boots a Debian kernel in a virtual machine, with modules of ours for the box's hardware, and has the application
# show there that it works on a real kernel's device nodes, netlink and interfaces. README.md says what it shows.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../support/guest.sh"

here=$root/tests/kernel
work=$root/build/kernel
limit=240

usage() {
    cat <<END
usage: tests/kernel/kernel-test.sh [FOLDER]

Boots a kernel with the application of FOLDER (build/release/bin), and prints a line for each check.
Exit status: 0 when all are well, 77 when something is missing here, else another.
END
}

need_all() {
    [[ $(uname -m) == x86_64 ]] || missing "needs an amd64 machine: it runs this machine's programs in the virtual one"
    need_tools qemu-system-x86_64:qemu-system-x86 busybox:busybox-static cpio:cpio make:make gcc:gcc ip:iproute2 \
        ifconfig:net-tools xz:xz-utils setpriv:util-linux flock:util-linux dash:dash
    if ldd "$(command -v busybox)" >/dev/null 2>&1; then
        missing "needs a busybox that is linked statically; as root: apt-get install --no-install-recommends busybox-static"
    fi
}

# depends PACKAGE PATTERN: the packages that it depends on.
depends() {
    apt-cache depends "$1" 2>/dev/null | sed -n "s/^ *Depends: \\($2\\)\$/\\1/p"
}

# unpack PACKAGE PATTERN...: these of its files, here.
unpack() {
    local package=$1
    shift
    quietly download.log apt-get download "$package" || missing "cannot fetch $package; try apt-get update, as root"
    dpkg-deb --fsys-tarfile "${package}"_*.deb | tar -x --wildcards "$@"
    rm -- "${package}"_*.deb
}

# The kernel with the two modules of its own that are needed, and what modules are built against; whole or not at all.
fetch_kernel() {
    local headers package
    headers=$(depends linux-headers-amd64 'linux-headers-.*')
    if [[ -z $headers ]]; then
        # Where apt has thrown its lists away, a kernel of before will do.
        headers=linux-headers-$(find "$cache/kernel" -mindepth 1 -maxdepth 1 -name '*-amd64' -printf '%f\n' 2>/dev/null |
            sort -V | tail -n 1)
    fi
    release=${headers#linux-headers-}
    [[ -n $release ]] || missing "apt knows no linux-headers-amd64; try apt-get update, as root"
    kernel=$cache/kernel/$release
    [[ ! -e $kernel ]] || return 0
    say "Fetching Linux $release ..."
    need_folder "$cache/kernel"
    fetched=$(mktemp -d "$cache/kernel/fetch.XXXXXX")
    trap 'rm -rf -- "$fetched"' EXIT
    cd -- "$fetched"
    unpack "linux-image-$release" "./boot/vmlinuz-$release" '*/drivers/uio/uio.ko*' '*/drivers/net/veth.ko*'
    for package in "$headers" $(depends "$headers" 'linux-headers-.*') $(depends "$headers" 'linux-kbuild-.*'); do
        unpack "$package" ./usr
    done
    sed -i "s#/usr/src/#$kernel/usr/src/#g" "usr/src/$headers/Makefile"
    find . -name '*.ko.xz' -exec xz -d {} +
    chmod 755 .
    cd -- "$root"
    mv -T -- "$fetched" "$kernel"
    trap - EXIT
}

build_modules() {
    rm -rf -- "$work/modules"
    cp -r -- "$here/modules" "$work/modules"
    quietly "$work/modules.log" make -C "$kernel/usr/src/linux-headers-$release" "M=$work/modules" modules ||
        fail "the modules cannot be built"
}

# put FILE FOLDER: with the libraries that it needs.
put() {
    local library
    install -D -- "$1" "$guest/$2/$(basename -- "$1")"
    { ldd "$1" 2>/dev/null || true; } | sed -n 's#^[^/]*\(/[^ ]*\) (0x.*#\1#p' | while read -r library; do
        [[ -e $guest$library ]] || install -D -- "$library" "$guest$library"
    done
}

make_guest() {
    guest=$work/guest
    rm -rf -- "$guest"
    mkdir -p -- "$guest"/{bin,dev,proc,sys,run/netns,tmp,var/log,home/root}
    put "$(command -v busybox)" bin
    # Not busybox's own, which takes its own ifconfig and ip before any other.
    put "$(command -v dash)" bin
    ln -s dash "$guest/bin/sh"
    put "$(command -v ip)" usr/bin
    put "$(command -v ifconfig)" usr/bin
    put "$bin/TalvoBrindlet" usr/bin
    put "$bin/talvo-router-sim" usr/bin
    install -- "$here"/guest/* "$root/tests/support/verdicts.sh" "$guest"
    install -D -t "$guest/modules" -- "$work"/modules/*.ko
    find "$kernel/lib" -name '*.ko' -exec install -t "$guest/modules" -- {} +
    pack_guest "$guest" "$work/guest.cpio"
}

case ${1-} in
    --help | -h) usage && exit ;;
    -*) usage_error "unknown option '$1'" ;;
esac
bin=$(readlink -f -- "${1:-$root/build/release/bin}")
for program in TalvoBrindlet talvo-router-sim; do
    [[ -x $bin/$program ]] || fail "$bin has no $program"
done
need_all
need_folder "$work"
exec 9>"$work/lock"
flock 9
fetch_kernel
build_modules
make_guest
boot "$limit" "$work/console.log" qemu-system-x86_64 -accel tcg -smp 2 -m 512 -nographic -nodefaults -no-reboot \
    -serial stdio -net none -kernel "$kernel/boot/vmlinuz-$release" -initrd "$work/guest.cpio" \
    -append 'console=ttyS0 quiet panic=-1'
verdicts "$work/console.log" || fail "not all is well (the whole console in $work/console.log)"
