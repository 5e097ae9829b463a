#!/usr/bin/env bash
# Runs a program for Windows in a Wine of the project's own:
#   scripts/wine.sh FOLDER PROGRAM [ARGUMENT...]
#   scripts/wine.sh FOLDER --stay    has Wine's server there until nothing ran for a minute: programs that start at
#                                    once would each start it, and now and then one of them loses it again
# FOLDER is the one that scripts/windows-deps.sh prints. The user's own Wine is left alone.
set -euo pipefail
folder=$1
shift
export WINEPREFIX=$folder/wine WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
# neither .NET nor a browser is needed, and Wine would ask for them
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe="
unset DISPLAY
if [ "$1" = --stay ]; then
    exec </dev/null >/dev/null 2>&1 # what stays must not keep a reader of our output waiting
    timeout 90 /usr/lib/wine/wineserver64 --wait || true # one that runs would end when it likes
    /usr/lib/wine/wineserver64 --persistent=60 || true # or one is there, of another checkout
    set -- cmd /c exit # its services start with the first program
fi
# Now and then the loader ends at once with nothing said, before the program has begun: no program ends that soon.
begin=$(date +%s%N)
status=0
/usr/lib/wine/wine64 "$@" || status=$?
[ "$status" -ne 0 ] && [ $(($(date +%s%N) - begin)) -lt 50000000 ] || exit "$status"
exec /usr/lib/wine/wine64 "$@"
