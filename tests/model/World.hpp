// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/Model.hpp"
#include "model/Samples.hpp"
#include "support/TestSupport.hpp"

namespace zt_model {

/// What the package did and the model did not.
class Deviation : public std::runtime_error {
 public:
  using runtime_error::runtime_error;
};

/// A package under edit, in memory or on the disk, the model of what it should hold, and the model of its last save.
class World {
 public:
  explicit World(Random& random);

  Edited& edited() { return *edited_; }
  opc::ztservices::FileSystemManager& files() { return edited_->files; }
  opc::model::Package& package() { return *edited_->package; }
  Model& model() { return model_; }
  bool isEncrypted() const { return isEncrypted_; }
  zt_test::TemporaryDirectory const& directory() const { return directory_; }

  /// Notes what is about to be done, for the report.
  void log(std::string const& step) { steps_.push_back(step); }
  std::vector<std::string> const& steps() const { return steps_; }
  /// Makes the call, which is to succeed, or to be refused by an opc::Exception.
  void attempt(bool isToSucceed, std::function<void()> const& call) const;
  /// Throws Deviation where the package is not as the model says.
  void check();

  /// Goes on with a new package, or one of another maker or version.
  void beginAnew(Random& random);
  /// Goes on with a package of version 1, which is saved in the current one and opened again. Its old manifest may be
  /// kept beside the current one.
  void upgrade(Random& random);
  /// Goes on with a damaged copy of the package, if that opens and lists its entries.
  void startDamaged(Random& random);
  void save();
  /// The package of the last save, without what was changed since.
  void reopen();

 private:
  void startNew(Random& random);
  void start(Sample sample);
  Bytes storedBytes() const;
  std::u16string path() const { return directory_.u16("p.zt"); }

  zt_test::TemporaryDirectory directory_;
  bool isOnDisk_ = false;
  bool isEncrypted_ = false;
  Bytes saved_;
  Model savedModel_, model_;
  std::vector<std::string> steps_;
  std::unique_ptr<Edited> edited_;  // goes before the directory
};

}  // namespace zt_model
