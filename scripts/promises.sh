#!/usr/bin/env bash
# Prints tests/PROMISES.md: what the system promises, read off the names of the tests that keep it.
#   scripts/promises.sh > tests/PROMISES.md     after adding or renaming a test
#   scripts/promises.sh --check                 fails if the file is not up to date
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

table() {
    cat <<'END'
# What is promised, and by which test it is kept

<!-- Written by scripts/promises.sh from the names of the tests. -->

A test with parameters keeps its promise for each of them: each broken configuration, each type that a plug-in
describes, and so on.
END
    find tests -name '*Test.cpp' | LC_ALL=C sort | while read -r file; do
        LC_ALL=C awk -v file="$file" '
            function sentence(name,    i, count, words, text) {
                gsub(/_/, " ", name)
                while (match(name, /[a-z0-9][A-Z]/))
                    name = substr(name, 1, RSTART) " " substr(name, RSTART + 1)
                while (match(name, /[A-Z][A-Z][a-z]/))
                    name = substr(name, 1, RSTART) " " substr(name, RSTART + 1)
                gsub(/Na N/, "NaN", name)
                count = split(name, words, " ")
                for (i = 1; i <= count; ++i) {
                    if (words[i] ~ /^[A-Z][a-z0-9]*$/ && (length(words[i]) > 1 || words[i] == "A"))
                        words[i] = tolower(words[i])
                    text = text (i > 1 ? " " : "") words[i]
                }
                return text
            }
            /^(TYPED_)?TEST(_[FP])?\(/ {
                split($0, parts, /[(), ]+/)
                if (!headed++) print "\n## " file "\n"
                print "- " parts[2] ": " sentence(parts[3])
            }' "$file"
    done
}

if [ "${1:-}" = --check ]; then
    if ! diff -u tests/PROMISES.md <(table); then
        echo "tests/PROMISES.md is not up to date: scripts/promises.sh > tests/PROMISES.md" >&2
        exit 1
    fi
else
    table
fi
