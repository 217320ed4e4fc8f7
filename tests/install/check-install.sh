#!/usr/bin/env bash
# Installs the built library into a temporary prefix and builds a small consumer against it,
# once through find_package(Ombrel CONFIG) and once through pkg-config; both must run.
set -euo pipefail
build_dir=$1
consumer_dir=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

cmake --install "$build_dir" --prefix "$tmp/prefix" > "$tmp/install.log"
test -f "$tmp/prefix/include/ombrel/Ombrel.h"
! test -e "$tmp/prefix/include/ombrel/kernels"
soname=$(objdump -p "$tmp"/prefix/lib*/libombrel.so | awk '/SONAME/ {print $2}')
echo "SONAME: $soname"
[[ "$soname" == libombrel.so.* ]]

# find_package
cmake -S "$consumer_dir" -B "$tmp/cmake-build" -DCMAKE_PREFIX_PATH="$tmp/prefix" > "$tmp/cfg.log"
cmake --build "$tmp/cmake-build" > "$tmp/build.log"
LD_LIBRARY_PATH="$tmp/prefix/lib:$tmp/prefix/lib64" "$tmp/cmake-build/consumer"

# pkg-config
pcdir=$(dirname "$(find "$tmp/prefix" -name ombrel.pc | head -n1)")
flags=$(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs ombrel)
g++ -std=c++20 "$consumer_dir/consumer.cpp" $flags -o "$tmp/consumer-pc"
LD_LIBRARY_PATH="$tmp/prefix/lib:$tmp/prefix/lib64" "$tmp/consumer-pc"

# Internal symbols stay hidden.
if nm -D --defined-only "$tmp"/prefix/lib*/libombrel.so | grep -q 'kernels'; then
  echo "internal kernel symbols are exported" >&2
  exit 1
fi
echo "install check passed"
