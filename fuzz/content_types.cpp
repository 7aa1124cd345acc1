// SPDX-License-Identifier: Apache-2.0
#include "Mutators.hpp"
#include "Packages.hpp"
#include "opc/model/Exceptions.hpp"

/// The content types of a package, and the input as one content type.
namespace zt_fuzz {
namespace {

#include <memory>
#include <string>
#include <vector>

using namespace opc::model;

void requireValue(std::u16string const& text) {
  std::unique_ptr<ContentType> type;
  if (!isAccepted<InvalidContentType>([&] { type = std::make_unique<ContentType>(text); })) return;
  require(type->toString() == text, "a content type is kept to the letter");
  type->addParameter(u"added", u"a \"quoted\\ value\"");
  ContentType const again(type->toString());
  require(again == *type, "a content type that was changed can be read again");
  require(again.getParameterValue(u"ADDED") == u"a \"quoted\\ value\"", "a parameter has the value it was given");
}

void run(Bytes const& input) {
  requireValue(unitsOf(textOf(input)));
  std::string const text = textOf(input);
  requireValue({text.begin(), text.end()});
  auto const package =
      openOrRefuse(archiveOf({{"[Content_Types].xml", text}, {"a.xml", "a"}, {"b/C.d", "c"}, {"e", "e"}}));
  if (package) requireKept(*package);
}

std::vector<Bytes> seeds() {
  return {bytesOf(contentTypes()),
          bytesOf(contentTypes("<Default Extension=\"D\" ContentType='text/plain; charset=\"a b\"'/>"
                               "<Override PartName=\"/e\" ContentType=\"image/png\"/>"
                               "<Override PartName=\"/no-part\" ContentType=\"x/y\"/>")),
          bytesOf("text/plain;charset=\"utf-8\"")};
}

Registration const registration("content_types", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
