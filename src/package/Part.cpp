// SPDX-License-Identifier: Apache-2.0
#include "opc/model/Part.hpp"

#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PackageState.hpp"
#include "package/PartOutputStream.hpp"

namespace opc::model {

IPhysicalPartInfo::~IPhysicalPartInfo() = default;

ContentType Part::getContentType() const { return *state().get(getName())->second.type->value; }

std::uint64_t Part::getSize() const { return state().sizeOf(state().get(getName())); }

std::uint64_t Part::getStoredSize() const { return state().storedSizeOf(state().get(getName())); }

std::unique_ptr<InputStream> Part::getInputStream() const { return state().openContent(state().get(getName())); }

std::unique_ptr<OutputStream> Part::getOutputStream() const {
  state().requireWritable();
  auto const part = state().get(getName());
  if (getName().isRelationshipsPart()) throw InvalidState(detail::messages::partIsPackagesOwn(getName().toString()));
  return std::make_unique<detail::PartOutputStream>(sharedState(), part);
}

}  // namespace opc::model
