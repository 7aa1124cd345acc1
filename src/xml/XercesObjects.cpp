// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesObjects.hpp"

#include <cstddef>
#include <mutex>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLNetAccessor.hpp>

#include "xml/XercesFaults.hpp"

namespace opc::model {
namespace {

// Xerces counts its initialisations too, but without a lock.
std::mutex& guardMutex() {
  static auto* mutex = new std::mutex;  // outlives guards that are destroyed with other statics
  return *mutex;
}

std::size_t guardCount = 0;

// An application that has initialised Xerces keeps its network accessor. The parsers of this layer never use it.
void initialize() {
  bool const ours = xercesc::XMLPlatformUtils::fgMemoryManager == nullptr;
  xercesc::XMLPlatformUtils::Initialize();
  if (!ours) return;
  delete xercesc::XMLPlatformUtils::fgNetAccessor;
  xercesc::XMLPlatformUtils::fgNetAccessor = nullptr;
}

void acquire() {
  std::scoped_lock const lock(guardMutex());
  if (guardCount == 0) callXerces(initialize);
  ++guardCount;
}

void release() {
  std::scoped_lock const lock(guardMutex());
  if (--guardCount == 0) xercesc::XMLPlatformUtils::Terminate();
}

/// A use that lasts until the process ends, because initialisation takes far longer than reading a small package.
class Keeper {
 public:
  Keeper() { acquire(); }
  ~Keeper() { release(); }
  Keeper(Keeper const&) = delete;
  Keeper& operator=(Keeper const&) = delete;
};

}  // namespace

XercesGuard::XercesGuard() {
  static Keeper const keeper;
  acquire();
}

XercesGuard::XercesGuard(XercesGuard const&) { acquire(); }

XercesGuard::~XercesGuard() { release(); }

}  // namespace opc::model
