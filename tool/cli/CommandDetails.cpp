// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandDetails.hpp"

#include <map>

namespace ztpkg {
namespace {

using Details = std::map<std::string, std::vector<std::string>>;

Details makeDetails() {
  return {
      {"ztpkg",
       {"Data goes to standard output, everything else to standard error. A path in a package is printed with its "
        "leading slash and may be given without it. After -- nothing is an option."}},
      {"ztpkg pack",
       {"Files are stored with their permissions and times, symbolic links as they are, empty folders too; sockets, "
        "fifos and devices are left out. When PACKAGE lies in DIR, it is left out as well.",
        "A pattern without a slash is held against each name on the way ('*.tmp'), one with a slash against the path "
        "below DIR ('a/*/c', '/top').",
        "A link that points out of DIR by a relative path is stored, but 'ztpkg unpack' makes it only with "
        "--allow-outside-links.",
        "What cannot be stored is listed, all of it, and nothing is written. The same tree gives the same bytes when "
        "--uuid is given, and --created or the variable SOURCE_DATE_EPOCH."}},
      {"ztpkg add",
       {"A folder that is there already takes what is added; a file or link never replaces a folder, nor a folder "
        "them. All is checked before the package is changed, and it is changed in one step."}},
      {"ztpkg remove",
       {"When one of the paths is not there, or a pattern matches nothing, nothing is removed. The package is changed "
        "in one step.",
        "A pattern without a slash is held against each name on the way ('*.tmp'), one with a slash against the whole "
        "path ('/2024/*.txt')."}},
      {"ztpkg unpack",
       {"A PATH that is no entry and has '*', '?' or '[' in it is a pattern, to be quoted from the shell. Without a "
        "slash it is held against each name on the way ('*.txt'), with one against the whole path ('/2024/*.txt'). One "
        "that matches nothing fails the command.",
        "All is checked before anything is written: that the contents are there, that nothing is in the way, that "
        "the disk has room, and that no entry leaves DIR."}},
      {"ztpkg list",
       {"Prints one path a line, sorted. Control characters and others that could disguise a line are escaped."}},
      {"ztpkg cat", {"Prints the bytes of the file as they are. PATH may not be a folder or a link."}},
      {"ztpkg info",
       {"Works on packages of any kind, with or without files that ztpkg has stored. Relationships within the package "
        "are shown with the part that they lead to, external ones as they are written."}},
      {"ztpkg verify",
       {"Reads every byte of a package of any kind, and lists all its faults, not only the first. With the key, or the "
        "password, encrypted contents are authenticated and the encrypted manifest is checked as a plain one; without "
        "it they are checked as far as that goes, and one line says so. A key that opens nothing in the package is an "
        "error (exit code 4)."}},
      {"ztpkg keygen", {"An existing file is never replaced. Who loses the file loses the packages."}},
      {"ztpkg props",
       {"These are the standard core properties of any package (title, creator and so on), and this system's own: "
        "content-type, friendly-name, release and uuid."}},
      {"ztpkg props get", {"Prints a line NAME=VALUE for each property that is there."}},
      {"ztpkg props set",
       {"All properties are set in one step, and the rest of the package stays byte for byte. A package has "
        "content-type, friendly-name and release, all three, or none of them; it gets a uuid when they are first "
        "set. These and the uuid cannot be removed."}},
  };
}

}  // namespace

std::vector<std::string> detailsOf(std::string const& command) {
  static Details const details = makeDetails();
  auto const found = details.find(command);
  return found == details.end() ? std::vector<std::string>() : found->second;
}

}  // namespace ztpkg
