# Completion of quorin in bash. The daemon shows its help to root and "apps" only, so that its
# options are listed here; a test compares.

_quorin() {
  local word=${COMP_WORDS[COMP_CWORD]} option
  local options=(--group --set-update --mgmt-result --error-string --no-get --no-get-keys --no-set
    --no-notify --no-clear --no-init-prov --sleep-time --quiet --event-sim --set-ind
    --send-deferred-set-rsp --help --version)
  COMPREPLY=()
  case ${COMP_WORDS[COMP_CWORD - 1]} in
    --group | --set-update | --mgmt-result | --error-string | --sleep-time | --event-sim | =) ;;
    *[\<\>])
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
    *)
      for option in "${options[@]}"; do
        # This one may be repeated.
        if [[ $option != --set-update && " ${COMP_WORDS[*]:0:COMP_CWORD} " == *" $option "* ]]; then
          continue
        fi
        if [[ $option == "$word"* ]]; then COMPREPLY+=("$option"); fi
      done
      ;;
  esac
}

complete -F _quorin quorin
