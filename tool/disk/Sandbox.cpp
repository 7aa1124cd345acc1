// SPDX-License-Identifier: Apache-2.0
#include "disk/Sandbox.hpp"

#if __has_include(<linux/landlock.h>)

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <linux/landlock.h>

#include "disk/OpenFile.hpp"

namespace ztpkg {
namespace {

// Headers of the second version lack it.
constexpr std::uint64_t kTruncate = 1ULL << 14;

constexpr std::uint64_t kBelowFolders = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
                                        LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_DIR |
                                        LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_SYM | kTruncate;
constexpr std::uint64_t kNowhere = LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_MAKE_CHAR |
                                   LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
                                   LANDLOCK_ACCESS_FS_MAKE_BLOCK;

/// The rights that the kernel knows, which is to know all that are taken; 0 where it confines nothing.
std::uint64_t knownRights() {
  long const version = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  if (version < 1) return 0;
  // The first version lets nothing be moved to another folder, the second one nothing that has no rule for it.
  std::uint64_t const moving = version >= 2 ? LANDLOCK_ACCESS_FS_REFER : 0;
  return ((kBelowFolders | kNowhere) & ~kTruncate) | moving | (version >= 3 ? kTruncate : 0);
}

class Rules {
 public:
  explicit Rules(std::uint64_t rights) : rights_(rights), rules_(make(rights)) {}

  bool allow(std::string const& path, int kind, std::uint64_t rights) const {
    OpenFile const place(path, O_PATH | kind);
    if (!place.isOpen()) return true;  // nothing is there to be written
    landlock_path_beneath_attr rule{};
    rule.allowed_access = rights & rights_;
    rule.parent_fd = place.descriptor();
    return syscall(SYS_landlock_add_rule, rules_.descriptor(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
  }

  /// Programs that gain rights when they start could undo the confinement, so that the kernel wants none of them.
  bool enforce() const {
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           syscall(SYS_landlock_restrict_self, rules_.descriptor(), 0) == 0;
  }

 private:
  static OpenFile make(std::uint64_t rights) {
    landlock_ruleset_attr attributes{};
    attributes.handled_access_fs = rights;
    return OpenFile::adopt(static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
  }

  std::uint64_t rights_;
  OpenFile rules_;
};

}  // namespace

bool confineWrites(std::vector<std::string> const& folders) {
  std::uint64_t const rights = knownRights();
  if (rights == 0) return false;
  Rules const rules(rights);
  bool const isComplete =
      std::ranges::all_of(folders,
                          [&](std::string const& folder) { return rules.allow(folder, O_DIRECTORY, kBelowFolders); }) &&
      rules.allow("/dev/tty", 0, LANDLOCK_ACCESS_FS_WRITE_FILE);
  return isComplete && rules.enforce();
}

}  // namespace ztpkg

#else

namespace ztpkg {

bool confineWrites(std::vector<std::string> const&) { return false; }

}  // namespace ztpkg

#endif
