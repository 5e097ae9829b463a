#!/usr/bin/env bash
# Changes the set point of the cascade's vessel and writes what followed to step.csv:
#   step.sh http://127.0.0.1:8080/ [SET_POINT [SECONDS]]
set -euo pipefail

server=${1:?the address that the host prints as its first line}
set_point=${2:-50}
seconds=${3:-20}
channel=${server%/}/api/channels/Vessel

# refused commands have a status that --fail-with-body reports, and a body that says why
curl --silent --show-error --fail-with-body -X PUT -H 'Content-Type: application/json' -H 'X-Rivlink-Source: script' \
    -d "{\"value\": $set_point}" "$channel/set-point"
begin=$(date -u -d '10 seconds ago' +%FT%TZ)
sleep "$seconds"

curl --silent --show-error --fail --get --data-urlencode channel=Vessel --data-urlencode "from=$begin" \
    --data format=csv "${server%/}/api/history" >step.csv
curl --silent --fail "$channel" |
    jq -r '.state | "set point \(.setPoint), actual value \(.actualValue), \(.health.text)"'
echo "step.csv has $(($(wc -l <step.csv) - 1)) rows"
