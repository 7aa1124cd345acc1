// SPDX-License-Identifier: Apache-2.0
#include "cli/shell/BashCompletion.hpp"

#include "cli/shell/Quoting.hpp"

namespace ztpkg::shell {
namespace {

/// All but the tables of commands. Only bash itself is needed, of version 4 or later.
constexpr char const* kFunctions = R"bash(
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

# Sets "expected" to the kind of the value that the option $1, or the last of several letters, takes from the next word.
_ztpkg_expect() {
  local i
  expected=${values[$1]-}
  [[ $1 == --* ]] && return
  for ((i = 1; i < ${#1}; i++)); do
    expected=${values[-${1:i:1}]-}
    [[ -z $expected ]] || break
  done
  ((i + 1 >= ${#1})) || expected=''
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
# would close there. $1 is the program. Names that are printed with escapes
# cannot be offered, nor those with $ or `, which bash would not quote.
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

# Offers what a value of the kind $2 may be. $1 is the program, what follows the arguments that were given.
_ztpkg_offer_value() {
  local program=$1 kind=${2%...} place
  shift 2
  case $kind in
    file | package) compopt -o default ;;
    directory) compopt -o dirnames ;;
    words\ *) # shellcheck disable=SC2086  # words without blanks
      _ztpkg_offer ${kind#words } ;;
    path)
      for place in "${!arguments[@]}"; do
        [[ ${arguments[place]} == package && $# -gt $place ]] && _ztpkg_offer_paths "$program" "${@:place+1:1}"
      done
      ;;
  esac
}

_ztpkg() {
  local words cur before plain word kind='' ended='' command='' expected=''
  local -a commands options arguments given=()
  local -A values
  COMPREPLY=()
  _ztpkg_words
  _ztpkg_describe ztpkg
  for word in "${words[@]:1:${#words[@]}-2}"; do
    if [[ -n $expected ]]; then
      expected=
    elif [[ -z $ended && $word == -- ]]; then
      ended=yes
    elif [[ -z $ended && $word == -?* ]]; then
      _ztpkg_expect "$word"
    elif [[ ${#commands[@]} -gt 0 ]]; then
      _ztpkg_describe "$command $word"
    else
      _ztpkg_unquote "$word"
      given+=("$plain")
    fi
  done

  word=${COMP_WORDS[COMP_CWORD]}
  [[ -n ${word//[=:]/} ]] || word=
  _ztpkg_unquote "${words[-1]%"$word"}"
  before=$plain
  _ztpkg_unquote "${words[-1]}"
  cur=$plain
  if [[ -n $expected ]]; then
    kind=$expected
  elif [[ -z $ended && $cur == --*=* ]]; then
    kind=${values[${cur%%=*}]-}
    before=${before#"${cur%%=*}="}
    cur=${cur#*=}
  elif [[ -z $ended && $cur == -* ]]; then
    _ztpkg_offer "${options[@]}"
  elif [[ ${#commands[@]} -gt 0 ]]; then
    _ztpkg_offer "${commands[@]}"
  elif [[ ${#given[@]} -lt ${#arguments[@]} ]]; then
    kind=${arguments[${#given[@]}]}
  elif [[ ${#arguments[@]} -gt 0 && ${arguments[-1]} == *... ]]; then
    kind=${arguments[-1]}
  fi
  _ztpkg_offer_value "$1" "$kind" "${given[@]}"
}

complete -F _ztpkg ztpkg
)bash";

std::string wordsOf(ValueDescription const& value, char const* end) {
  std::string text = "words";
  for (WordDescription const& word : value.words) text += " " + word.text + end;
  return text;
}

std::string kindOf(ValueDescription const& value) {
  switch (value.kind) {
    case ValueKind::Word:
      return wordsOf(value, "");
    case ValueKind::Assignment:
      return wordsOf(value, "=");
    case ValueKind::File:
      return "file";
    case ValueKind::Directory:
      return "directory";
    case ValueKind::Package:
      return "package";
    case ValueKind::PathInPackage:
      return "path";
    case ValueKind::Text:
      break;
  }
  return "text";
}

std::string patternOf(CommandDescription const& command) {
  return replaced(quotedList(command.names()), "' '", "' | '");
}

std::string commandsOf(CommandDescription const& command) {
  std::vector<std::string> all;
  for (CommandDescription const& below : command.commands)
    for (std::string const& word : below.words()) all.push_back(word);
  return all.empty() ? "" : "      commands=(" + quotedList(all) + ")\n";
}

std::string optionsOf(CommandDescription const& command) {
  std::vector<std::string> names;
  std::string values;
  for (OptionDescription const& option : command.options)
    for (std::string const& name : option.names) {
      names.push_back(name);
      if (option.value) values += " [" + quoted(name) + "]=" + quoted(kindOf(*option.value));
    }
  return "      options=(" + quotedList(names) + ")\n" +
         (values.empty() ? "" : "      values=(" + values.substr(1) + ")\n");
}

std::string argumentsOf(CommandDescription const& command) {
  std::vector<std::string> kinds;
  for (ArgumentDescription const& argument : command.arguments)
    kinds.push_back(kindOf(argument.value) + (argument.isRepeatable ? "..." : ""));
  return kinds.empty() ? "" : "      arguments=(" + quotedList(kinds) + ")\n";
}

std::string caseOf(CommandDescription const& command) {
  return "    " + patternOf(command) + ")\n      command=" + quoted(command.name) + "\n" + commandsOf(command) +
         optionsOf(command) + argumentsOf(command) + "      ;;\n";
}

}  // namespace

std::string bashCompletion(CommandDescription const& tool) {
  std::string text =
      "# bash completion of ztpkg                                -*- shell-script -*-\n\n"
      "# Sets what the command $1 takes; of what is no command, nothing.\n"
      "_ztpkg_describe() {\n"
      "  command=$1 commands=() options=() values=() arguments=()\n"
      "  case $1 in\n";
  for (CommandDescription const& command : allCommands(tool)) text += caseOf(command);
  return text + "  esac\n}\n" + kFunctions;
}

}  // namespace ztpkg::shell
