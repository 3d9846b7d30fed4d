# bash completion of cmnsys: the program itself knows what may follow.

_cmnsys() {
  local current=${COMP_WORDS[COMP_CWORD]} words
  mapfile -t words < <("$1" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
  if [[ ${words[0]} == files ]]; then
    [[ $current != = ]] || current=
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  else
    COMPREPLY=("${words[@]:1}")
    COMPREPLY=("${COMPREPLY[@]%%$'\t'*}")
  fi
}

complete -F _cmnsys cmnsys
