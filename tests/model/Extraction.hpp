// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/World.hpp"

namespace zt_model {

/// Extracts what can be read to a folder of the disk. Throws Deviation where the folder is not as the model says.
void checkExtraction(World& world);

}  // namespace zt_model
