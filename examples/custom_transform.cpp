// SPDX-License-Identifier: Apache-2.0
// Stores a text in capitals, through a transform of its own: custom_transform FILE PACKAGE PATH
#include <cctype>
#include <exception>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "opc/ztservices.hpp"

using namespace opc;

namespace {

class Capitals final : public ztservices::TransformSource {
 public:
  using TransformSource::TransformSource;

  bool mustTransformEntireStream() override { return false; }  // each letter stands for itself
  bool transformContentType(model::ContentType const&, model::ContentType& out) override {
    out.addParameter(u"case", u"upper");
    return true;
  }
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override {
    for (int const letter : in) out.push_back(static_cast<unsigned char>(std::toupper(letter)));
    return true;
  }
};

}  // namespace

int main(int count, char** arguments) try {
  if (count != 4) throw Exception("usage: custom_transform FILE PACKAGE PATH");
  auto const package = model::Package::create(arguments[2], model::Existing::Replace);
  ztservices::FileSystemManager files(*package);
  auto source = std::make_unique<ztservices::FileContentSource>(arguments[1]);
  files.addFile(std::make_unique<Capitals>(std::move(source)), arguments[3], Perms(0644), getCurrentTime());
  package->save();
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
