// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <xercesc/dom/DOM.hpp>

#include "support/TestSupport.hpp"
#include "xml/XercesHelper.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlStreamReader.hpp"

namespace zt_test {

struct Release {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};
using Parser = std::unique_ptr<xercesc::DOMLSParser, Release>;
using Writer = std::unique_ptr<xercesc::DOMLSSerializer, Release>;
using Document = std::unique_ptr<xercesc::DOMDocument, Release>;

/// A list of entries: element "list" with "entry" elements, each with the attribute "id" (a positive
/// number) and, as its text, a word without blanks.
extern char const kListSchema[];
extern std::u16string const kListNamespace;

/// `inner` within the document element that the schema describes.
std::string listOf(std::string const& inner);

/// Writes what it is told as one line each: "<{namespace}name a=value", "text", ">{namespace}name".
class Recorder final : public opc::model::XmlContentHandler {
 public:
  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    opc::model::XmlAttributes const& attributes) override;
  void endElement(std::u16string_view namespaceURI, std::u16string_view localName) override;
  void characters(std::u16string_view text) override;

  std::string log() const;

 private:
  void line(std::u16string const& text);

  std::u16string log_;
};

/// Calls a function for each start of an element.
class OnStart final : public opc::model::XmlContentHandler {
 public:
  using Function = std::function<void(std::u16string_view, opc::model::XmlAttributes const&)>;
  explicit OnStart(Function function) : function_(std::move(function)) {}
  void startElement(std::u16string_view, std::u16string_view localName,
                    opc::model::XmlAttributes const& attributes) override {
    function_(localName, attributes);
  }

 private:
  Function function_;
};

/// Delivers at most `step` bytes for each read; the `failAt`-th read throws (1 is the first, 0 never). With
/// `pauses` every second read delivers nothing although the end is not reached.
class StepInput final : public opc::InputStream {
 public:
  StepInput(std::string bytes, std::size_t step, std::size_t failAt = 0, bool pauses = false)
      : bytes_(std::move(bytes)), step_(step), failAt_(failAt), pauses_(pauses) {}
  void reset() override { position_ = 0; }
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override { return position_ == bytes_.size(); }
  void clear() override {}
  std::size_t position() const { return position_; }

 private:
  std::string bytes_;
  std::size_t step_;
  std::size_t failAt_;
  bool pauses_;
  std::size_t position_ = 0;
  std::size_t reads_ = 0;
};

/// Delivers `head`, then the piece again and again without end, and counts what was taken.
class EndlessInput final : public opc::InputStream {
 public:
  EndlessInput(std::string head, std::string piece) : text_(std::move(head)), piece_(std::move(piece)) {}
  void reset() override {}
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override { return false; }
  void clear() override {}
  std::size_t taken() const { return taken_; }

 private:
  std::string text_;  // what is to be delivered next
  std::string piece_;
  std::size_t taken_ = 0;
};

/// What the streaming door says to a document: what the handler was told.
std::string stream(opc::model::XmlStreamReader& reader, std::string const& document);
/// The message of the InvalidXMLDocument that each door throws, "" when it takes the document.
std::string streamFault(opc::model::XmlStreamReader& reader, std::string const& document);
std::string domFault(xercesc::DOMLSParser* parser, std::string const& document, bool validate);

Document parse(xercesc::DOMLSParser* parser, std::string const& document, bool validate = false);
std::string write(xercesc::DOMDocument* document);

/// ASCII text in UTF-16 without a byte-order mark.
std::string utf16(std::string const& ascii, bool bigEndian = true);

}  // namespace zt_test
