# shellcheck shell=bash
# What the scripts of this folder share. Source it with the repository root as working directory.

# Debian's packages: to build the library and its programs, and beyond that the tests and
# benchmarks.
# shellcheck disable=SC2034
build_packages=(g++ cmake ninja-build libcli11-dev)
# shellcheck disable=SC2034
test_packages=(pkg-config python3 lrzsz libgtest-dev libbenchmark-dev)

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

as_root() {
    if [[ $EUID -eq 0 ]]; then
        "$@"
    else
        sudo "$@"
    fi
}

# Installs those of the named packages that are missing; touches nothing when none is.
install_missing() {
    local package missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [[ ${#missing[@]} -gt 0 ]] || return 0

    if ! command -v apt-get >/dev/null; then
        echo "Please install what these Debian packages hold: ${missing[*]}" >&2
        return 1
    fi
    as_root apt-get update -q
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -q --no-install-recommends "${missing[@]}"
}

# Configures and builds a preset; further arguments go to the build, as in --target.
build_preset() {
    local preset=$1
    shift
    cmake --preset "$preset"
    cmake --build --preset "$preset" --parallel "$(nproc)" "$@"
}
