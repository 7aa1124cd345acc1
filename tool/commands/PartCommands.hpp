// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "cli/Output.hpp"
#include "commands/Commands.hpp"

/// The commands that work on the parts and relationships of packages of any maker, with or without a file system.
namespace ztpkg {

struct ListPartsOptions {
  std::string package;
  bool detailed = false;
  bool json = false;
};
void listParts(ListPartsOptions const& options, Output& out);

struct CatPartsOptions {
  std::string package;
  std::vector<std::string> parts;
  bool json = false;
};
void catParts(CatPartsOptions const& options, Output& out);

struct PutPartOptions : ChangeOptions {
  std::string part;
  std::string file;  ///< "-" for standard input
  std::string type;  ///< empty to keep that of an existing part
  bool verbose = false;
  bool json = false;
};
void putPart(PutPartOptions const& options, Output& out);

struct RemovePartsOptions : ChangeOptions {
  std::vector<std::string> parts;
  bool verbose = false;
  bool json = false;
};
void removeParts(RemovePartsOptions const& options, Output& out);

struct ListRelationshipsOptions {
  std::string package;
  std::string source;  ///< a part, "/" for the package, empty for all
  bool json = false;
};
void listRelationships(ListRelationshipsOptions const& options, Output& out);

struct AddRelationshipOptions : ChangeOptions {
  std::string type;
  std::string target;
  std::string source = "/";
  std::string id;  ///< empty for the first free one
  bool external = false;
  bool verbose = false;
  bool json = false;
};
/// Prints the id of the relationship, or with `verbose` all of it.
void addRelationship(AddRelationshipOptions const& options, Output& out);

struct RemoveRelationshipsOptions : ChangeOptions {
  std::vector<std::string> ids;
  std::string source = "/";
  bool verbose = false;
  bool json = false;
};
void removeRelationships(RemoveRelationshipsOptions const& options, Output& out);

struct ExplodeOptions {
  std::string package;
  std::string directory;
  bool force = false;
  bool json = false;
  bool verbose = false;
  bool quiet = false;
};
void explode(ExplodeOptions const& options, Output& out);

struct ImplodeOptions {
  std::string directory;
  std::string package;
  bool force = false;
  bool json = false;
  bool verbose = false;
  bool quiet = false;
};
void implode(ImplodeOptions const& options, Output& out);

}  // namespace ztpkg
