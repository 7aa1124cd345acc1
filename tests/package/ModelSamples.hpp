// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "opc/model/Package.hpp"
#include "samples/Archives.hpp"

/// Small packages for the tests of this layer.
namespace opc::model::samples {

/// One Relationship element.
std::string relationship(std::string const& id, std::string const& target, std::string const& more = {});

/// The items and, in front of them, the content types.
Bytes packageOf(std::vector<Item> items, std::string const& typeChildren = {});
std::unique_ptr<Package> open(Bytes const& bytes, AccessMode mode = AccessMode::ReadWrite);

Part create(Package& package, std::u16string const& name, std::string const& text = {},
            std::u16string const& type = u"application/xml");
void write(Part const& part, std::string const& text);
std::string read(Part const& part);
std::string read(Package const& package, std::u16string const& name);

/// Decimal numbers, so many bytes of them.
std::string numberText(std::size_t size);

/// Part names and contents, type after the name, for comparisons.
std::vector<std::string> snapshot(Package const& package);

/// A message without the "line N, column M: " in it, whose numbers are no matter of most tests.
std::string withoutPosition(std::string const& message);

/// The items of an archive in its order.
std::vector<Item> itemsOf(Bytes const& bytes);

}  // namespace opc::model::samples
