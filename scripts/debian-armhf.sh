# shellcheck shell=bash
# Debian 12 for armhf, beside the machine's own packages: an apt with lists, status and cache of its own. To be sourced.

source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/common.sh"

# The security suite's index for armhf may be behind the libraries it belongs to, so it is left out.
debian_sources() {
    apt-get indextargets --format "\$(LABEL) deb [arch=armhf] \$(SITE) \$(CODENAME) \$(COMPONENT)" 'Created-By: Packages' |
        sed -n 's/^Debian deb /deb /p' | sort -u
}

# private_apt FOLDER TOOL ARGUMENT...: apt-get or apt-cache, at work in FOLDER.
private_apt() {
    local folder=$1 tool=$2
    shift 2
    DEBIAN_FRONTEND=noninteractive "$tool" -q -o APT::Architecture=armhf -o APT::Architectures=armhf \
        -o "Dir::Etc::sourcelist=$folder/sources.list" -o Dir::Etc::sourceparts=- -o "Dir::State=$folder/state" \
        -o "Dir::State::status=$folder/status" -o "Dir::Cache=$folder/cache" -o Debug::NoLocking=true \
        -o APT::Sandbox::User= -o APT::Update::Post-Invoke-Success= "$@"
}

# set_up_apt FOLDER: with no package installed, and fresh lists.
set_up_apt() {
    mkdir -p -- "$1"/{state/lists/partial,cache/archives/partial} && : >"$1/status" &&
        debian_sources >"$1/sources.list" || return
    [[ -s $1/sources.list ]] || fail "apt knows of no Debian archive; try apt-get update, as root"
    private_apt "$1" apt-get update
}

# fetch FOLDER PACKAGE...: with all that they depend on, in FOLDER/cache/archives.
fetch() {
    local folder=$1
    shift
    private_apt "$folder" apt-get -y -d install --no-install-recommends "$@"
}
