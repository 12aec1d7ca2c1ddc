# Completion of tessalune's command lines for bash. The program itself says what may follow; where it
# says nothing, a file's name does.
_tessalune() {
  local Line
  COMPREPLY=()
  while IFS=$'\t' read -r Line _; do COMPREPLY+=("$Line"); done < <(
    "${COMP_WORDS[0]}" complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null
  )
}
complete -o default -o bashdefault -F _tessalune tessalune
