// SPDX-License-Identifier: Apache-2.0
#include "verify/FaultList.hpp"

#include <utility>

#include "opc/Strings.hpp"

namespace opc::ztservices {

void FaultList::refuse(model::Fault const& fault) {
  add(fault.code, toString(fault.item, false), fault.finding.empty() ? fault.message : fault.finding);
}

void FaultList::refuseContent(std::string const&) {}  // listed when the contents are read

void FaultList::tolerate(model::Fault const& fault) { refuse(fault); }

void FaultList::add(char const* code, std::u16string item, std::string message) {
  bool const isNote = code::isNote(code);
  if (faults_.size() == maximum_) {
    ++dropped_;
    hasDroppedNotesAlone_ &= isNote;
    return;
  }
  faults_.push_back({code, std::move(item), std::move(message), isNote});
}

void FaultList::addItem(char const* code, std::string_view rawName, std::string message) {
  add(code, rawName.empty() ? u"" : u"/" + toString(std::string(rawName), false), std::move(message));
}

std::vector<VerificationFault> FaultList::take() {
  if (dropped_ > 0)
    faults_.push_back(
        {code::kMoreFaults, u"", "There are " + std::to_string(dropped_) + " faults more", hasDroppedNotesAlone_});
  return std::move(faults_);
}

}  // namespace opc::ztservices
