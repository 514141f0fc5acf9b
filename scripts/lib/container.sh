# shellcheck shell=bash
# Sourced by scripts/install-test: builds the container image from the packages and tries it. $folder is temporary, and
# $tree in it is a fresh Debian, the $release.

# Images and containers live in the temporary folder. The container shares the kernel's names and the network with the
# script, since a machine on which no container can be booted may allow nothing else.
in_storage() {
    local command=$1
    shift
    buildah --root "$folder/storage" --runroot "$folder/run" --storage-driver vfs "$command" "$@"
}

# build_image NAME
build_image() {
    mkdir -p "$folder/context/packages"
    tar --create --file="$folder/context/base.tar" --directory="$tree" --one-file-system .
    cp packaging/container/mux-demo "$folder/context/"
    cp build/packages/dw-hal-mux-brenk{,-tools}_*_"$(dpkg --print-architecture)".deb "$folder/context/packages/"
    in_storage build --quiet --isolation chroot --tag "$1" --file packaging/container/Containerfile "$folder/context" \
        >"$folder/image.log" 2>&1 || { cat "$folder/image.log" >&2 && fail "the image cannot be built"; }
}

# Runs what the image runs by itself, but once, without a network but its own.
run_demo() {
    local container
    container=$(in_storage from "$1")
    export -f in_storage
    folder=$folder unshare --net bash -c 'ip link set lo up && in_storage run --isolation chroot "$1" -- mux-demo --once' \
        bash "$container" | tee "$folder/demo.log"
    grep --quiet '^ACK   open, gateway 1, lock 5' "$folder/demo.log" || fail "the container opens no door"
}

# Both docker and podman load such an archive.
save_image() {
    in_storage push --quiet "$1" "docker-archive:$2:$1"
    say "podman load --input $2 && podman run --publish 127.0.0.1:5555:5555 $1"
}

# build_and_try_image: leaves the image beside the packages.
build_and_try_image() {
    local version image archive
    version=$(dpkg-deb --field build/packages/dw-hal-mux-brenk_*_"$(dpkg --print-architecture)".deb Version)
    image=localhost/dw-hal-mux-brenk:$version-$release
    archive=build/packages/dw-hal-mux-brenk_${version}_container-${release}_$(dpkg --print-architecture).tar
    step "Building the image"
    build_image "$image"
    step "Running the image"
    run_demo "$image"
    step "Saving it as $archive"
    rm -f "$archive"
    save_image "$image" "$archive"
}
