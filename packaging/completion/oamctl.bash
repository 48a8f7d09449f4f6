# Completion of oamctl in bash.
#
# What there is to choose from comes from the very program on the line: from its help, from its
# catalogue, and from what it says where it refuses a value. No daemon is asked for anything.

_oamctl_run() { "${words[0]/#~\//$HOME/}" "$@" </dev/null 2>&1; }

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

# Fills `takes` with the options and what each takes, and `synopsis` with that of each command and,
# as COMMAND, that of the program.
_oamctl_read_help() {
  local line command=
  while IFS= read -r line; do
    if [[ $line =~ ^'Usage: oamctl '(.*) ]]; then
      synopsis[COMMAND]="${BASH_REMATCH[1]} --help"
    elif [[ $line =~ ^'  '(--[a-z-]+)(' '([A-Z]+))?(' '|$) ]]; then
      takes[${BASH_REMATCH[1]}]=${BASH_REMATCH[3]}
    elif [[ $line =~ ^'  '([a-z-]+)(' '|$) ]]; then
      command=${BASH_REMATCH[1]}
      synopsis[$command]=$line
    elif [[ $command && $line == '      ['* ]]; then
      synopsis[$command]+=$line
    fi
  done < <(_oamctl_run --help)
}

# Splits a synopsis into `options` and `places`, which are the words that are none.
_oamctl_read_synopsis() {
  local parts part value=
  read -ra parts <<<"${1//[][]/ }"
  for part in "${parts[@]}"; do
    if [[ $part == --* ]]; then
      options+=("$part")
      value=${takes[$part]-}
    elif [[ $part == "$value" ]]; then
      value=
    else
      places+=("$part")
    fi
  done
}

_oamctl_records() {
  local name id
  while read -r name id _; do
    if [[ $id == 0x* ]]; then choices+=("$name"); fi
  done < <(_oamctl_run records)
}

# The keys or fields of the record on the line; without those that are given, if that is asked for.
_oamctl_names() {  # key or field, once
  local name type section=
  if [[ $word == *=* ]]; then return; fi
  while read -r name type _; do
    if [[ $type == type ]]; then
      section=$name
    elif [[ $section == "$1" && ! (${2-} && " ${arguments[*]}" == *[\ \'\"]"$name="*) ]]; then
      choices+=("$name=")
    fi
  done < <(_oamctl_run records "${arguments[1]//[\'\"]/}")
}

# The values that the program names when it refuses one, which it does before it connects.
_oamctl_values() {
  local said values value
  said=$(_oamctl_run --socket /dev/null "$@" '?')
  [[ $said == *' one of: '* ]] || return
  said=${said#*' one of: '}
  mapfile -t values <<<"${said%%$'\n'*}"
  mapfile -t values <<<"${values[0]//, /$'\n'}"
  for value in "${values[@]}"; do choices+=("$(printf %q "$value")"); done
}

_oamctl() {
  local words=() arguments=() options=() places=() choices=() word value='' prefix='' wanted
  local -A takes=() synopsis=() given=()
  COMPREPLY=()
  _oamctl_words
  _oamctl_read_help
  for word in "${words[@]:1:${#words[@]}-2}"; do
    if [[ $value ]]; then
      value=
    elif [[ $word == --* ]]; then
      given[${word%%=*}]=1
      value=${takes[$word]-}
    elif [[ $word == *[\<\>] ]]; then
      value=PATH
    else
      arguments+=("$word")
    fi
  done
  word=${words[-1]}

  _oamctl_read_synopsis "${synopsis[COMMAND]-}"
  if [[ ${arguments-} ]]; then
    places=()
    _oamctl_read_synopsis "${synopsis[$arguments]-}"
  fi
  if [[ $value ]]; then
    wanted=$value
  elif [[ $word == --*=* ]]; then
    wanted=${takes[${word%%=*}]-}
    prefix=${word%%=*}=
    word=${word#*=}
  elif [[ $word == -* ]]; then
    wanted=OPTION
  else
    wanted=${places[${#arguments[@]}]-}
    if [[ ! $wanted && ${places[*]} == *... ]]; then wanted=${places[-1]}; fi
  fi

  case $wanted in
    OPTION) for value in "${options[@]}"; do [[ ${given[$value]-} ]] || choices+=("$value"); done ;;
    COMMAND) unset 'synopsis[COMMAND]'; choices=("${!synopsis[@]}") ;;
    RECORD) _oamctl_records ;;
    KEYS...) if [[ $arguments == get ]]; then _oamctl_names key; else _oamctl_names key once; fi ;;
    FIELDS...) _oamctl_names field once ;;
    OP) _oamctl_values set Test3-Action1 --op ;;
    A) _oamctl_values set Test3-Action1 --apply-action ;;
    RESULT) _oamctl_values set-ind-result 1 ;;
    KIND) choices=(12 14) ;;
    PATH) compopt -o filenames; mapfile -t choices < <(compgen -f -- "$word") ;;
    result) choices=(result) ;;
  esac

  # Bash puts the reply behind the last character at which it has broken the word.
  if [[ $COMP_WORDBREAKS == *=* ]]; then prefix=; fi
  for value in "${choices[@]}"; do
    if [[ ${value,,} == "${word,,}"* ]]; then COMPREPLY+=("$prefix$value"); fi
  done
  if [[ ${COMPREPLY-} == *= ]]; then compopt -o nospace; fi
}

complete -F _oamctl oamctl
