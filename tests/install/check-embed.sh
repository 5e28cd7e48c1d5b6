#!/usr/bin/env bash
# check-embed.sh BUILD COMPILER: installs the build into a folder of its own and builds examples/embed
# against that alone: by find_package, by pkg-config, shared and static. Each must find the RP.
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

# Every installed header stands by itself.
for header in $(cd "$installed/include/pimbsr" && find . -name '*.h' -printf '%P\n'); do
  echo "#include \"$header\""
done >"$folder/headers.cpp"
"$compiler" -std=c++20 -fsyntax-only "${flags[@]}" "$folder/headers.cpp"
echo "found by find_package and pkg-config, shared and static"
