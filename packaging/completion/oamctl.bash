# Completion of oamctl in bash. What there is to choose from comes from the very program on the line;
# no daemon is asked for anything.

# Fills `words` with those of the line, up to the cursor: bash has broken them at '=' and ':', too.
_oamctl_words() {
  local line=${COMP_LINE:0:COMP_POINT} word blanks
  for word in "${COMP_WORDS[@]:0:COMP_CWORD+1}"; do
    blanks=${line%%[![:space:]]*}
    line=${line#"$blanks"}
    if [[ $blanks || ${#words[@]} = 0 || $word == *[\<\>] || ${words[-1]} == *[\<\>] ]]; then
      words+=('')
    fi
    words[-1]+=${line:0:${#word}}
    line=${line:${#word}}
  done
}

_oamctl() {
  local words=() choices=() value prefix=''
  COMPREPLY=()
  _oamctl_words
  if [[ ${words[-2]-} == *[\<\>] ]]; then
    choices=(:files)
  else
    choices=("${words[@]:1}")
    mapfile -t choices < <("${words[0]/#~\//$HOME/}" complete "${choices[@]//[\'\"]/}" \
      2>/dev/null </dev/null)
  fi
  value=${words[-1]}
  if [[ $value == --*=* ]]; then
    prefix=${value%%=*}=
    value=${value#*=}
  fi
  if [[ ${choices-} == :files ]]; then
    compopt -o filenames
    mapfile -t choices < <(compgen -f -- "$value")
    COMPREPLY+=("${choices[@]}")
    return
  fi
  # Bash puts the reply after the last character at which it has broken the word.
  if [[ $COMP_WORDBREAKS == *=* ]]; then prefix=; fi
  for value in "${choices[@]}"; do
    value=${value%%$'\t'*}
    if [[ $value != *= ]]; then value=$(printf %q "$value"); fi
    COMPREPLY+=("$prefix$value")
  done
  if [[ ${COMPREPLY-} == *= ]]; then compopt -o nospace; fi
}

complete -F _oamctl oamctl
