// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "opc/ztservices.hpp"
#include "support/TestSupport.hpp"

namespace {

TEST(AllHeaders, ArePartOfTheOneHeader) {
  std::filesystem::path const include = zt_test::data().parent_path().parent_path() / "include";
  std::string const whole = zt_test::readFile(include / "opc/ztservices.hpp");
  for (auto const& item : std::filesystem::recursive_directory_iterator(include)) {
    std::string const name = item.path().lexically_relative(include).string();
    bool const isHeader = item.path().extension() == ".hpp" && name != "opc/ztservices.hpp";
    if (!isHeader) continue;
    EXPECT_NE(whole.find("#include \"" + name + "\""), std::string::npos) << name;
  }
}

TEST(AllHeaders, SufficeForAProgramWithoutUTF16) {
  auto const package = opc::model::Package::createInMemory();
  opc::ztservices::FileSystemManager files(*package);
  files.addFile(zt_test::bytesOf("x"), "/a.txt", opc::Perms(0600));
  EXPECT_TRUE(files.hasEntry("/a.txt"));
}

/// It would not compile where two of the namespaces had one.
TEST(AllHeaders, HaveOneNamespaceOfDetails) {
  using namespace opc;
  using namespace opc::model;
  using namespace opc::ztservices;
  EXPECT_EQ(detail::toStringFromUTF8String("a", true), u"a");
}

}  // namespace
