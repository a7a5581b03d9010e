#!/usr/bin/env bash
# Boots a Debian that has the product's package in a virtual machine, with the kernel and the modules of tests/kernel for
# the box's hardware, and checks there what the service does under systemd.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../scripts/common.sh"
source "$root/tests/support/guest.sh"

work=$root/build/service
limit=300

usage() {
    cat <<END
usage: packaging/test-service.sh

Boots a Debian 12 with build/packages' talvo-brindlet for amd64, and prints a line for each check. As root, with
debootstrap, qemu-system-x86, cpio, a network, and what tests/kernel/kernel-test.sh leaves behind. Exit status: 0
when all are well, 77 when something is missing here, else another.
END
}

# In mounts of its own, which go with it.
make_guest() {
    local guest=$1
    mount -t tmpfs -o size=2g tmpfs "$guest"
    debootstrap --variant=minbase --cache-dir="$cache/debs" --include=kmod,iproute2 bookworm "$guest"
    mount -t proc proc "$guest/proc"
    cp -- "$package" "$guest/product.deb"
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive \
        chroot "$guest" apt-get -q -y install --no-install-recommends /product.deb
    umount "$guest/proc"
    rm -rf -- "$guest"/{var/cache/apt,var/lib/apt/lists,usr/share/{doc,locale,man,i18n}}/*
    ln -s lib/systemd/systemd "$guest/init"
    install -D -t "$guest/modules" -- "$root"/build/kernel/modules/*.ko
    find "$kernel/lib" -name '*.ko' -exec install -t "$guest/modules" -- {} +
    install -- "$root/packaging/service-checks.sh" "$guest/checks.sh"
    printf '<Application><Version>2.0.1</Version></Application>\n' >"$guest/home/root/Firmware/Application.xml"
    printf '[Service]\nType=simple\nExecStart=/checks.sh\n[Install]\nWantedBy=multi-user.target\n' \
        >"$guest/etc/systemd/system/checks.service"
    chroot "$guest" systemctl -q enable checks.service
    chroot "$guest" systemctl -q mask serial-getty@ttyS0.service getty@tty1.service
    pack_guest "$guest" "$work/guest.cpio"
}

kernel=$(find "$cache/kernel" -mindepth 1 -maxdepth 1 -name '[0-9]*' 2>/dev/null | sort -V | tail -n 1)
package=$(compgen -G "$root/build/packages/talvo-brindlet_*_amd64.deb" || true)
if [[ ${1-} == --inside ]]; then
    make_guest "$2"
    exit
fi
case ${1-} in
    --help | -h) usage && exit ;;
    '') ;;
    *) usage_error "unknown option '$1'" ;;
esac
need_tools debootstrap:debootstrap qemu-system-x86_64:qemu-system-x86 cpio:cpio
if [[ -z $kernel ]] || ! compgen -G "$root/build/kernel/modules/*.ko" >/dev/null; then
    missing "needs the kernel and the modules that tests/kernel/kernel-test.sh makes"
fi
[[ -n $package ]] || missing "there is no package for amd64; ./package amd64 makes it"
((EUID == 0)) || missing "only root can make the guest"
need_folder "$work"
need_folder "$cache/debs"
guest=$(mktemp -d)
trap 'rmdir -- "$guest"' EXIT
quietly "$work/guest.log" unshare --mount bash "$0" --inside "$guest" || fail "the guest cannot be made"
rmdir -- "$guest"
boot "$limit" "$work/console.log" qemu-system-x86_64 -accel tcg -smp 2 -m 1536 -nographic -nodefaults -no-reboot \
    -serial stdio -net none -kernel "$kernel"/boot/vmlinuz-* -initrd "$work/guest.cpio" \
    -append 'console=ttyS0 quiet panic=-1 systemd.show_status=false'
verdicts "$work/console.log" || fail "not all is well (the whole console in $work/console.log)"
grep -a '^memory: ' "$work/console.log"
