#!/usr/bin/env bash
# Installs what the build needs and is not there yet; with --full, --kernel, --arm or --package, what `./check --full`
# needs on this machine itself, `./check kernel`, `./check arm` or `./package` as well. Says and does nothing where all
# is there, and needs no network then.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/common.sh"

build_packages=(
    g++ cmake ninja-build pkg-config
    libboost-dev libboost-filesystem-dev libboost-program-options-dev libboost-system-dev
    libtinyxml-dev libnl-3-dev libnl-genl-3-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    gzip net-tools iproute2 util-linux mount socat
)
full_packages=(clang clang-format clang-tidy libclang-rt-14-dev shellcheck tshark)
package_packages=(dpkg-dev debootstrap lintian g++-arm-linux-gnueabihf)
arm_packages=(dpkg-dev g++-arm-linux-gnueabihf qemu-user qemu-system-arm cpio xz-utils)
kernel_packages=(qemu-system-x86 busybox-static cpio make gcc xz-utils dash)

# Breakpad is not in Debian. Its source tree travels inside this package of the npm registry.
minidump_version=0.26.0
minidump=$cache/minidump-$minidump_version.tgz
minidump_sha512=d4227a9100ddd546b05e09a1b77a472b32cfb993dbf31ad9960acdf87ebfdf3296b1429aa53485d8513b8363638bf367562f863ac57033cb26da677a06325482

# missing PACKAGE...: those of them that are not installed, one a line.
missing() {
    local installed package
    installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' -- "$@" 2>/dev/null || true)
    for package in "$@"; do
        grep -qxF -- "$package installed" <<<"$installed" || printf '%s\n' "$package"
    done
}

# as_root COMMAND...: the lock's descriptor is not handed on, or a daemon that a package starts would keep it.
as_root() {
    if ((EUID == 0)); then
        "$@" 9>&-
    else
        sudo "$@" 9>&-
    fi
}

# One set-up at a time for one user: two clones may be set up together.
take_lock() {
    need_folder "$cache"
    exec 9>"$cache/setup.lock"
    if ! flock -n 9; then
        say "Waiting for another set-up to end ..."
        flock 9
    fi
}

install_packages() {
    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300)
    if ((EUID != 0)) && ! command -v sudo >/dev/null; then
        fail "these packages are missing, and there is no sudo to install them with; as root: apt-get install $*"
    fi
    say "Installing $# Debian packages: $*"
    # A list that cannot be brought up to date may still do; whether it does, the installation tells.
    as_root "${apt[@]}" update </dev/null >"$cache/apt.log" 2>&1 || true
    if ! as_root "${apt[@]}" install --no-install-recommends "$@" </dev/null >>"$cache/apt.log" 2>&1; then
        tail -n 5 -- "$cache/apt.log" >&2
        fail "apt-get could not install them (whole output in $cache/apt.log)"
    fi
}

set_up_packages() {
    local wanted=("$@") absent
    command -v dpkg-query >/dev/null || fail "this set-up is for Debian 12 and needs dpkg and apt-get"
    if ! breakpad_is_there && ! command -v npm >/dev/null; then
        wanted+=(ca-certificates npm)
    fi
    mapfile -t absent < <(missing "${wanted[@]}")
    if ((${#absent[@]} == 0)); then
        return
    fi
    take_lock
    mapfile -t absent < <(missing "${absent[@]}")
    if ((${#absent[@]} > 0)); then
        install_packages "${absent[@]}"
    fi
}

# What the stages in virtual machines and for armhf unpack they fetch themselves, by lists that a machine may have
# thrown away.
set_up_lists() {
    if [[ -z $(apt-cache madison dash 2>/dev/null) ]]; then
        take_lock
        say "Fetching the lists of Debian packages ..."
        as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 update </dev/null \
            >"$cache/apt.log" 2>&1 || true
    fi
}

minidump_is_sound() {
    sha512sum --check --status <<<"$minidump_sha512  $minidump" 2>/dev/null
}

# The folder is filled under another name and then renamed, so that an interrupted run leaves nothing that looks whole.
set_up_breakpad() {
    local partial=$cache/partial
    if breakpad_is_there; then
        return
    fi
    take_lock
    if breakpad_is_there; then
        return
    fi
    rm -rf -- "$partial"
    mkdir -p -- "$partial/tree"
    if ! minidump_is_sound; then
        say "Fetching Breakpad's source tree ..."
        quietly "$cache/npm.log" npm pack "minidump@$minidump_version" --cache "$partial/npm" \
            --pack-destination "$partial" || fail "npm could not fetch Breakpad's source tree; is there a network?"
        mv -- "$partial/${minidump##*/}" "$minidump"
    fi
    minidump_is_sound || fail "$minidump is not the file that was expected: its SHA-512 differs"
    tar -xzf "$minidump" -C "$partial/tree" package/deps package/bin/linux-x64
    rm -rf -- "$cache/breakpad"
    mv -T -- "$partial/tree" "$cache/breakpad"
    rm -rf -- "$partial"
}

packages=("${build_packages[@]}")
for option in "$@"; do
    case $option in
        --full) packages+=("${full_packages[@]}") ;;
        --arm) packages+=("${arm_packages[@]}") ;;
        --kernel) packages+=("${kernel_packages[@]}") ;;
        --package) packages+=("${package_packages[@]}") ;;
        *) fail "unknown option '$option'" ;;
    esac
done
set_up_packages "${packages[@]}"
if ((${#packages[@]} > ${#build_packages[@]})); then
    set_up_lists
fi
set_up_breakpad
