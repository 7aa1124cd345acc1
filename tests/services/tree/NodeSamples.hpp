// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <string>

#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/FileSystemNode.hpp"

/// What the tests of nodes, entries and manifests have in common.
namespace opc::ztservices::node_samples {

inline boost::posix_time::ptime const kUnknown(boost::posix_time::not_a_date_time);
inline boost::posix_time::ptime const kLeapDay(boost::gregorian::date(2024, 2, 29));

inline FileSystemNode folder(std::u16string const& path) { return makeFolderNode(path, kUnknownPermissions, kUnknown); }

}  // namespace opc::ztservices::node_samples
