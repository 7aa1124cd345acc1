// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Text.hpp"

namespace opc::model {

/// A media type: type, subtype and an ordered list of parameters (RFC 2616, 3.7, as ECMA-376-2, 9.1.2 narrows it: no
/// comments, no white space around "/" and "=" or at the ends; white space around ";" is accepted). An object always
/// holds a valid media type. A value; different threads may read one object.
class ZT_API ContentType {
 public:
  /// Throws InvalidContentType, naming the text, when it is not a media type.
  explicit ContentType(std::u16string const& text);
  explicit ContentType(char16_t const* text);
  explicit ContentType(Utf8Text auto const& text) : ContentType(toUTF16(text)) {}

  /// The texts as they were written, in any case.
  std::u16string const& getType() const { return type_; }
  std::u16string const& getSubType() const { return subType_; }

  /// Parameter names are compared without regard to ASCII case.
  bool hasParameter(std::u16string const& name) const;
  /// The value without quotes; empty where there is no such parameter. The first one of several with that name.
  std::u16string getParameterValue(std::u16string const& name) const;
  /// Appends a parameter, or replaces the value of an existing one in its place and removes further ones of that name.
  /// Throws InvalidContentType, and changes nothing, when the name is no token or the value cannot be written as a
  /// quoted string (RFC 2616, 2.2).
  void addParameter(std::u16string const& name, std::u16string const& value);
  /// Removes every parameter of that name, if any.
  void removeParameter(std::u16string const& name);
  /// Pairs of name and unquoted value, in the order in which they are written.
  std::vector<std::pair<std::u16string, std::u16string>> const& getParameters() const { return parameters_; }

  /// "type/subtype;name=value", with values quoted where they are no tokens. Without changes it is exactly the text
  /// that was parsed.
  std::u16string toString() const;

  /// Compares type, subtype and parameter names without regard to ASCII case, and parameter values exactly. The order
  /// of the parameters does not matter.
  friend ZT_API bool operator==(ContentType const& a, ContentType const& b);

 private:
  std::u16string type_;
  std::u16string subType_;
  std::vector<std::pair<std::u16string, std::u16string>> parameters_;
  std::u16string text_;  // as parsed; empty once a parameter was changed
};

}  // namespace opc::model
