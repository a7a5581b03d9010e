#!/usr/bin/env bash
# Unpacks, once, what the product is compiled and linked with on the box, Debian 12 for armhf, into the user's cache.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/debian-armhf.sh"

sysroot=$cache/sysroot-armhf
packages=(
    libstdc++-12-dev libc6-dev
    libboost-dev libboost-filesystem-dev libboost-program-options-dev libboost-system-dev
    libtinyxml-dev libnl-3-dev libnl-genl-3-dev
    libgtest-dev libgmock-dev libbenchmark-dev
)

# unpack DEB TREE: its files, and its entry in a package database of the tree, whose lists of files say where they are
# now: by that dpkg-shlibdeps finds which package a library is of.
unpack() {
    local deb=$1 tree=$2 database=$2/var/lib/dpkg name control
    dpkg-deb -x "$deb" "$tree"
    name=$(dpkg-deb -f "$deb" Package)
    if [[ $(dpkg-deb -f "$deb" Multi-Arch) == same ]]; then
        name+=:armhf
    fi
    {
        dpkg-deb -f "$deb" | sed '1a Status: install ok installed'
        echo
    } >>"$database/status"
    dpkg-deb --fsys-tarfile "$deb" | tar -t | sed -E "s,^\.,$sysroot,; s,/\$,," >"$database/info/$name.list"
    for control in symbols shlibs; do
        dpkg-deb --ctrl-tarfile "$deb" | tar -xO "./$control" >"$database/info/$name.$control" 2>/dev/null ||
            rm -- "$database/info/$name.$control"
    done
}

# Links that lead to the root of the tree, not of the machine.
relative_links() {
    local link target
    while IFS= read -r -d '' link; do
        target=$(readlink -- "$link")
        ln -sfn --relative -- "$1$target" "$link"
    done < <(find "$1" -type l -lname '/*' -print0)
}

download() {
    set_up_apt "$1" && fetch "$1" "${packages[@]}"
}

# Made of these packages, so that a longer list reaches machines that have a tree.
is_there() {
    [[ -e $sysroot/packages && $(<"$sysroot/packages") == "${packages[*]}" ]]
}

if is_there; then
    exit
fi
need_folder "$cache"
exec 9>"$cache/sysroot-armhf.lock"
flock 9
if is_there; then
    exit
fi
say "Fetching Debian for armhf ..."
partial=$(mktemp -d -- "$cache/sysroot-armhf.XXXXXX")
tree=$partial/tree
trap 'rm -rf -- "$partial"' EXIT
quietly "$cache/sysroot-armhf.log" download "$partial" || fail "Debian for armhf cannot be fetched"
mkdir -p -- "$tree/var/lib/dpkg"/{info,updates,triggers}
# The form of the database in which file names tell architectures apart.
echo 1 >"$tree/var/lib/dpkg/info/format"
for deb in "$partial"/cache/archives/*.deb; do
    unpack "$deb" "$tree"
done
relative_links "$tree"
printf '%s\n' "${packages[*]}" >"$tree/packages"
chmod 755 -- "$tree"
rm -rf -- "$sysroot"
mv -T -- "$tree" "$sysroot"
