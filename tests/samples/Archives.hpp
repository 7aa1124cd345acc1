// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// What tests and fuzz targets make packages of.
namespace opc::model::samples {

using Bytes = std::vector<unsigned char>;

struct Item {
  std::string name, content;
};

/// A ZIP archive of these items, in this order.
Bytes archiveOf(std::vector<Item> const& items);

/// A content types document with these children, and defaults for "rels" and "xml".
std::string contentTypes(std::string const& children = {});
std::string relationships(std::string const& children);

}  // namespace opc::model::samples
