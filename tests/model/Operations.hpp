// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/Random.hpp"
#include "model/World.hpp"

namespace zt_model {

/// Does one random thing to the package, and to the model what it should do.
void doSomething(World& world, Random& random);

}  // namespace zt_model
