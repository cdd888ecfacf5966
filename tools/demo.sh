#!/usr/bin/env bash
# A tour of the vistara-spatial command: ./run demo builds it and runs this.
set -euo pipefail
cli=$1
step() { printf '\n$ vistara-spatial'; printf ' %q' "$@"; printf '\n'; "$cli" "$@"; }

step --version
step settings
step settings 'MetaDataTileZoomLevel=17' 'render roads=false' 'metaDataFetchServer=http://127.0.0.1:8080/mlk trailing words'
step text escape $'tab\there, "quoted", bell\a'
step text split --delimiters '*' '*a**'
step text identifier _a1 1a a-b
printf '\n$ printf "12abc\\nno digits\\n-7\\n" | vistara-spatial text number\n'
printf '12abc\nno digits\n-7\n' | "$cli" text number || echo "(exit status $? for the bad line)"
