# Completion of varnel for bash, loaded by bash-completion.

# Comma-separated lists of rules: what stands before the last comma is kept.
_varnel_rules() {
  local given=
  [[ $cur == *,* ]] && given=${cur%,*},
  local rules
  rules=$("$1" rules 2>/dev/null | sed -n '/^$/q; s/ .*//p')
  mapfile -t COMPREPLY < <(compgen -P "$given" -W "$rules" -- "${cur##*,}")
  compopt -o nospace
}

_varnel() {
  local cur prev words cword split
  _init_completion -s || return

  local commands='scan clean sweep watch eject rules volumes log help'
  if ((cword == 1)); then
    [[ $cur == -* ]] && commands='-h --help --version'
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
    return
  fi

  case $prev in
    --only | --except)
      _varnel_rules "$1"
      return
      ;;
    --samples | --sweep-every | --lines | -n) return ;;
  esac
  # A flag takes no value.
  "$split" && return

  local selection='--json --samples --only --except' options='' words_of=''
  case ${words[1]} in
    scan)
      options="$selection --live"
      words_of=folders
      ;;
    clean)
      options="$selection --live --yes --dry-run --mac-format --allow-live-forks --force-system-volume-information --eject"
      words_of=folders
      ;;
    sweep) options="$selection --yes --dry-run --allow-live-forks" ;;
    watch)
      options='--sweep-first --sweep-every --allow-live-forks'
      words_of=folders
      ;;
    eject) words_of=files ;;
    rules | volumes) options='--json' ;;
    log) options='-n --lines -f --follow' ;;
    help) words_of=commands ;;
    *) return ;;
  esac
  if [[ $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "-h --help $options" -- "$cur")
    return
  fi
  case $words_of in
    folders) _filedir -d ;;
    files) _filedir ;;
    commands) mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur") ;;
  esac
} && complete -F _varnel varnel
