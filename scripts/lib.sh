# Shared by ./run, ./test, .ci/run and the programs of this folder: source it first.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '\n== %s\n' "$*"; }

die() {
  printf '%s\n' "$*" >&2
  exit 1
}

# as_root COMMAND...: runs the command as root.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  else
    command -v sudo >/dev/null || die "This needs root: $*"
    sudo "$@"
  fi
}

# step NAME COMMAND...: runs the command under a heading and remembers how long it took.
declare -a step_times=()
step() {
  local name=$1 start=$SECONDS
  shift
  say "$name"
  "$@"
  step_times+=("$(printf '%5d s  %s' $((SECONDS - start)) "$name")")
}

print_step_times() {
  say "Time of each step ($SECONDS s in all)"
  printf '%s\n' "${step_times[@]}"
}

# build PRESET [TARGET...]: configures and builds; without targets everything.
build() {
  local preset=$1
  shift
  cmake --preset "$preset" --log-level=WARNING >/dev/null
  cmake --build --preset "$preset" ${*:+--target "$@"}
}

# The C++ files of the project (below the given folders), new ones that git does not ignore too.
cpp_files() {
  git ls-files -co --exclude-standard -- "$@" | grep -E '\.(h|cpp)$' | while read -r file; do
    [ ! -e "$file" ] || printf '%s\n' "$file"
  done
}
