#!/usr/bin/env bash
# Builds the operator's page from web/: scripts/build-web.sh FOLDER
# What FOLDER holds then, under fixed names, is the whole of the page:
#   index.html icon.svg handle.svg    as they are in web/
#   app.js app.css                    from web/src and web/css, bundled and minified
#   dygraph.js dygraph.css            the library for long trends, from the package libjs-dygraphs; loaded on demand
#   licences.txt                      the licence of that library
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
cp "$web/index.html" "$web/icon.svg" "$web/handle.svg" "$target/"
# The maps that the last lines name are not served. The image of a handle stands within the library, where the page's
# security policy refuses it.
sed -e '/^\/\/# sourceMappingURL=/d' -e 's|"data:image/png;base64,[A-Za-z0-9+/=]*"|"handle.svg"|' \
    "$dygraphs/dygraph.min.js" >"$target/dygraph.js"
if grep -q 'data:image' "$target/dygraph.js"; then
    echo "$0: dygraphs holds an image in a form that is not known here" >&2
    exit 1
fi
sed 's/\/\*# sourceMappingURL=.*//' "$dygraphs/dygraph.min.css" >"$target/dygraph.css"
cp /usr/share/doc/libjs-dygraphs/copyright "$target/licences.txt"
chmod u+w "$target"/*
