# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# bash completion of ztpkg. ztpkg __complete lists what fits; this file passes it the words and shows its answer.
# Only bash itself is needed, of version 4 or later.

# Sets "words" to those up to the cursor; what bash has cut at = and : is whole again.
_ztpkg_words() {
  local word glue='' last=$COMP_CWORD
  words=()
  [[ ${COMP_LINE:0:COMP_POINT} == *[[:blank:]] && -z ${COMP_WORDS[last]} ]] && ((last -= 1))
  for word in "${COMP_WORDS[@]:0:last+1}"; do
    if [[ -n $word && -z ${word//[=:]/} && ${#words[@]} -gt 1 ]]; then
      words[-1]+=$word glue=yes
    elif [[ -n $glue ]]; then
      words[-1]+=$word glue=
    else
      words+=("$word")
    fi
  done
  ((last == COMP_CWORD)) || words+=('')
}

# Sets "plain" to the word $1 without its quotes.
_ztpkg_unquote() {
  case $1 in
    \"*) plain=${1#\"} plain=${plain%\"} ;;
    \'*) plain=${1#\'} plain=${plain%\'} ;;
    *\\*) # shellcheck disable=SC2162  # backslashes are to be taken away
      IFS= read plain <<<"$1" ;;
    *) plain=$1 ;;
  esac
}

# Offers those of the words that begin with $cur, without what stands before the place that bash completes at.
_ztpkg_offer() {
  local word
  for word in "$@"; do
    [[ $word == "$cur"* && $word != "$before" ]] && COMPREPLY+=("${word#"$before"}")
  done
  [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[/=] ]] && compopt -o nospace
}

# Offers the paths of the package $2 that begin with $cur, as far as the next slash; whole in quotes, which bash
# would close there. $1 is the program. Names that are printed with escapes cannot be offered, nor those with $ or `,
# which bash would not quote.
_ztpkg_offer_paths() {
  local path slash='' rest candidate package=$2
  local -A found=()
  [[ $package == \~/* ]] && package=$HOME/${package#\~/}
  [[ $cur == /* ]] || slash=/
  while IFS= read -r path; do
    [[ $path == "$slash$cur"* && $path != *[\\\$\`]* ]] || continue
    rest=${path#"$slash$cur"}
    [[ $rest == */* && ${words[-1]} != [\"\']* ]] && path=${path%"${rest#*/}"}
    found[${path#"$slash"}]=yes
  done < <("$1" list -- "$package" 2>/dev/null </dev/null)
  compopt -o filenames
  for candidate in "${!found[@]}"; do
    [[ -n ${found["$candidate/"]-} ]] || _ztpkg_offer "$candidate"
  done
}

_ztpkg() {
  local words cur before plain word kind
  local -a typed=() answer=()
  COMPREPLY=()
  _ztpkg_words
  for word in "${words[@]:1}"; do
    _ztpkg_unquote "$word"
    typed+=("$plain")
  done
  cur=${typed[-1]}
  word=${COMP_WORDS[COMP_CWORD]}
  [[ -n ${word//[=:]/} ]] || word=
  _ztpkg_unquote "${words[-1]%"$word"}"
  before=$plain

  mapfile -t answer < <("$1" __complete "${typed[@]}" 2>/dev/null </dev/null)
  kind=${answer[0]%% *}
  if [[ $kind == *= ]]; then
    before=${before#"${cur%%=*}="}
    cur=${cur#*=}
  fi
  case ${kind%=} in
    words)
      answer=("${answer[@]:1}")
      _ztpkg_offer "${answer[@]%%$'\t'*}"
      ;;
    files) compopt -o default ;;
    directories) compopt -o dirnames ;;
    paths) _ztpkg_offer_paths "$1" "${answer[0]#* }" ;;
  esac
}

complete -F _ztpkg ztpkg
