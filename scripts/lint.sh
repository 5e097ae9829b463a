#!/usr/bin/env bash
# What reads the sources and runs nothing:
#   scripts/lint.sh format       clang-format 14 over every file; seconds
#   scripts/lint.sh warnings     clang 14's warnings over every source by itself, so that each includes what it needs;
#                                what has not changed since the last time is not read again
#   scripts/lint.sh tidy         clang-tidy 14 over the lines of the product's sources that changed since the base: the
#                                whole takes 20 minutes of CPU time, and what was there before is mended when it is touched
# The base is the commit at which this line of work left origin/main, or main where there is no such branch; on main
# itself it is the 5th commit before. RIVLINK_BASE names another.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

# compile_database: configures the build "clang"
compile_database() {
    install_missing "${packages[@]}" clang-14 libbenchmark-dev
    mkdir -p build/clang
    cmake --preset clang >build/clang/configure.log 2>&1 || {
        cat build/clang/configure.log >&2
        return 1
    }
}

check_format() {
    install_missing clang-format-14
    git ls-files -z --cached --others --exclude-standard '*.cpp' '*.h' |
        xargs -0 clang-format-14 --dry-run -Werror
}

check_warnings() {
    compile_database
    # the objects alone: nothing of them is ever linked
    local objects
    mapfile -t objects < <(ninja -C build/clang -t targets all | sed -n 's/: CXX_COMPILER__.*//p')
    [ ${#objects[@]} -gt 100 ] || {
        say "build/clang knows only ${#objects[@]} objects"
        return 1
    }
    export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
    ninja -C build/clang -k 0 "${objects[@]}" >build/clang/build.log 2>&1 || {
        grep -v '^\[[0-9]*/[0-9]*\] ' build/clang/build.log >&2 # without the steps that were done
        return 1
    }
}

base() {
    local branch
    if [ -n "${RIVLINK_BASE:-}" ]; then
        git rev-parse --verify --quiet "$RIVLINK_BASE^{commit}"
        return
    fi
    for branch in origin/main main; do
        if git rev-parse --verify --quiet "$branch" >/dev/null &&
            [ "$(git rev-parse "$branch")" != "$(git rev-parse HEAD)" ]; then
            git merge-base "$branch" HEAD && return
        fi
    done
    git rev-list --max-count=6 --first-parent HEAD | tail -n 1
}

check_tidy() {
    local from findings
    from=$(base) || {
        say "there is no commit ${RIVLINK_BASE:-}"
        return 1
    }
    compile_database
    install_missing clang-tidy-14 python3
    # sources for Windows are not in the database
    findings=$(git diff -U0 "$from" -- platform common runtime driver host |
        clang-tidy-diff-14.py -p1 -path build/clang -clang-tidy-binary clang-tidy-14 -j "$(nproc)" -quiet \
            -regex '.*(?<!_windows)\.cpp' 2>/dev/null | grep -E -A 3 ': (warning|error): ' || true)
    [ -z "$findings" ] || {
        printf '%s\n' "$findings"
        return 1
    }
}

case "${1:-}" in
    format) check_format ;;
    warnings) check_warnings ;;
    tidy) check_tidy ;;
    *)
        say "usage: scripts/lint.sh format|warnings|tidy"
        exit 64
        ;;
esac
