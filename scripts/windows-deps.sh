#!/usr/bin/env bash
# Prepares what the cross-build for Windows x86-64 needs, outside the source tree: the libraries, built from the
# distribution's own source packages, and a Wine to run what is built. A second run does nothing.
#   scripts/windows-deps.sh            prepares and prints the folder
#   scripts/windows-deps.sh --where    only prints the folder
# For Debian 12: the source packages are named as there.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[ "${1:-}" = --where ] || install_missing "${packages[@]}" g++-mingw-w64-x86-64-posix wine64 libboost1.74-tools-dev \
    dpkg-dev googletest tcl

cache=${XDG_CACHE_HOME:-$HOME/.cache}/rivlink_local
sources=(boost1.74 log4cplus pugixml libxml2 sqlite3 sqlitecpp)
# what the folder is made of and for: a change of any of it, or of this script, makes a new one
versions=$(dpkg-query -W -f='${Package} ${Version}\n' \
    libboost1.74-dev liblog4cplus-dev libpugixml-dev libcli11-dev nlohmann-json3-dev libxml2-utils googletest \
    libsqlite3-dev libsqlitecpp-dev \
    g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev wine64 2>/dev/null || true)
key=$({ printf '%s\n' "$versions"; cat "${BASH_SOURCE[0]}" "$root/cmake/toolchain-windows.cmake"; } |
    sha256sum | cut -c1-16)
folder=$cache/windows-$key
prefix=$folder/prefix

if [ "${1:-}" = --where ]; then
    printf '%s\n' "$folder"
    exit 0
fi

# one at a time: two first runs must not build into one folder
mkdir -p "$folder"
exec 9>"$folder/lock"
flock 9
if [ -f "$folder/complete" ]; then
    printf '%s\n' "$folder"
    exit 0
fi

work=$folder/work
log=$folder/log
rm -rf "$work" "$prefix" "$folder/wine"
mkdir -p "$work/src" "$prefix"
: >"$log"

step() {
    say "Windows: $*"
}

# Fails with the log's end, as the whole is long.
logged() {
    # in the background, as a shell does not stop at failures within a condition
    "$@" >>"$log" 2>&1 </dev/null &
    wait $! || {
        tail -n 60 "$log" >&2
        say "failed: $*; everything that was said stands in $log"
        return 1
    }
}

# The machine's own package sources say where packages come from; this reads their sources from the same places, in
# lists of its own: nothing of the system's configuration changes, and nothing needs root.
apt_sources() {
    local parts=$work/apt/sources.list.d
    mkdir -p "$parts" "$work/apt/lists/partial" "$work/apt/cache/archives/partial"
    local file
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ -f "$file" ] || continue
        sed -n 's/^[[:space:]]*deb[[:space:]]/deb-src /p' "$file" >"$parts/$(basename "$file" .list).list"
    done
    for file in /etc/apt/sources.list.d/*.sources; do
        [ -f "$file" ] || continue
        sed 's/^Types:.*/Types: deb-src/' "$file" >"$parts/$(basename "$file")"
    done
}

apt_own() {
    apt-get -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$work/apt/sources.list.d" \
        -o Dir::State::Lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache" "$@"
}

fetch() {
    cd "$work/src"
    apt_own update -qq
    apt_own source -qq "${sources[@]}"
}

source_of() {
    local found=("$work/src/$1"-*/)
    [ -d "${found[0]}" ] || {
        say "no source of $1"
        return 1
    }
    printf '%s\n' "${found[0]}"
}

# Only the libraries with something to compile. Copying 14,000 headers, which b2 does one by one in several minutes,
# is left to copy_headers: the installed package is made of the same source.
build_boost() {
    cd "$(source_of boost1.74)"
    printf 'using gcc : mingw : x86_64-w64-mingw32-g++-posix ;\n' >"$work/user-config.jam"
    b2 --user-config="$work/user-config.jam" --build-dir="$work/boost" --stagedir="$prefix" --layout=system \
        toolset=gcc-mingw target-os=windows threadapi=win32 address-model=64 architecture=x86 binary-format=pe \
        abi=ms link=static runtime-link=shared threading=multi variant=release cxxstd=17 \
        --with-thread --with-chrono --with-filesystem --with-system --with-date_time --with-atomic \
        -j"$(nproc)" -d1 stage
    # the package files take the headers to be those of the sources
    sed -i 's|^get_filename_component(_BOOST_INCLUDEDIR .*|get_filename_component(_BOOST_INCLUDEDIR "${_BOOST_CMAKEDIR}/../../include/" ABSOLUTE)|' \
        "$prefix"/lib/cmake/boost_*/*-config.cmake
}

# cmake_build NAME SOURCE [OPTION...]
cmake_build() {
    local name=$1 source=$2
    shift 2
    cmake -S "$source" -B "$work/$name" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-windows.cmake" -DRIVLINK_WINDOWS_DEPENDENCIES="$folder" \
        -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR=lib "$@" &&
        cmake --build "$work/$name" -j"$(nproc)" && cmake --install "$work/$name"
}

# The one source that all of the library is joined to is made on this machine, and compiled for the other.
build_sqlite() {
    local source
    source=$(source_of sqlite3)
    mkdir -p "$work/sqlite" "$prefix/lib" "$prefix/include"
    cd "$work/sqlite"
    "$source/configure" --disable-tcl --disable-readline --disable-shared
    make sqlite3.c
    x86_64-w64-mingw32-gcc-posix -O2 -DSQLITE_ENABLE_COLUMN_METADATA -c sqlite3.c -o sqlite3.o
    x86_64-w64-mingw32-ar rcs "$prefix/lib/libsqlite3.a" sqlite3.o
    cp sqlite3.h "$prefix/include/"
}

# Headers and package files that hold for every system, taken from the packages installed here.
copy_headers() {
    mkdir -p "$prefix/include" "$prefix/share/cmake"
    cp -r /usr/include/boost /usr/include/CLI /usr/include/nlohmann "$prefix/include/"
    cp -r /usr/share/cmake/CLI11 /usr/share/cmake/nlohmann_json "$prefix/share/cmake/"
}

# What every program for Windows needs beside it. Shared, so that exceptions and type information are one across
# the libraries of a process.
copy_runtime() {
    local name
    mkdir -p "$prefix/bin"
    for name in libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll; do
        cp "$(x86_64-w64-mingw32-g++-posix -print-file-name="$name")" "$prefix/bin/"
    done
}

keep_licences() {
    local package
    mkdir -p "$prefix/licences"
    for package in libboost1.74-dev liblog4cplus-dev libpugixml-dev libcli11-dev nlohmann-json3-dev \
        libsqlite3-dev libsqlitecpp-dev \
        gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev; do
        cp "/usr/share/doc/$package/copyright" "$prefix/licences/$package.txt"
    done
    # the texts that they refer to, which every Debian has
    local name
    for name in $(grep -oh '/usr/share/common-licenses/[A-Za-z0-9.-]*[A-Za-z0-9]' "$prefix"/licences/*.txt | sort -u); do
        cp -L "$name" "$prefix/licences/$(basename "$name").txt"
    done
}

# (without the lock, which what stays running of it would hold)
start_wine() {
    "$root/scripts/wine.sh" "$folder" wineboot --init || return
    # temporary files on the drive of the source tree: paths that begin with a slash are meant for that one
    local name
    for name in TEMP TMP; do
        "$root/scripts/wine.sh" "$folder" reg add 'HKCU\Environment' /v "$name" /d 'Z:\tmp' /f || return
    done
}

step "starting Wine for the first time, meanwhile"
start_wine >"$folder/wine.log" 2>&1 </dev/null 9>&- &
wine=$!
step "fetching sources of ${sources[*]}"
apt_sources
logged fetch
step "building Boost"
logged build_boost
step "building log4cplus"
# without its threads for asynchronous logging, which are not used: the library would wait for them when the process
# ends, and Windows has ended them before
logged cmake_build log4cplus "$(source_of log4cplus)" -DBUILD_SHARED_LIBS=ON -DUNICODE=OFF \
    -DLOG4CPLUS_ENABLE_DECORATED_LIBRARY_NAME=OFF -DLOG4CPLUS_BUILD_TESTING=OFF -DWITH_UNIT_TESTS=OFF \
    -DLOG4CPLUS_BUILD_LOGGINGSERVER=OFF -DLOG4CPLUS_ENABLE_THREAD_POOL=OFF
step "building SQLite and SQLiteCpp"
logged build_sqlite
logged cmake_build sqlitecpp "$(source_of sqlitecpp)" -DBUILD_SHARED_LIBS=OFF -DSQLITECPP_INTERNAL_SQLITE=OFF \
    -DSQLITECPP_RUN_CPPLINT=OFF -DSQLITECPP_RUN_CPPCHECK=OFF -DSQLITECPP_USE_STACK_PROTECTION=OFF
step "building pugixml, GoogleTest and xmllint"
logged cmake_build pugixml "$(source_of pugixml)" -DBUILD_SHARED_LIBS=OFF
logged cmake_build libxml2 "$(source_of libxml2)" -DBUILD_SHARED_LIBS=OFF -DLIBXML2_WITH_PYTHON=OFF \
    -DLIBXML2_WITH_ZLIB=OFF -DLIBXML2_WITH_LZMA=OFF -DLIBXML2_WITH_ICONV=OFF -DLIBXML2_WITH_TESTS=OFF
logged cmake_build googletest /usr/src/googletest -DBUILD_SHARED_LIBS=OFF
logged copy_headers
logged copy_runtime
logged keep_licences
wait "$wine" || {
    cat "$folder/wine.log" >&2
    say "failed: Wine does not start"
    exit 1
}
rm -rf "$work"
printf '%s\n' "$versions" >"$folder/complete"
printf '%s\n' "$folder"
