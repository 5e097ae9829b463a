#!/usr/bin/env bash
# Prints where a tool is that only tests use, and fetches it into build/tools at first, without installing anything:
#   scripts/test-tools.sh promtool    the check of metrics, from Debian's package prometheus, which would start a server
#   scripts/test-tools.sh axe         the file of axe-core, the check of accessibility, by npm
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

tools=$root/build/tools
mkdir -p "$tools"
# beside its place and moved there, so that what is there is complete
work=$(mktemp -d "$tools/fetching.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

fetch_promtool() {
    local as_root=()
    if ! apt-get download -qq prometheus >apt.log 2>&1; then
        # no list of packages yet, or one that is too old
        [ "$(id -u)" -eq 0 ] || as_root=(sudo -n)
        "${as_root[@]}" apt-get update -qq </dev/null >&2 || true
        apt-get download -qq prometheus >apt.log 2>&1 || { cat apt.log >&2; return 1; }
    fi
    dpkg-deb --fsys-tarfile prometheus_*.deb | tar -x ./usr/bin/promtool
    mv usr/bin/promtool "$1"
}

fetch_axe() {
    npm install --prefix "$work" --silent --no-audit --no-fund --ignore-scripts axe-core@4 >npm.log 2>&1 ||
        { cat npm.log >&2; return 1; }
    mv node_modules/axe-core/axe.min.js "$1"
}

case "${1:-}" in
    promtool) file=$tools/promtool ;;
    axe) file=$tools/axe.min.js ;;
    *)
        say "usage: scripts/test-tools.sh promtool|axe"
        exit 64
        ;;
esac
[ -f "$file" ] || "fetch_$1" "$file"
echo "$file"
