#!/usr/bin/env bash
# The bash completion of lumbrel against the tool's own help: every command,
# every verb and every option the usage lines show is offered, for a few
# prefixes. Given a completion script it is sourced; given "installed", the
# completion must be found where bash-completion looks for it.
#
#   completion_test.sh TOOL SCRIPT|installed
set -uo pipefail
tool=$1
if [[ $2 == installed ]]; then
  source /usr/share/bash-completion/bash_completion
  _completion_loader lumbrel
else
  source "$2"
fi
complete -p lumbrel > /dev/null || { echo "no completion for lumbrel"; exit 1; }
function=$(complete -p lumbrel | sed -n 's/.*-F \([^ ]*\) .*/\1/p')

failures=0
# complete "WORDS..." -> the sorted offers for the last word
offers() {
  COMP_WORDS=(lumbrel "$@")
  COMP_CWORD=$#
  COMP_LINE="lumbrel $*"
  COMP_POINT=${#COMP_LINE}
  COMPREPLY=()
  "$function" lumbrel "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD-1]}"
  ((${#COMPREPLY[@]})) && printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' '
}
expect() {  # expect "OFFERS" WORDS...
  local want=$1 got
  shift
  got=$(offers "$@")
  if [[ "$got" != "$want" ]]; then
    echo "lumbrel $* <TAB>: offered '$got', expected '$want'"
    ((++failures))
  fi
}

commands=$("$tool" --help | sed -n 's/^  \([a-z][a-z]*\) .*/\1/p' | sort | tr '\n' ' ')
expect "$commands" ""
expect "data date " d
expect "--help --version -h " -
for command in $commands; do
  usage=$("$tool" "$command" --help | sed -n 's/^\(usage: \|       \)lumbrel //p')
  verbs=$(sed -n 's/^[a-z]* \([a-z]*\).*/\1/p' <<< "$usage" | grep -v '^$' | sort | tr '\n' ' ')
  if [[ $usage == "$command "[a-z]* && $command != tour && $command != date ]]; then
    expect "$verbs" "$command" ""
  fi
  while read -r line; do
    words=($line)
    prefix=("${words[0]}")
    [[ ${words[1]:-} =~ ^[a-z]+$ ]] && prefix+=("${words[1]}")
    options=$(grep -o '\[-[-a-z]*' <<< "$line" | tr -d '[' | sort | tr '\n' ' ')
    got=$(offers "${prefix[@]}" -)
    for option in $options --help; do
      [[ " $got " == *" $option "* ]] || { echo "lumbrel $line: '$option' not offered"; ((++failures)); }
    done
  done <<< "$usage"
done

# File names for FILE; nothing for a KEY.
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
touch "$directory/app.ini"
expect "$directory/app.ini " ini get "$directory/app"
expect "" data get "$directory/app.ini" ""
exit $((failures > 0))
