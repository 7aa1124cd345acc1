// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The beginning of every XML namespace and relationship type of this system. A macro, so that it joins with literals
/// of either character width.
#define ZT_SCHEMA_BASE_URI "http://schemas.corvanta.example"
