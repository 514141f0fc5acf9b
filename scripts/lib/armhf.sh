# shellcheck shell=bash
# Sourced, after lib/apt.sh, by scripts that build for 32-bit ARM: the libraries of that architecture, which live and die
# with the build folder.

readonly armhf_sysroot=$PWD/build/armhf-sysroot
# With the libraries that these depend on, whose names differ between releases.
readonly armhf_libraries=(libc6 libgcc-s1 libstdc++6 uuid-dev libncurses-dev libssl-dev libsqlite3-dev libsystemd-dev
    libmosquitto-dev libcjose-dev prometheus-cpp-dev libsodium-dev zlib1g-dev)

# Unpacks a package and writes it down as dpkg would, for dpkg-shlibdeps to look up.
unpack_for_armhf() {
    local package=$1 root=$armhf_sysroot/root database=$armhf_sysroot/dpkg name
    name=$(dpkg-deb --field "$package" Package):armhf
    dpkg-deb --extract "$package" "$root"
    dpkg-deb --control "$package" "$armhf_sysroot/control"
    dpkg-deb --contents "$package" | awk -v root="$root" '{sub(/^\./, "", $6); print root $6}' \
        >"$database/info/$name.list"
    for file in symbols shlibs; do
        [ ! -e "$armhf_sysroot/control/$file" ] || mv "$armhf_sysroot/control/$file" "$database/info/$name.$file"
    done
    { sed '1a Status: install ok installed' "$armhf_sysroot/control/control" && echo; } >>"$database/status"
    rm -r "$armhf_sysroot/control"
}

# Links that lead to the root of a Debian lead to the root of this one.
make_links_relative() {
    local link
    find "$armhf_sysroot/root" -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
        ln -sfr "$armhf_sysroot/root$(readlink "$link")" "$link"
    done
}

# The libraries that the packages of the download folder depend on and that it lacks. The headers of the C library are
# those of the cross compiler.
lacking_for_armhf() {
    local package
    for package in "$armhf_sysroot"/apt/download/*.deb; do
        dpkg-deb --field "$package" Depends Pre-Depends
    done | tr ',' '\n' | sed -E 's/^([A-Z][A-Za-z-]*:)? *([^ :|]+).*/\2/' | grep -E '^z?lib' | grep -v -e '-dev$' | sort -u \
        | while read -r package; do
            compgen -G "$armhf_sysroot/apt/download/${package}_*.deb" >/dev/null || echo "$package:armhf"
        done
}

fetch_for_armhf() {
    local lacking=("${armhf_libraries[@]/%/:armhf}")
    apt_borrowing update
    while [ ${#lacking[@]} -gt 0 ]; do
        apt_borrowing download "${lacking[@]}"
        mapfile -t lacking < <(lacking_for_armhf)
    done
}

make_armhf_sysroot() {
    local package
    [ "$(cat "$armhf_sysroot/complete" 2>/dev/null)" != "${armhf_libraries[*]}" ] || return 0
    say "fetching libraries for armhf into $armhf_sysroot"
    rm -rf "$armhf_sysroot"
    mkdir -p "$armhf_sysroot/root/usr/lib" "$armhf_sysroot/dpkg/info"
    ln -s usr/lib "$armhf_sysroot/root/lib"
    echo 1 >"$armhf_sysroot/dpkg/info/format"
    make_borrow_folder "$armhf_sysroot/apt" "$(os_release VERSION_CODENAME)" armhf
    fetch_for_armhf
    for package in "$armhf_sysroot"/apt/download/*.deb; do
        unpack_for_armhf "$package"
    done
    make_links_relative
    rm -r "$armhf_sysroot/apt"
    echo "${armhf_libraries[*]}" >"$armhf_sysroot/complete"
}
