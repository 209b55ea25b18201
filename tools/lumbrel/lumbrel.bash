# bash completion for lumbrel: commands, the verbs of data, ini and props, the
# options of each form, then file names for FILE, INPUT, DUMP and DIR.
_lumbrel() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
  local command="" verb="" operands=0 ended=0 i word
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if ((!ended)) && [[ $word == -- ]]; then
      ended=1
    elif ((!ended)) && [[ $word == -* ]]; then
      [[ $word == -n ]] && ((++i))
    elif [[ -z $command ]]; then
      command=$word
    elif [[ -z $verb && $command =~ ^(data|ini|props)$ ]]; then
      verb=$word
    else
      ((++operands))
    fi
  done
  [[ $prev == -n && $command == uuid ]] && return

  local words=""
  if [[ -z $command ]]; then
    words="tour data ini props uuid date host"
    [[ $cur == -* ]] && words="--help -h --version"
  elif [[ -z $verb && $command =~ ^(data|ini|props)$ ]]; then
    case $command in
      data) words="list get put remove dump load" ;;
      *) words="list get set remove" ;;
    esac
    [[ $cur == -* ]] && words="--help -h"
  elif [[ $cur == -* ]] && ((!ended && operands == 0)); then
    words="--help -h --"
    [[ $command == data && $verb =~ ^(get|put|remove)$ ]] && words+=" -e"
    [[ $command == uuid ]] && words+=" -n"
    [[ $command =~ ^(ini|props)$ && $verb =~ ^(set|remove)$ ]] && words+=" --force"
  else
    # FILE comes first; INPUT (data put) and DUMP (data load) are files too.
    case "$command $verb $operands" in
      "data put 2" | "data load 1" | "data "*" 0" | "ini "*" 0" | "props "*" 0") ;;
      "tour  0")
        COMPREPLY=($(compgen -d -- "$cur"))
        return ;;
      *) return ;;
    esac
    if declare -F _filedir > /dev/null; then
      _filedir
    else
      COMPREPLY=($(compgen -f -- "$cur"))
    fi
    return
  fi
  COMPREPLY=($(compgen -W "$words" -- "$cur"))
}
complete -F _lumbrel lumbrel
