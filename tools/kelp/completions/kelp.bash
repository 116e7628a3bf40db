# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Completion of kelp for bash.

_kelp() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local command='' word options
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      encode | decode | info | compare | batch)
        command=$word
        break
        ;;
    esac
  done

  local encoding='--channel --gain --fill-band'
  local decoding='--trim --start --duration --keep-going --lose --seed --lose-pattern'
  case $command in
    encode) options="$encoding --raw --force" ;;
    decode) options="$decoding --raw --force" ;;
    info) options='--frames --json --plot --force' ;;
    compare) options='--high-pass --json' ;;
    batch) options="--encode --decode --jobs --shard --force --flac $encoding $decoding --raw" ;;
    *) options='--version' ;;
  esac

  COMPREPLY=()
  case $prev in
    --channel)
      mapfile -t COMPREPLY < <(compgen -W 'left right mix' -- "$cur")
      return
      ;;
    --gain)
      mapfile -t COMPREPLY < <(compgen -W auto -- "$cur")
      return
      ;;
    --start | --duration | --lose | --seed | --jobs | -j | --shard) return ;;
  esac
  if [[ $cur == -?* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options --quiet --help" -- "$cur")
  elif [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W 'encode decode info compare batch' -- "$cur")
  elif [[ $command == batch && $prev != --lose-pattern ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
  elif [[ $command == info && $prev != --plot ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -X '!*.kelp' -- "$cur"; compgen -d -- "$cur")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
  fi
}
complete -F _kelp kelp
