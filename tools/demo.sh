#!/usr/bin/env bash
# A tour of the vistara-spatial command: ./run demo builds it and runs this from the checkout.
set -euo pipefail
cli=$1
step() { printf '\n$ vistara-spatial'; printf ' %q' "$@"; printf '\n'; "$cli" "$@"; }
piped() {  # piped "INPUT LINES" ARGS...: one result per input line
  local input=$1; shift
  printf '\n$ printf %q | vistara-spatial' "$input"; printf ' %q' "$@"; printf '\n'
  printf "$input" | "$cli" "$@" || echo "(exit status $? for the bad line)"
}

step --version
step --help

# Settings: the one group every tunable lives in; values are read as the host's machinery would.
step settings 'MetaDataTileZoomLevel=17' 'render roads=false' 'metaDataFetchServer=http://127.0.0.1:8080/mlk trailing words' \
  | sed -n 1,14p

# Panorama metadata: a reply with depth and pano maps, decoded into records.
step pano tests/data/panorama_single.xml

# UTM both ways; positions can be piped through line by line.
step utm to 48.8583 2.2945
step utm from "31U 448251 5411932"
piped '40.6892 -74.0445\n-33.8568 151.2153\nnot a position\n' utm to

# The solar system today, and one body over a year.
step planets
step planets --body mars --from 2026-01-01 --to 2026-04-01 --step 30d

# Altitude strata and octree paths.
step strata altitude 8848 --level 10
step strata path 0123

# Text helpers of the base layer.
step text escape $'tab\there, "quoted", bell\a'
step text split --delimiters '*' '*a**'
piped '12abc\nno digits\n-7\n' text number

# Meshes: an OBJ cube (brick quads, slate triangles) as shape streams, inspected and back to OBJ;
# then an L-shaped house with a tower, extruded into OBJ and coded as a building stream.
mesh=$(mktemp -d)
step shape encode tests/data/shape/cube.obj "$mesh/cube.v1" --version 1
step shape encode tests/data/shape/cube.obj "$mesh/cube.shape"
step shape info "$mesh/cube.shape"
step shape decode "$mesh/cube.shape" "$mesh/cube.obj"
sed -n '1,3p;/usemtl/,+1p' "$mesh/cube.obj"
cat > "$mesh/house.json" <<'JSON'
{"polygons": [
  {"points": [[0, 0], [10, 0], [10, 4], [4, 4], [4, 8], [0, 8]], "triangles": [0, 1, 2, 0, 2, 3, 0, 3, 5, 3, 4, 5], "z": 6},
  {"points": [[1, 5], [3, 5], [3, 7], [1, 7]], "triangles": [0, 1, 2, 0, 2, 3], "z": 9.5}]}
JSON
step building extrude "$mesh/house.json" "$mesh/house.obj" --base-z 0
head -1 "$mesh/house.obj"
step building encode "$mesh/house.json" "$mesh/house.building"
step building decode "$mesh/house.building" -
rm -rf "$mesh"

# Street panoramas: a service over West Oakland's streets on 127.0.0.1 (it stops by itself after a
# minute), and a graph fetched from it through the library's fetch manager, saved and read again.
streets=/usr/share/doc/python-osmnx-doc/examples/tests/input_data/West-Oakland.osm.bz2
served=$(mktemp -d)
"$cli" serve --streets "$streets" --for 60s > "$served/serve.out" &
for _ in $(seq 300); do grep -q listening "$served/serve.out" && break; sleep 0.1; done
printf '\n$ vistara-spatial serve --streets %s --for 60s &\n' "$streets"; head -1 "$served/serve.out"
url=$(grep -o 'http://127\.0\.0\.1:[0-9]*/mlk' "$served/serve.out")
step fetch --server "$url" --near 37.8076,-122.3005 --radius 100 --neighbours 3 --tiles --save "$served/oakland.xml"
step graph "$served/oakland.xml" --near 37.8076,-122.3005
kill %1 2>/dev/null || true; wait || true
rm -rf "$served"
