// SPDX-License-Identifier: Apache-2.0
#include "opc/FileSystemOps.hpp"

namespace opc {

FileSystemOps::~FileSystemOps() = default;
FileSystemOpsSelector::~FileSystemOpsSelector() = default;

}  // namespace opc
