// SPDX-License-Identifier: Apache-2.0
#include "model/World.hpp"

#include <cstddef>
#include <utility>

#include "opc/Exception.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/Encryption.hpp"

namespace zt_model {
namespace {

using opc::model::AccessMode;
using opc::model::Package;

constexpr std::size_t kKeyBytes = 32;

Bytes key() { return Bytes(kKeyBytes, 7); }

std::unique_ptr<Edited> editedOf(std::unique_ptr<Package> package) {
  return std::unique_ptr<Edited>(new Edited{std::move(package)});
}

std::unique_ptr<Edited> openBytes(Bytes const& bytes, AccessMode mode) {
  return editedOf(Package::openInMemory(bytes, mode));
}

Model emptyModel() { return {{}, {{"properties", "|||"}}}; }

}  // namespace

World::World(Random& random) {
  isOnDisk_ = random.oneIn(2);
  beginAnew(random);
}

void World::beginAnew(Random& random) {
  switch (random.below(4)) {
    case 0:
      log("a package of another maker");
      return start(foreignPackage(random));
    case 1:
      log("a package of version 1");
      return start(version1Package(random));
    default:
      return startNew(random);
  }
}

void World::upgrade(Random& random) {
  start(version1Package(random));
  files().setSaveV1Manifest(random.oneIn(3));
  files().load();
  save();
  reopen();
  if (files().getVersion() != u"2.0") throw Deviation("The manifest is not of the current version");
}

void World::attempt(bool isToSucceed, std::function<void()> const& call) const {
  std::string refusal;
  try {
    call();
  } catch (opc::Exception const& error) {
    refusal = error.what();
    if (refusal.empty()) refusal = "an exception without text";
  }
  if (isToSucceed && !refusal.empty()) throw Deviation("It was refused: " + refusal);
  if (!isToSucceed && refusal.empty()) throw Deviation("It was not refused");
}

void World::check() {
  std::string const difference = differenceOf(model_, observe(*edited_));
  if (!difference.empty()) throw Deviation(difference);
}

void World::startNew(Random& random) {
  isEncrypted_ = random.oneIn(4);
  edited_.reset();
  edited_ = editedOf(isOnDisk_ ? Package::create(path(), opc::model::Existing::Replace) : Package::createInMemory());
  if (isEncrypted_) {
    files().enableEncryption(key(), opc::ztservices::IVMode::Random, {});
    files().enableDecryption(key());
  }
  if (random.oneIn(3)) package().setCompressionThreads(2);
  model_ = emptyModel();
  log("a new package" + std::string(isOnDisk_ ? " on the disk" : "") + (isEncrypted_ ? ", encrypted" : ""));
  save();
}

void World::start(Sample sample) {
  isEncrypted_ = false;
  saved_ = std::move(sample.bytes);
  edited_.reset();
  if (isOnDisk_) zt_test::writeFile(directory_ / "p.zt", zt_test::textOf(saved_));
  savedModel_ = std::move(sample.model);
  reopen();
}

void World::startDamaged(Random& random) {
  if (isEncrypted_) return;
  save();
  Bytes bytes = damaged(storedBytes(), random);
  Model model;
  try {
    model = observe(*openBytes(bytes, AccessMode::ReadOnly));
  } catch (opc::Exception const&) {
    return;  // refused as a whole
  }
  log("  which is damaged now");
  start({std::move(bytes), std::move(model)});
}

void World::save() {
  if (isOnDisk_)
    package().save();
  else
    saved_ = package().saveToBytes();
  savedModel_ = model_.saved();
}

void World::reopen() {
  model_ = savedModel_;
  edited_.reset();
  edited_ =
      isOnDisk_ ? editedOf(Package::open(path(), AccessMode::ReadWrite)) : openBytes(saved_, AccessMode::ReadWrite);
  if (!isEncrypted_) return;
  files().enableDecryption(key());
  files().enableEncryption(key(), opc::ztservices::IVMode::Random, {});
}

Bytes World::storedBytes() const {
  return isOnDisk_ ? zt_test::bytesOf(zt_test::readFile(directory_ / "p.zt")) : saved_;
}

}  // namespace zt_model
