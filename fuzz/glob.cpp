// SPDX-License-Identifier: Apache-2.0
#include "disk/Glob.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "FuzzTarget.hpp"
#include "opc/Strings.hpp"

/// A pattern in the first line, and a path: a match is one of the path itself or of a folder above it, and a pattern
/// without special characters matches what it says.
namespace zt_fuzz {
namespace {

using ztpkg::Glob;

constexpr std::size_t kLongest = 200;

std::u16string path(std::string const& text) {
  std::u16string const units = opc::toString(text, false);
  return units.starts_with(u'/') ? units : u'/' + units;
}

void run(Bytes const& input) {
  auto const [line, rest] = lineAndRest(input);
  if (line.size() > kLongest || rest.size() > kLongest) return;
  std::u16string const pattern = opc::toString(line, false), whole = path(rest);
  if (whole.ends_with(u'/') || whole.find(u"//") != whole.npos) return;  // no path of a tree
  Glob const glob(pattern);
  std::size_t const names = glob.matchedNames(whole);
  require(glob.matches(whole) == (names > 0), "a path matches where one of its names does");
  require(names <= static_cast<std::size_t>(std::count(whole.begin(), whole.end(), u'/')), "names are of the path");
  if (names == 0) return;
  std::size_t end = 0;
  for (std::size_t left = names; left > 0; --left) end = whole.find(u'/', end + 1);
  require(glob.matches(whole.substr(0, end)), "what lies below a match matches by what is above it");
  require(glob.matches(whole + u"/below"), "everything below a match matches");
}

std::vector<Bytes> seeds() {
  return {bytesOf("*.txt\n/a/b.txt"),
          bytesOf("/a/**/c\n/a/x/y/c/d"),
          bytesOf("[!a-c]?\\*\n/d1*"),
          bytesOf("**\n/"),
          bytesOf("[\n/["),
          bytesOf("\xC3\xA9*\n/\xC3\xA9t\xC3\xA9")};
}

Registration const registration("glob", run, seeds);

}  // namespace
}  // namespace zt_fuzz
