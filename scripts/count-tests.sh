#!/usr/bin/env bash
# Counts what ran in the last ctest of a build, from its log:
#   scripts/count-tests.sh FOLDER STATUS        the build's folder, and what ctest ended with
# A program of GoogleTest counts as many tests as it ran, whether they are CTest's one by one or together; everything
# else counts one. Prints the names of those that failed, and "N passed, N failed" as the last line.
set -euo pipefail

logs=("$1/Testing/Temporary/LastTest.log")
# what failed without having begun stands only in the list of failures, which is of an earlier run if nothing failed
[ "$2" -eq 0 ] || logs+=("$1/Testing/Temporary/LastTestsFailed.log")
awk -v status="$2" '
    FNR == 1 { ++file }
    file == 2 {
        sub(/^[0-9]+:/, "")
        if (!($0 in broken)) {
            ++failed
            print "FAILED: " $0 ", which did not run"
        }
        next
    }
    { sub(/\r$/, "") }
    /^[0-9]+\/[0-9]+ Testing: / {
        name = $0
        sub(/^[^:]*: /, "", name)
        cases = failures = 0
        running = ""
    }
    /^\[ RUN      \] / { running = substr($0, 14) }
    /^\[       OK \] .*\([0-9]+ ms\)$/ { ++passed; ++cases; running = "" }
    /^\[  SKIPPED \] .*\([0-9]+ ms\)$/ { ++skipped; ++cases; running = "" }
    /^\[  FAILED  \] .*\([0-9]+ ms\)$/ {
        ++failed
        ++cases
        ++failures
        running = ""
        line = substr($0, 14)
        sub(/ \([0-9]+ ms\)$/, "", line)
        print "FAILED: " line
    }
    /^<end of output>$/ { ended = 1 }
    ended && $0 == "Test Passed." {
        passed += cases == 0
        ended = 0
    }
    ended && $0 == "Test Failed." {
        broken[name] = 1
        if (failures == 0) { # it broke off, or failed outside its tests
            ++failed
            print "FAILED: " name (running == "" ? "" : " in " running)
        }
        ended = 0
    }
    END {
        if (status != 0 && failed == 0) {
            ++failed
            print "FAILED: ctest"
        }
        if (skipped > 0) {
            print skipped + 0 " skipped"
        }
        print passed + 0 " passed, " failed + 0 " failed"
    }
' "${logs[@]}"
