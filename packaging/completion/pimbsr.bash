# Completion for pimbsrctl, pimbsrd and pimbsr-sim: they say themselves what can follow.
_pimbsr() {
  local word help
  COMPREPLY=()
  while IFS=$'\t' read -r word help; do
    COMPREPLY+=("$word")
  done < <("$1" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -o default -F _pimbsr pimbsrctl pimbsrd pimbsr-sim
