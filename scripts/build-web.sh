#!/usr/bin/env bash
# Builds the operator's page from web/: scripts/build-web.sh FOLDER
# What FOLDER holds then, under fixed names, is the whole of the page:
#   index.html icon.svg       as they are in web/
#   app.js app.css            from web/src and web/css, bundled and minified
#   dygraph.js dygraph.css    the library that draws long trends, from the package libjs-dygraphs; loaded on demand
#   licences.txt              the licence of that library
# Needs Debian's packages esbuild and libjs-dygraphs.
set -euo pipefail

[ $# -eq 1 ] || {
    echo "usage: $0 FOLDER" >&2
    exit 64
}
web=$(cd "$(dirname "${BASH_SOURCE[0]}")/../web" && pwd)
dygraphs=/usr/share/javascript/dygraphs
target=$1
mkdir -p "$target"

# what a bundle offers to browsers of the last four years
options=(--bundle --minify --charset=utf8 --target=chrome100,firefox100,safari15 --log-level=warning)
esbuild "$web/src/main.ts" "${options[@]}" --format=iife --outfile="$target/app.js"
esbuild "$web/css/app.css" "${options[@]}" --outfile="$target/app.css"
cp "$web/index.html" "$web/icon.svg" "$target/"
# the maps that the last lines name are not served
sed '/^\/\/# sourceMappingURL=/d' "$dygraphs/dygraph.min.js" >"$target/dygraph.js"
sed 's/\/\*# sourceMappingURL=.*//' "$dygraphs/dygraph.min.css" >"$target/dygraph.css"
cp /usr/share/doc/libjs-dygraphs/copyright "$target/licences.txt"
chmod u+w "$target"/*
