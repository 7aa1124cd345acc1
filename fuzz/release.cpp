// SPDX-License-Identifier: Apache-2.0
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "FuzzTarget.hpp"
#include "Mutators.hpp"
#include "foundation/release_info/ReleaseInfo.hpp"
#include "opc/Exception.hpp"

/// The document that says which release made a package: what is read is written, and read again equal.
namespace zt_fuzz {
namespace {

using foundation::release_info::ReleaseInfo;

ReleaseInfo infoOf(std::string const& document) {
  std::istringstream input(document);
  return ReleaseInfo(input);
}

void run(Bytes const& input) {
  std::optional<ReleaseInfo> info;
  if (!isAccepted<opc::Exception>([&] { info = infoOf(textOf(input)); })) return;
  std::string const written = info->getVersionInfo();
  require(infoOf(written).getVersionInfo() == written, "a release is kept");
}

std::vector<Bytes> seeds() {
  return {bytesOf(ReleaseInfo("R2024a", "24.1", "a <b> & c", "2024-02-29").getVersionInfo()),
          bytesOf(ReleaseInfo("").getVersionInfo())};
}

Registration const registration("release", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
