#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds and runs the consumer against it,
# once through find_package and once through pkg-config.
set -euo pipefail
build=$1 source=$2 work=$3
cmake=${CMAKE:-cmake}
rm -rf "$work" && mkdir -p "$work"
prefix=$work/prefix
"$cmake" --install "$build" --prefix "$prefix" >/dev/null
expected="WayfareSpatial 23 16"

"$cmake" -S "$source" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
"$cmake" --build "$work/cmake-build" -j2 >/dev/null
out=$(LD_LIBRARY_PATH="$prefix/lib:$prefix/lib64" "$work/cmake-build/consumer")
[ "$out" = "$expected" ] || { echo "find_package consumer printed '$out'"; exit 1; }

libdir=$(ls -d "$prefix"/lib*/pkgconfig | head -n 1)
flags=$(PKG_CONFIG_PATH=$libdir pkg-config --cflags --libs vistara-spatial)
# Boost ships no .pc file; its headers are on the default include path.
c++ -std=c++20 -fPIC "$source/consumer.cc" $flags -o "$work/pkgconfig-consumer"
out=$(LD_LIBRARY_PATH="$prefix/lib:$prefix/lib64" "$work/pkgconfig-consumer")
[ "$out" = "$expected" ] || { echo "pkg-config consumer printed '$out'"; exit 1; }
echo "consumer: find_package and pkg-config both print '$expected'"
