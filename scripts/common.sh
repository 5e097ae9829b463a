# Shared by ./run and ./test; sourced, not run.
# Sets `root`, the repository's folder, and offers install_missing and build.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Everything that building, running and testing needs, by Debian's package names.
packages=(
    g++ cmake ninja-build ccache
    libboost-dev libboost-thread-dev libboost-system-dev libboost-date-time-dev libboost-chrono-dev
    libboost-filesystem-dev
    liblog4cplus-dev libpugixml-dev libcli11-dev nlohmann-json3-dev libsqlitecpp-dev libsqlite3-dev
    libgtest-dev libgmock-dev libxml2-utils
    esbuild libjs-dygraphs
)

say() {
    printf '%s\n' "$*" >&2
}

# install_missing PACKAGE...: installs those that are not there yet; does nothing, fast, if all are.
install_missing() {
    if ! command -v dpkg-query >/dev/null; then
        say "This script installs Debian packages, and this machine has no dpkg. Install the counterparts of"
        say "  $*"
        say "yourself, then: cmake --preset dev && cmake --build --preset dev"
        return 1
    fi
    local missing=() package installed
    installed=$(dpkg-query -W -f='${Package}=${Status}\n' "$@" 2>/dev/null || true)
    for package in "$@"; do
        case $'\n'"$installed"$'\n' in
            *$'\n'"$package=install ok installed"$'\n'*) ;;
            *) missing+=("$package") ;;
        esac
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            say "Missing packages: ${missing[*]}"
            say "Neither root nor sudo is at hand to install them."
            return 1
        fi
        as_root=(sudo)
    fi
    say "Installing: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq </dev/null >&2 &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null >&2
}

# build PRESET [TARGET...]: configures once and builds; silent while nothing needs to be done.
build() {
    # one compiler cache serves every checkout of the project
    export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
    local preset=$1
    shift
    local folder="$root/build/$preset" targets=()
    [ $# -gt 0 ] && targets=(--target "$@")
    mkdir -p "$folder"
    if [ ! -f "$folder/build.ninja" ]; then
        say "Configuring the build \"$preset\""
        (cd "$root" && cmake --preset "$preset") >"$folder/configure.log" 2>&1 || {
            cat "$folder/configure.log" >&2
            return 1
        }
    fi
    if [ ! -f "$folder/built-once" ]; then
        say "Building \"$preset\"; the first time takes some minutes"
    fi
    (cd "$root" && cmake --build --preset "$preset" "${targets[@]}") >"$folder/build.log" 2>&1 || {
        grep -v '^\[[0-9]*/[0-9]*\] ' "$folder/build.log" >&2 # without the steps that were done
        return 1
    }
    touch "$folder/built-once"
}
