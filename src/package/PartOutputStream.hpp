// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "container/ContentWriter.hpp"
#include "opc/Streams.hpp"
#include "package/PackageState.hpp"

namespace opc::model::detail {

/// Replaces the bytes of a part when it is closed, at once or when the package's threads have deflated them. Keeps
/// the package's data alive.
class PartOutputStream final : public OutputStream {
 public:
  /// Throws InvalidState when another one is open for the part.
  PartOutputStream(std::shared_ptr<PackageState> state, PartTable::iterator part);
  ~PartOutputStream() override;

  void write(void const* data, std::size_t count) override;
  /// Throws PartNotFound when the part was deleted meanwhile, InvalidState when the package is gone.
  void close() override;

 private:
  void complete();
  /// The part keeps its former bytes, and a failure that it had.
  void abandon() noexcept;

  std::shared_ptr<PackageState> state_;
  PartTable::iterator part_;  // while the write is not deleted
  std::string name_;
  zip::ContentWriter writer_;
  std::shared_ptr<PartWrite> write_;
  int exceptionsAtStart_;
  bool isClosed_ = false;
};

}  // namespace opc::model::detail
