#!/usr/bin/env bash
# What a library for Windows offers and what it needs: the classes and functions of its export table and the
# libraries of its import table, one a line, sorted.
#   scripts/dll-tables.sh FILE                     prints them
#   scripts/dll-tables.sh FILE LIST                fails if they are not those of the file LIST
#   scripts/dll-tables.sh FILE --imports NAME...   fails unless each NAME is imported from some library
set -euo pipefail
export LC_ALL=C
file=$1
headers=$(x86_64-w64-mingw32-objdump -p "$file")

tables() {
    awk '/Ordinal\/Name Pointer. Table/ { inside = 1; next } /^$/ { inside = 0 } inside && /\[ *[0-9]+\]/ { print $NF }' \
        <<<"$headers" | x86_64-w64-mingw32-c++filt | sed -E '
            s/\[abi:cxx11\]//g
            s/^(non-virtual|virtual) thunk to //
            s/operator[^A-Za-z_0-9 (]+/operator_/
            s/^([^(]*)\(.*$/\1/
            t reset
            :reset
            s/^(vtable|VTT|typeinfo name|typeinfo) for (.*)$/class \2/; t
            s/^Rvl::([A-Za-z_0-9]+)::.*$/class Rvl::\1/; t
            s/^/function /' | sort -u
    sed -nE 's/^[[:space:]]*DLL Name: (.*)$/needs \1/p' <<<"$headers" | sort -u
}

case "${2:-}" in
    "") tables ;;
    --imports)
        shift 2
        for name in "$@"; do
            grep -qE "^[[:space:]]+[0-9a-f]+[[:space:]]+[0-9]+[[:space:]]+$name\$" <<<"$headers" || {
                echo "$file does not import $name" >&2
                exit 1
            }
        done
        ;;
    *)
        if ! diff -u "$2" <(tables); then
            echo "$file exports or needs something else than $2 says" >&2
            exit 1
        fi
        ;;
esac
