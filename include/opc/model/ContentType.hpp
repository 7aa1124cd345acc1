// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "opc/Export.hpp"

namespace opc::model {

/// A media type: type, subtype and an ordered list of parameters (RFC 2616, 3.7, as ECMA-376-2, 9.1.2
/// narrows it: no comments, no white space round "/" and "=" or at the ends). A value.
class ZT_API ContentType {
 public:
  /// Throws InvalidContentType, naming the text, when it is not a media type.
  explicit ContentType(std::u16string const& text);
  explicit ContentType(char16_t const* text);

  std::u16string const& getType() const { return type_; }
  std::u16string const& getSubType() const { return subType_; }

  /// Parameter names are compared without regard to ASCII case.
  bool hasParameter(std::u16string const& name) const;
  /// The value, unquoted; empty where there is no such parameter.
  std::u16string getParameterValue(std::u16string const& name) const;
  /// Appends a parameter, or replaces the value of an existing one in its place. Throws
  /// InvalidContentType when the name is no token or the value cannot be written as a quoted string.
  void addParameter(std::u16string const& name, std::u16string const& value);
  /// Does nothing where there is no such parameter.
  void removeParameter(std::u16string const& name);
  std::vector<std::pair<std::u16string, std::u16string>> const& getParameters() const { return parameters_; }

  /// "type/subtype;name=value": values quoted where they are no tokens. A parsed text that nothing was
  /// changed in comes back to the letter.
  std::u16string toString() const;

  /// Type, subtype and parameter names without regard to ASCII case, parameter values exactly, the order
  /// of parameters without meaning.
  friend ZT_API bool operator==(ContentType const& a, ContentType const& b);

 private:
  std::u16string type_;
  std::u16string subType_;
  std::vector<std::pair<std::u16string, std::u16string>> parameters_;
  std::u16string text_;  // as parsed; empty once a parameter was changed
};

}  // namespace opc::model
