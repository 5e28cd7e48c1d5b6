#!/usr/bin/env bash
# check-pages.sh BUILD: what is installed besides the programs: man pages without a warning, completion
# in both shells, a unit that systemd understands, a file that the daemon takes.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
root=$(realpath "$(dirname "$0")/../..")
cmake --install "$1" --prefix "$folder" >/dev/null
PATH=$folder/bin:$folder/sbin:$PATH
share=$folder/share

fail() { echo "$*"; exit 1; }
# expect WANTED GOT WHAT
expect() { [ "$1" = "$2" ] || fail "$3: $2 instead of $1"; }

for program in pimbsrctl pimbsrd pimbsr-sim; do
  expect "$program $("$program" --version | cut -d' ' -f2)" "$("$program" --version)" "--version"
  [ -e "$share"/man/man?/"$program".? ] || fail "$program has no man page"
  complaints=$(man --warnings -l "$share"/man/man?/"$program".? 2>&1 >/dev/null)
  expect "" "$complaints" "$program's man page"
done
expect "" "$(man --warnings -l "$share/man/man5/pimbsrd.yaml.5" 2>&1 >/dev/null)" "pimbsrd.yaml(5)"
for leaf in $(sed -nE 's/^ *(leaf|leaf-list|list) ([a-z-]+) .*/\2/p' "$root/config/yang/pimbsr.yang"); do
  grep -q "^\.B .*${leaf//-/\\\\-}" "$share/man/man5/pimbsrd.yaml.5" || fail "$leaf is not in pimbsrd.yaml(5)"
done

completed=$(bash -c '. "$0"; COMP_WORDS=(pimbsrctl show ip pim rp) COMP_CWORD=4
  _pimbsr pimbsrctl; echo "${COMPREPLY[@]}"' "$share/bash-completion/completions/pimbsrctl")
expect "rp-set rp-hash rp-candidate" "$completed" "completion in bash"
if command -v zsh >/dev/null; then
  completed=$(zsh -c '_describe() { echo ${(PM)2#*:} }; complete_it() { . $0 }
    words=(pimbsrctl show ip pim rp) CURRENT=5; . $0' "$share/zsh/vendor-completions/_pimbsrctl")
  expect "rp-set: rp-hash: rp-candidate:" "$completed" "completion in zsh"
fi

grep -q "^ExecStart=.*/sbin/pimbsrd --config .*/etc/pimbsrd/pimbsrd.yaml$" \
  "$folder/lib/systemd/system/pimbsrd.service" || fail "the unit starts something else"
for file in "$share/doc/pimbsrd/examples/pimbsrd.yaml" "$root/packaging/etc/pimbsrd.yaml"; do
  pimbsrctl check "$file" >"$folder/said" || fail "$file: $(cat "$folder/said")"
done
echo "manual, completion, unit and files are good"
