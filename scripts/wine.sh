#!/usr/bin/env bash
# Runs a program for Windows in a Wine of the project's own:
#   scripts/wine.sh FOLDER PROGRAM [ARGUMENT...]
# FOLDER is the one that scripts/windows-deps.sh prints. The user's own Wine is left alone.
set -euo pipefail
folder=$1
shift
export WINEPREFIX=$folder/wine WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
# neither .NET nor a browser is needed, and Wine would ask for them
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe="
unset DISPLAY
exec /usr/lib/wine/wine64 "$@"
