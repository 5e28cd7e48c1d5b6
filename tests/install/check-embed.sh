#!/usr/bin/env bash
# check-embed.sh BUILD COMPILER: installs the build into a folder of its own and builds examples/embed
# against that alone: by find_package, by pkg-config, shared and static. Each must find the RP. So is
# examples/consumer.c built.
set -euo pipefail
build=$1 compiler=$2
example=$(realpath "$(dirname "$0")/../../examples/embed")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
installed=$folder/installed

finds_rp() {
  grep -qx 'RP of 239.1.2.3: 10.0.0.1' <<<"$("$@")" || { echo "$* finds no RP"; exit 1; }
}

cmake --install "$build" --prefix "$installed" >/dev/null
library=$(dirname "$(find "$installed" -name libpimbsr.so)")

# A host from elsewhere: nothing of this checkout but the example may be seen.
cp -r "$example" "$folder/host"
cmake -S "$folder/host" -B "$folder/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_PREFIX_PATH="$installed" >/dev/null
cmake --build "$folder/build" >/dev/null
finds_rp "$folder/build/embed"

export PKG_CONFIG_PATH=$library/pkgconfig LD_LIBRARY_PATH=$library
read -ra flags <<<"$(pkg-config --cflags --libs pimbsr)"
"$compiler" -std=c++20 "$folder/host/main.cpp" "${flags[@]}" -o "$folder/shared"
finds_rp "$folder/shared"
read -ra flags <<<"$(pkg-config --cflags pimbsr)"
"$compiler" -std=c++20 "$folder/host/main.cpp" "${flags[@]}" "$library/libpimbsr.a" -o "$folder/static"
env -u LD_LIBRARY_PATH "$folder/static" >/dev/null

# The client library, in C: a consumer that is told no group says how it is used.
says_usage() {
  local said
  said=$("$@" 2>&1) && { echo "$* needs no group"; exit 1; }
  [[ $said == usage:* ]] || { echo "$* says $said"; exit 1; }
}
consumer=$folder/consumer
mkdir "$consumer"
cp "$example/../consumer.c" "$consumer/"
read -ra flags <<<"$(pkg-config --cflags --libs pimbsr-client)"
cc -std=c99 -D_DEFAULT_SOURCE -Wall -Wextra -Werror "$consumer/consumer.c" "${flags[@]}" -o "$folder/plain"
says_usage "$folder/plain"
cat >"$consumer/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C)
find_package(pimbsr-client 0.1 REQUIRED)
add_executable(consumer consumer.c)
target_link_libraries(consumer PRIVATE pimbsr::client)
CMAKE
cmake -S "$consumer" -B "$consumer/build" -G Ninja -DCMAKE_PREFIX_PATH="$installed" >/dev/null
cmake --build "$consumer/build" >/dev/null
says_usage "$consumer/build/consumer"
read -ra flags <<<"$(pkg-config --cflags pimbsr)"

# Every installed header stands by itself.
for header in $(cd "$installed/include/pimbsr" && find . -name '*.h' -printf '%P\n'); do
  echo "#include \"$header\""
done >"$folder/headers.cpp"
"$compiler" -std=c++20 -fsyntax-only "${flags[@]}" "$folder/headers.cpp"
echo "found by find_package and pkg-config, shared and static"
