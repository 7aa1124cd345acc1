#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Uses the Debian packages of a folder in a system that has nothing of the build: try_packages.sh FOLDER
# It installs them step by step, and what it needs to look at them, and purges them at the end. scripts/try-in calls it.
set -eu

packages=$(realpath "$1")
work=$(mktemp -d)
cd "$work"
step() { echo "== $*"; }
fail() {
  echo "try_packages: $*" >&2
  exit 1
}
get() { DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "$@" >"$work/apt.log" 2>&1 || { cat "$work/apt.log" && exit 1; }; }
# expect TEXT COMMAND...: the command prints the text somewhere.
expect() {
  wanted=$1
  shift
  "$@" >"$work/output" 2>&1 || { cat "$work/output" && fail "$* fails"; }
  grep -qF -- "$wanted" "$work/output" || { cat "$work/output" && fail "$* does not print $wanted"; }
}

for program in c++ g++ clang cmake ztpkg; do
  ! command -v $program >/dev/null || fail "$program is there already: the system is not a fresh one"
done
apt-get update -q >apt.log 2>&1 || { cat apt.log && exit 1; }

step "the tool and the library"
get "$packages"/libztservices[0-9]*.deb "$packages"/ztpkg_*.deb
expect "ztpkg " ztpkg --version
mkdir -p tree/notes && echo first >tree/notes/first.txt && ln -s first.txt tree/notes/link
expect "stored 1 file" ztpkg pack tree tree.ztp
expect "no faults" ztpkg verify tree.ztp
ztpkg unpack tree.ztp restored
diff -r tree restored
ztpkg keygen key
expect "stored 1 file" ztpkg pack tree secret.ztp --key-file key
expect "first" ztpkg cat secret.ztp notes/first.txt --key-file key

step "manual pages"
get man-db
expect "ztpkg pack" man ztpkg-pack
for page in $(dpkg -L ztpkg | sed -n 's,.*/man1/\(.*\)\.1\.gz$,\1,p'); do man -w "$page" >/dev/null; done
expect "ztpkg-unpack" man -k ztpkg

step "completions"
get bash-completion zsh fish
# shellcheck disable=SC2016  # the shells expand it
expect unpack bash -c '. /usr/share/bash-completion/bash_completion; _completion_loader ztpkg || [ $? -eq 124 ]
  COMP_LINE="ztpkg un" COMP_POINT=8 COMP_WORDS=(ztpkg un) COMP_CWORD=1; _ztpkg ztpkg un ztpkg; echo "${COMPREPLY[@]}"'
# shellcheck disable=SC2016
expect _ztpkg zsh -f -c 'autoload -U compinit && compinit -u -D && echo $_comps[ztpkg]'
expect unpack fish -c 'complete -C "ztpkg un"'

step "the documents and the examples"
get "$packages"/libztservices-doc_*.deb
documents=/usr/share/doc/ztservices
for file in README.md CHANGELOG.md docs/getting-started.md; do [ -s $documents/$file ] || fail "$file is missing"; done

step "an example, with the headers and a compiler alone"
get "$packages"/libztservices-dev_*.deb g++
g++ -std=c++20 -Wall -Wextra -Werror -I/usr/include/ztservices $documents/examples/keep_directory.cpp -o keep -lztservices
./keep tree kept.ztp again
diff -r tree again

step "the same by pkg-config, and all examples by CMake"
get pkg-config
# shellcheck disable=SC2046  # a list of options
g++ -std=c++20 $documents/examples/list_package.cpp -o list $(pkg-config --cflags --libs ztservices)
expect /notes/first.txt ./list kept.ztp
get cmake ninja-build
cmake -S $documents/examples -B examples -G Ninja >cmake.log 2>&1 || { cat cmake.log && exit 1; }
cmake --build examples >cmake.log 2>&1 || { cat cmake.log && exit 1; }
expect "0 faults" examples/verify_package kept.ztp

step "nothing is left of them"
for package in "$packages"/*.deb; do dpkg-deb -f "$package" Package; done | xargs apt-get purge -q -y >apt.log 2>&1
left=$(find / -xdev -iname '*zt*services*' -not -path "$work/*" -not -path "$packages/*" -not -path '/proc/*' -not -path "$packages")
[ -z "$left" ] || fail "left: $left"
cd / && rm -rf "$work"
