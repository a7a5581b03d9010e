#!/usr/bin/env bash
# Looks the packages over, and installs those for this machine's architecture in a Debian 12 that has nothing else.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../scripts/common.sh"
source "$root/tests/support/guest.sh"

packages=$root/build/packages

usage() {
    cat <<END
usage: packaging/test-packages.sh [ARCHITECTURE...]

Prints a line for each check of the packages in build/packages/, amd64 and armhf or those that are named. As
root, with debootstrap, lintian and a network. Exit status: 0 when all are well, 77 when something is missing
here, else another.
END
}

# check WHAT COMMAND...: what the command prints is shown where it fails.
check() {
    local what=$1 output status=0
    shift
    output=$("$@" 2>&1 </dev/null) || status=$?
    if ((status != 0)); then
        printf '%s\n' "$output" >&2
        fail "failed: $what (status $status)"
    fi
    say "ok: $what"
}

# matches PATTERN COMMAND...: whether the command ends well, and a line of what it prints is like this.
matches() {
    local output pattern=$1 status=0
    shift
    output=$("$@" 2>&1) || status=$?
    printf '%s\n' "$output"
    ((status == 0)) && grep -q -- "$pattern" <<<"$output"
}

silent() {
    local output
    output=$("$@" 2>&1) || return
    printf '%s\n' "$output"
    [[ -z $output ]]
}

# within COMMAND...: in the clean system.
within() {
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive chroot "$clean" "$@"
}

install_packages() {
    cp -- "$packages"/*"_$architecture.deb" "$clean/tmp"
    within bash -c 'apt-get -q -y install --no-install-recommends /tmp/*.deb'
}

# A simulation, as nothing of it could run here.
foreign_dependencies() {
    mkdir -p -- "$clean/tmp/foreign/lists/partial"
    cp -- "$packages"/*_armhf.deb "$clean/tmp/foreign"
    # shellcheck disable=SC2016
    within bash -c 'options=(-q -o APT::Architecture=armhf -o APT::Architectures=armhf -o Dir::State::status=/dev/null
            -o Dir::State::lists=/tmp/foreign/lists)
        apt-get "${options[@]}" update && apt-get "${options[@]}" -s install --no-install-recommends /tmp/foreign/*.deb'
}

# The whole path from the archive to the packages' purge, in mounts of its own.
in_clean_system() {
    mount -t tmpfs -o size=2g tmpfs "$clean"
    check "a clean Debian 12" debootstrap --variant=minbase --cache-dir="$cache/debs" bookworm "$clean"
    mount -t proc proc "$clean/proc"
    mount --rbind /dev "$clean/dev"
    if [[ " ${wanted[*]} " == *" armhf "* ]]; then
        check "Debian has all that those for armhf depend on" matches '^Inst talvo-brindlet .*armhf' foreign_dependencies
    fi
    if [[ " ${wanted[*]} " == *" $architecture "* ]]; then
        try_packages
    fi
}

try_packages() {
    local score
    check "both packages and what they depend on install" install_packages

    check "the service starts with the box" within systemctl --root=/ is-enabled talvo-brindlet.service
    check "systemd has nothing against the service" silent within systemd-analyze verify talvo-brindlet.service
    score=$(within systemd-analyze security --offline=true --threshold=30 talvo-brindlet.service | tail -n 1) ||
        fail "failed: the service is more exposed than it was: $score"
    say "ok: ${score#→ }"
    check "the folders are there" within test -d /home/root/Firmware -a -d /var/lib/sorvel/etc/Extends \
        -a -d /var/lib/sorvel/crashdumps/TalvoBrindlet
    # Its status after telling is 1.
    check "the product starts" matches '^Talvo Brindlet [0-9]' within sh -c 'TalvoBrindlet --version || test $? = 1'
    check "the virtual site plays the demo from the package" in_own_network brindlet-site --demo
    check "the package's debug.conf changes nothing" in_own_network sh -c "$quiet_start"
    check "what a box has is there" within sh -c "$used_box"
    check "it goes" within apt-get -q -y purge talvo-brindlet brindlet-virtual
    check "the box's firmware record and HID stay" within test -e /home/root/Firmware/Application.xml \
        -a -e /var/lib/sorvel/etc/Extends/ExtendedHID
    check "nothing else does" silent within find / -xdev \( -iname '*brindlet*' -o -name 'T2.log*' -o -name '*.dmp' \) \
        -not -path '/tmp/*' -not -path "$HOME/*"
}

used_box='set -e
echo "<Application/>" >/home/root/Firmware/Application.xml
echo 1 >/var/lib/sorvel/etc/Extends/ExtendedHID
touch /var/log/T2.log /var/log/T2.log.1 /var/log/T2.log.5.gz /var/lib/sorvel/crashdumps/TalvoBrindlet/1-.dmp
test -e /home/root/TalvoBrindlet/debug.conf'

# The log lists the same features as on and off, with the file and without.
# shellcheck disable=SC2016
quiet_start='set -e
for name in with without; do
    mkdir -p /tmp/$name/home/root/TalvoBrindlet
    test $name = without || cp /home/root/TalvoBrindlet/debug.conf /tmp/$name/home/root/TalvoBrindlet
    brindlet-sim --root /tmp/$name --bench 127.0.0.1:55560 -- --telnet 127.0.0.1:55555 >/dev/null &
    box=$!
    printf "debug\nquit\n" | socat -t 10 STDIO TCP:127.0.0.1:55555,retry=100,interval=0.1 >/dev/null
    wait $box
    sed -nE "s/^\[[^]]*\] ([0-9]+ +- .*)/\1/p" /tmp/$name/var/log/T2.log >/tmp/$name.features
done
head -n 1 /tmp/with/var/log/T2.log | grep "Reading File"
test $(wc -l </tmp/with.features) = 207
cmp /tmp/with.features /tmp/without.features'

in_own_network() {
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        unshare --net sh -c "ip link set lo up && exec chroot '$clean' \"\$@\"" sh "$@"
}

if [[ ${1-} == --inside ]]; then
    architecture=$2 clean=$3 wanted=("${@:4}")
    in_clean_system
    exit
fi
case ${1-} in
    --help | -h) usage && exit ;;
esac
architecture=$(dpkg --print-architecture)
wanted=("$@")
if ((${#wanted[@]} == 0)); then
    wanted=(amd64 armhf)
fi
need_tools debootstrap:debootstrap lintian:lintian
for each in "${wanted[@]}"; do
    [[ $each =~ ^(amd64|armhf)$ ]] || usage_error "unknown architecture '$each'"
    compgen -G "$packages/*_$each.deb" >/dev/null || missing "there are no packages for $each; ./package $each makes them"
    check "lintian finds no error in those for $each" lintian --allow-root --fail-on error "$packages"/*"_$each.deb"
done
((EUID == 0)) || missing "only root can install in a clean system"
unshare --mount --net true 2>/dev/null || missing "this machine lets nobody mount or make networks"
need_folder "$cache/debs"
clean=$(mktemp -d)
trap 'rmdir -- "$clean"' EXIT
unshare --mount --pid --fork --kill-child --mount-proc bash "$0" --inside "$architecture" "$clean" "${wanted[@]}"
