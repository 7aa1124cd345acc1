// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlTestSupport.hpp"

#include <algorithm>
#include <cstring>

#include "opc/Strings.hpp"

namespace zt_test {

using namespace opc::model;

char const kListSchema[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns="urn:list" targetNamespace="urn:list"
    elementFormDefault="qualified">
  <xs:element name="list">
    <xs:complexType><xs:sequence>
      <xs:element name="entry" minOccurs="0" maxOccurs="unbounded">
        <xs:complexType><xs:simpleContent><xs:extension base="word">
          <xs:attribute name="id" type="xs:positiveInteger" use="required"/>
        </xs:extension></xs:simpleContent></xs:complexType>
      </xs:element>
    </xs:sequence></xs:complexType>
  </xs:element>
  <xs:simpleType name="word"><xs:restriction base="xs:string"><xs:pattern value="\S*"/></xs:restriction></xs:simpleType>
</xs:schema>)";

std::u16string const kListNamespace = u"urn:list";

std::string listOf(std::string const& inner) { return "<list xmlns=\"urn:list\">" + inner + "</list>"; }

namespace {

std::u16string qualified(char16_t mark, std::u16string_view namespaceURI, std::u16string_view localName) {
  return std::u16string(1, mark).append(u"{").append(namespaceURI).append(u"}").append(localName);
}

}  // namespace

void Recorder::startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                            XmlAttributes const& attributes) {
  std::u16string text = qualified(u'<', namespaceURI, localName);
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    text += u' ';
    if (!attributes.namespaceURI(i).empty()) text.append(u"{").append(attributes.namespaceURI(i)).append(u"}");
    text.append(attributes.localName(i)).append(u"=").append(attributes.value(i));
  }
  line(text);
}

void Recorder::endElement(std::u16string_view namespaceURI, std::u16string_view localName) {
  line(qualified(u'>', namespaceURI, localName));
}

void Recorder::characters(std::u16string_view text) { line(std::u16string(text)); }

std::string Recorder::log() const { return opc::toUTF8String(log_); }

void Recorder::line(std::u16string const& text) { log_ += text + u"\n"; }

std::size_t StepInput::read(void* buffer, std::size_t count) {
  if (++reads_ == failAt_) throw opc::StreamError("read " + std::to_string(failAt_) + " fails");
  if (pauses_ && reads_ % 2 == 1) return 0;
  count = std::min({count, step_, bytes_.size() - position_});
  std::memcpy(buffer, bytes_.data() + position_, count);
  position_ += count;
  return count;
}

std::size_t EndlessInput::read(void* buffer, std::size_t count) {
  while (text_.size() < count) text_ += piece_;
  std::memcpy(buffer, text_.data(), count);
  text_.erase(0, count);
  taken_ += count;
  return count;
}

std::string stream(XmlStreamReader& reader, std::string const& document) {
  std::vector<unsigned char> const bytes = bytesOf(document);
  opc::ByteArrayInAdaptor input(bytes);
  Recorder recorder;
  reader.read(input, recorder);
  return recorder.log();
}

std::string streamFault(XmlStreamReader& reader, std::string const& document) try {
  stream(reader, document);
  return {};
} catch (InvalidXMLDocument const& e) {
  return e.what();
}

std::string domFault(xercesc::DOMLSParser* parser, std::string const& document, bool validate) try {
  parse(parser, document, validate);
  return {};
} catch (InvalidXMLDocument const& e) {
  return e.what();
}

Document parse(xercesc::DOMLSParser* parser, std::string const& document, bool validate) {
  std::vector<unsigned char> const bytes = bytesOf(document);
  opc::ByteArrayInAdaptor input(bytes);
  return Document(XercesHelper::readDocumentFromStream(parser, input, validate, {}, {}));
}

std::string write(xercesc::DOMDocument* document) {
  std::vector<unsigned char> bytes;
  opc::ByteArrayOutAdaptor output(bytes);
  Writer const writer(XercesHelper::createPrettyPrintingWriter());
  XercesHelper::writeDocumentToStream(writer.get(), document, output);
  return textOf(bytes);
}

std::string utf16(std::string const& ascii, bool bigEndian) {
  std::string bytes;
  for (char const c : ascii) bytes += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
  return bytes;
}

}  // namespace zt_test
