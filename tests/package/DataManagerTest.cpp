// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "opc/model/DataManager.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

class Recorder final : public DataManager {
 public:
  Recorder(Package& package, std::string& log, std::string name, bool startsDirty = false)
      : DataManager(package, startsDirty), log_(log), name_(std::move(name)) {}

  std::function<void()> onLoad = [] {}, onSave = [] {};

 protected:
  void doLoad() override {
    log_ += "load " + name_ + ";";
    onLoad();
  }
  void doSave() override {
    log_ += "save " + name_ + ";";
    onSave();
  }
  std::vector<std::u16string> doGetManagedPartNames() const override { return {u"/part"}; }
  std::vector<std::u16string> doGetManagedRelationshipTypes() const override { return {u"urn:type"}; }

 private:
  std::string& log_;
  std::string name_;
};

class DataManagerTest : public ::testing::Test {
 protected:
  std::string log;
  std::unique_ptr<Package> package = Package::createInMemory();
};

TEST_F(DataManagerTest, KnowsItsPackage) {
  Recorder const a(*package, log, "a");
  EXPECT_EQ(&a.getPackage(), package.get());
}

TEST_F(DataManagerTest, NamesWhatItManages) {
  Recorder const a(*package, log, "a");
  EXPECT_EQ(a.getManagedPartNames(), (std::vector<std::u16string>{u"/part"}));
  EXPECT_EQ(a.getManagedRelationshipTypes(), (std::vector<std::u16string>{u"urn:type"}));
}

TEST_F(DataManagerTest, LoadsOnce) {
  Recorder a(*package, log, "a");
  a.load();
  a.load();
  EXPECT_EQ(log, "load a;");
}

TEST_F(DataManagerTest, LoadsAgainAfterAFailure) {
  Recorder a(*package, log, "a");
  a.onLoad = [] { throw InvalidPartContent("no key"); };
  EXPECT_THROW_MESSAGE(a.load(), InvalidPartContent, "no key");
  a.onLoad = [] {};
  a.load();
  a.load();
  EXPECT_EQ(log, "load a;load a;");
}

TEST_F(DataManagerTest, IsSavedWhenDirtyInOrderOfRegistration) {
  Recorder a(*package, log, "a"), b(*package, log, "b"), c(*package, log, "c");
  c.markAsDirty();
  a.markAsDirty();
  EXPECT_TRUE(a.isDirty());
  package->save();
  EXPECT_EQ(log, "save a;save c;");
  EXPECT_FALSE(a.isDirty());
  package->save();
  EXPECT_EQ(log, "save a;save c;");
}

TEST_F(DataManagerTest, MayStartDirty) {
  Recorder const a(*package, log, "a", true);
  EXPECT_TRUE(a.isDirty());
  package->save();
  EXPECT_EQ(log, "save a;");
}

TEST_F(DataManagerTest, IsServedWhenAnotherMakesItDirty) {
  Recorder a(*package, log, "a"), b(*package, log, "b");
  b.onSave = [&] { a.markAsDirty(); };
  b.markAsDirty();
  package->save();
  EXPECT_EQ(log, "save b;save a;");
  EXPECT_FALSE(a.isDirty());
}

TEST_F(DataManagerTest, IsServedOnceWhenItMakesItselfDirty) {
  Recorder a(*package, log, "a", true);
  a.onSave = [&] { a.markAsDirty(); };
  package->save();
  EXPECT_EQ(log, "save a;");
  EXPECT_FALSE(a.isDirty());
}

TEST_F(DataManagerTest, DoesNotSaveForEverWithAnother) {
  Recorder a(*package, log, "a", true), b(*package, log, "b");
  a.onSave = [&] { b.markAsDirty(); };
  b.onSave = [&] { a.markAsDirty(); };
  package->save();
  EXPECT_EQ(log, "save a;save b;save a;save b;save a;save b;");
  EXPECT_TRUE(a.isDirty());
  EXPECT_FALSE(b.isDirty());
}

TEST_F(DataManagerTest, StaysDirtyWhenASaveFails) {
  Recorder a(*package, log, "a", true), b(*package, log, "b", true), c(*package, log, "c", true);
  b.onSave = [] { throw InvalidPartContent("no"); };
  EXPECT_THROW_MESSAGE(package->save(), InvalidPartContent, "no");
  EXPECT_TRUE(a.isDirty() && b.isDirty() && c.isDirty());
  b.onSave = [] {};
  package->save();
  EXPECT_EQ(log, "save a;save b;save a;save b;save c;");
}

TEST_F(DataManagerTest, IsForgottenWhenItIsDestroyed) {
  { Recorder a(*package, log, "a", true); }
  package->save();
  EXPECT_EQ(log, "");
}

TEST_F(DataManagerTest, MayComeAndGoDuringASave) {
  auto a = std::make_unique<Recorder>(*package, log, "a", true);
  Recorder b(*package, log, "b", true);
  std::vector<std::unique_ptr<Recorder>> made;
  b.onSave = [&] {
    a.reset();
    for (int i = 0; i < 20; ++i) made.push_back(std::make_unique<Recorder>(*package, log, "x", i == 7));
  };
  package->save();
  EXPECT_EQ(log, "save a;save b;save x;");
}

TEST_F(DataManagerTest, LearnsThatItsPackageIsGone) {
  Recorder a(*package, log, "a");
  a.load();
  package.reset();
  EXPECT_THROW_MESSAGE(a.getPackage(), InvalidState, "The package is gone");
  EXPECT_THROW_MESSAGE(a.markAsDirty(), InvalidState, "The package is gone");
  EXPECT_NO_THROW(a.load());
}

TEST_F(DataManagerTest, IsNotSavedByADestructor) {
  Recorder const a(*package, log, "a", true);
  package.reset();
  EXPECT_EQ(log, "");
}

}  // namespace
}  // namespace opc::model
