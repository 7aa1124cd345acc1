// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {

/// The schemas of the manifest, as text, each under its file name.
extern model::XmlSchemaText const kManifestSchema;
extern model::XmlSchemaText const kManifestSchemaV1;

}  // namespace opc::ztservices
