// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Stands in front of every XML namespace and relationship type of this system. A macro, so that literals
/// of either character width can be joined to it.
#define ZT_SCHEMA_BASE_URI "http://schemas.corvanta.example"
