// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/Errors.hpp"
#include "cli/Records.hpp"
#include "opc/model/CoreProperties.hpp"
#include "opc/ztservices/CoreProperties.hpp"
#include "opc/ztservices/Verification.hpp"

/// JSON texts of one object each, on one line, with their members in the documented order. Long lists are
/// written object by object and never held as one document.
namespace ztpkg {

std::string json(EntryRecord const& record);
std::string json(PartRecord const& record);
std::string json(RelationshipRecord const& record);
std::string json(FileSystemRecord const& record);
std::string json(opc::model::CoreProperties const& properties);
/// The extended ones alone.
std::string json(opc::ztservices::CoreProperties const& properties);
std::string json(opc::ztservices::VerificationFault const& fault);
std::string errorJson(Report const& report);

/// Of the library underneath, such as "3.11.2".
std::string jsonLibraryVersion();

}  // namespace ztpkg
