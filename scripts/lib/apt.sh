# shellcheck shell=bash
# Sourced by scripts that take packages from apt: installing them, and fetching those that this machine's apt does not
# offer (another release, another architecture) beside its own lists and cache.

readonly debian_keyring=/usr/share/keyrings/debian-archive-keyring.gpg

say() { echo "${0##*/}: $*"; }

fail() {
    say "$*" >&2
    exit 1
}

os_release() {
    # shellcheck source=/dev/null
    (. /etc/os-release && name=$1 && echo "${!name:-}")
}

run_apt() {
    DEBIAN_FRONTEND=noninteractive apt-get --quiet=2 --yes -o DPkg::Lock::Timeout=300 "$@" >/dev/null
}

# main_archive CODENAME: where this machine has that Debian from: the same place has other releases and architectures.
# apt knows it only from its lists, which a fresh machine may lack.
main_archive() {
    local addresses
    addresses=$(main_archives "$1")
    if [ -z "$addresses" ]; then
        update_lists
        addresses=$(main_archives "$1")
    fi
    echo "${addresses%%$'\n'*}"
}

# The label keeps the security archive out.
main_archives() {
    # shellcheck disable=SC2016 # apt fills in the address
    apt-get indextargets --format '$(REPO_URI)' \
        'Created-By: Packages' "Codename: $1" 'Label: Debian' 'Component: main'
}

update_lists() {
    local as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    say "apt has no lists here, updating them" >&2
    "${as_root[@]}" apt-get --quiet=2 update >&2 || say "apt could not refresh its lists" >&2
}

# make_borrow_folder FOLDER CODENAME ARCHITECTURE: lays out a folder that holds all that fetching leaves behind, with
# one release and architecture as its only source. apt downloads as user _apt when root runs it.
make_borrow_folder() {
    local archive
    borrow_folder=$1
    archive=$(main_archive "$(os_release VERSION_CODENAME)")
    [ -n "$archive" ] || fail "apt's sources name no main archive of $(os_release PRETTY_NAME) to take packages from"
    mkdir -p "$borrow_folder"/{lists,cache,download}
    chmod 755 "$borrow_folder"
    [ "$(id -u)" -ne 0 ] || chown _apt "$borrow_folder/download"
    echo "deb [arch=$3 signed-by=$debian_keyring] $archive $2 main" >"$borrow_folder/sources.list"
    borrow_architecture=$3
}

# Runs apt-get with the folder's only source. What it cannot verify it refuses, whatever this machine's configuration
# lets pass.
apt_borrowing() {
    (cd "$borrow_folder/download" && run_apt \
        -o Dir::Etc::sourcelist="$borrow_folder/sources.list" \
        -o Dir::Etc::sourceparts=/dev/null \
        -o Dir::State::lists="$borrow_folder/lists" \
        -o Dir::Cache="$borrow_folder/cache" \
        -o APT::Architectures::="$borrow_architecture" \
        -o Acquire::Languages=none \
        -o Acquire::AllowInsecureRepositories=false \
        -o APT::Get::AllowUnauthenticated=false \
        -o APT::Update::Error-Mode=any \
        "$@")
}
