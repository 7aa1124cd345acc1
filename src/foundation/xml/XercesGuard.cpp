// SPDX-License-Identifier: Apache-2.0
#include "foundation/xml/XercesGuard.hpp"

#include <cstddef>
#include <mutex>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLNetAccessor.hpp>

#include "foundation/xml/XercesErrors.hpp"

namespace opc::model {
namespace {

// Xerces counts its initialisations too, but without a lock.
std::mutex& guardMutex() {
  static auto* mutex = new std::mutex;  // outlives guards that are destroyed with other statics
  return *mutex;
}

std::size_t guardCount = 0;

// An application that initialised Xerces before keeps its network accessor: it is not ours to take, and
// the parsers made here never ask for it.
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

}  // namespace

XercesGuard::XercesGuard() { acquire(); }

XercesGuard::XercesGuard(XercesGuard const&) { acquire(); }

XercesGuard::~XercesGuard() {
  std::scoped_lock const lock(guardMutex());
  if (--guardCount == 0) xercesc::XMLPlatformUtils::Terminate();
}

}  // namespace opc::model
