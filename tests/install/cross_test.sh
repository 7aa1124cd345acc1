#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Compiles layers and their tests for another architecture, and runs them: cross_test.sh ARCHITECTURE LAYER...
# It installs the compiler and the libraries of that architecture: for a system of its own. scripts/try-in calls it.
set -eu

arch=$1
shift
export DEBIAN_FRONTEND=noninteractive
dpkg --add-architecture "$arch"
apt-get update -q >/dev/null
libraries="libboost-dev libboost-regex-dev libxerces-c-dev libdeflate-dev zlib1g-dev libssl-dev libicu-dev libgtest-dev libgmock-dev"
# shellcheck disable=SC2046  # a list of names
apt-get install -q -y --no-install-recommends "crossbuild-essential-$arch" cmake ninja-build python3 qemu-user-static unzip \
  zip $(for library in $libraries; do echo "$library:$arch"; done) >/tmp/apt.log 2>&1 || { tail -n 20 /tmp/apt.log && exit 1; }
compiler=$(dpkg-architecture -a"$arch" -qDEB_HOST_GNU_TYPE)-g++
cpu=$(dpkg-architecture -a"$arch" -qDEB_HOST_GNU_CPU)
# Not every kernel of a processor with 64 bits runs programs of 32 bits.
case "$arch" in
  "$(dpkg --print-architecture)") emulator= ;;
  i386) emulator=qemu-i386-static ;;
  *) emulator=qemu-$cpu-static ;;
esac

tree=build/$arch
cmake -S . -B "$tree" -G Ninja -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR="$cpu" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_CROSSCOMPILING_EMULATOR="$emulator" -DCMAKE_BUILD_TYPE=Release -DCMAKE_UNITY_BUILD=ON -DBUILD_SHARED_LIBS=OFF \
  -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DZT_BUILD_TOOL=OFF -DZT_BUILD_BENCH=OFF
failed=
for layer in "$@"; do
  cmake --build "$tree" --parallel "$(nproc)" --target "zt_${layer}_test" -- -k 0
  echo "== $layer"
  # shellcheck disable=SC2086  # nothing, or a program
  $emulator "$tree/tests/zt_${layer}_test" --gtest_brief=1 || failed="$failed $layer"
done
[ -z "$failed" ] || { echo "cross_test: failures in$failed" >&2 && exit 1; }
