# bash completion of joinscope, joincheck, velkd and joinscope-lab: what the programs say of themselves when TAB is typed.

# The options, or the verbs, of the help text.
_joinscope_options() { "$@" --help 2>/dev/null | grep -oE '(^|[ ,|[])--[a-z][a-z-]*' | tr -d ' ,|[' | sort -u; }
_joinscope_verbs() { "$@" --help 2>/dev/null | sed -nE 's/^  ([a-z][a-z-]+) .*/\1/p' | sort -u; }

# Completes the word from these, or from the options when it begins with a dash.
_joinscope_reply() {
  local words=$1
  [[ $current != -* ]] || words=$(_joinscope_options "$command")
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

_joinscope_files() {
  compopt -o filenames
  mapfile -t COMPREPLY < <(compgen -f -- "$current")
}

_joinscope() {
  local command=$1 current=$2 modules
  case $3 in
    -y | --sysinfo)
      modules=$("$command" --help | sed -nE 's/^ {23}([a-z]+): .*/\1/p')
      # Several, separated by commas: what stands before the last of them stays.
      [[ $current != *,* ]] || modules=$(sed "s/^/${current%,*},/" <<<"$modules")
      _joinscope_reply "$modules"
      ;;
    -o | --output | -P | --paths) _joinscope_files ;;
    *) _joinscope_reply ;;
  esac
}

_joincheck() {
  local command=$1 current=$2
  case $3 in
    --only | --skip | --explain) _joinscope_reply "$("$command" --list 2>/dev/null | cut -d ' ' -f 1)" ;;
    --facts | --save | --password-file) _joinscope_files ;;
    *) _joinscope_reply ;;
  esac
}

_velkd() {
  local command=$1 current=$2
  case $3 in
    "$1") _joinscope_reply "$(_joinscope_verbs "$command")" ;;
    proxy-credential) _joinscope_reply "set clear" ;;
    *) _joinscope_reply ;;
  esac
}

_joinscope_lab() {
  local command=$1 current=$2
  case $3 in
    exec | pid) _joinscope_reply "dc1 host1 guest1" ;;
    dc | daemon) _joinscope_reply "start stop" ;;
    dns) _joinscope_reply "add remove" ;;
    scenario) _joinscope_reply "$("$command" scenario 2>/dev/null | cut -d ' ' -f 1)" ;;
    break | remedy | repair) _joinscope_reply "$("$command" list 2>/dev/null | sed -E 's/^BROKEN //; s/[: ].*//')" ;;
    *) _joinscope_reply "$(_joinscope_verbs "$command")" ;;
  esac
}

complete -F _joinscope joinscope
complete -F _joincheck joincheck
complete -F _velkd velkd
complete -F _joinscope_lab joinscope-lab
