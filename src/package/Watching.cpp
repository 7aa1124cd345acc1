// SPDX-License-Identifier: Apache-2.0
#include "package/Watching.hpp"

namespace opc::model {

Watching::Watching(PackageState& state) : state_(state) {
  bool const isWanted = state.monitor.report || state.monitor.stop.stop_possible();
  if (isWanted && !state.watch) state.watch = own_ = std::make_shared<Watch>(state.monitor);
  current_ = state.watch;
}

Watching::~Watching() {
  if (!own_) return;
  own_->end();  // streams that live on keep it
  state_.watch.reset();
}

}  // namespace opc::model
