# Completion of vektool for bash. What there is to complete is read from the tool's own --help.

# The value that an option takes, as --help calls it: "DIR", "text|json"; nothing for flags.
_vektool_value_of() { # <help> <option>
  sed -nE "s/^ +(-h,)?$2 ([^ :]+)( .*)?$/\2/p" <<<"$1" | sed 's/=.*//; /^REQUIRED$/d' | head -n 1
}

_vektool_reply() { # <compgen arguments...> -- <current word>
  local IFS=$'\n'
  # shellcheck disable=SC2207
  COMPREPLY=($(compgen "$@"))
}

_vektool_paths() { # <-d or -f> <current word>
  compopt -o filenames 2>/dev/null
  _vektool_reply "$1" -- "$2"
}

_vektool() {
  local tool=${1/#\~/$HOME} current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local help value='' words verb=${COMP_WORDS[1]}
  COMPREPLY=()
  # "--format=json" comes as three words.
  if [ "$current" = = ]; then
    current=
  elif [ "$before" = = ]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  if [ "$COMP_CWORD" -le 1 ]; then
    help=$("$tool" --help 2>/dev/null)
    words=$(sed -nE '/^Subcommands:/,$ s/^  ([a-z]+) .*/\1/p; s/^ +(-h,)?(--[a-z0-9-]+) .*/\2/p' <<<"$help")
    _vektool_reply -W "$words" -- "$current"
    return
  fi
  help=$("$tool" "$verb" --help 2>/dev/null)
  case $before in --*) value=$(_vektool_value_of "$help" "$before") ;; esac
  if [ -z "$value" ]; then
    case $current in
      -*)
        words=$(sed -nE 's/^ +(-h,)?(--[a-z0-9-]+).*/\2/p' <<<"$help")
        _vektool_reply -W "$words" -- "$current"
        return
        ;;
    esac
    value=$(sed -nE '/^Positionals:/,/^$/ s/^  ([A-Z]+) .*/\1/p' <<<"$help" | head -n 1)
  fi
  case $value in
    *'|'*) _vektool_reply -W "$(tr '|' '\n' <<<"$value" | grep -v '[A-Z]')" -- "$current" ;;
    DIR | OLD) _vektool_paths -d "$current" ;;
    FILE | PATH | PAGES) _vektool_paths -f "$current" ;;
    *[a-z]*) _vektool_reply -W "$value" -- "$current" ;;
  esac
}
complete -F _vektool vektool
