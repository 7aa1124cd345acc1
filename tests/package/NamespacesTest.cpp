// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "opc/Strings.hpp"
#include "opc/model/DataManager.hpp"
#include "opc/model/PackageHelper.hpp"

/// A program may name both namespaces at once.
namespace program {
using namespace opc;
using namespace opc::model;

TEST(Namespaces, NameHelpersWithoutAmbiguity) { EXPECT_EQ(detail::getFilename(u"/a/b"), u"b"); }

}  // namespace program
