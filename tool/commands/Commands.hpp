// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "cli/Output.hpp"
#include "disk/NamesFile.hpp"
#include "opc/model/Package.hpp"
#include "secrets/PackageKey.hpp"

/// The commands. Each does its work or throws; data goes to `out`, which the caller closes. Texts are the user's, in
/// UTF-8.
namespace ztpkg {

/// What the commands that change a package have in common.
struct ChangeOptions {
  std::string package;
  bool force = false;
  std::chrono::seconds retryLock{30};  ///< for how long to begin again while other processes change the package
};

/// What the commands that store trees have in common.
struct StoringOptions {
  std::vector<std::string> exclude;
  bool skipOutsideLinks = false;
  bool oneFileSystem = false;
  bool keepGoing = false;
  opc::model::CompressionLevel level = opc::model::CompressionLevel::Default;
  bool textToUTF8 = false;
  bool failOnUnknownText = false;  ///< otherwise a text of an unknown character set is stored as it is
  std::string textCharset;         ///< of texts that are not UTF-8; empty to find it out
  bool dryRun = false;
  bool verbose = false;
  bool json = false;
  bool progress = true;
  bool quiet = false;

  bool isListing() const { return dryRun || verbose || json; }
};

struct PackOptions : StoringOptions, NamesFile {
  std::string directory;
  std::vector<std::string> paths;  ///< below the directory, of what is stored
  std::string package;
  bool force = false;
  std::vector<std::pair<std::string, std::string>> properties;  ///< names and values
  NewKeyOptions key;
  std::string ivMode;    ///< "random", "deterministic" or empty
  std::string ivPrefix;  ///< hexadecimal digits
};
void pack(PackOptions const& options, Output& out);

struct AddOptions : StoringOptions, ChangeOptions, NamesFile {
  std::vector<std::string> sources;
  std::string to = "/";
  std::string as;  ///< what standard input, the source "-", is stored as; below `to`
  KeyOptions key;
  bool create = false;  ///< a file system where the package has none
};
void add(AddOptions const& options, Output& out);

struct UnpackOptions : NamesFile {
  std::string package;
  std::string directory;
  std::vector<std::string> paths;
  KeyOptions key;
  std::vector<std::string> exclude;
  bool update = false;
  bool skipExisting = false;
  bool removesExtra = false;
  bool raw = false;
  bool restore = true;
  bool force = false;
  bool allowOutsideLinks = false;
  bool sparse = true;
  bool toOutput = false;  ///< prints the contents of files, and makes nothing; `directory` then is the first path
  bool verbose = false;
  bool json = false;
  bool progress = true;
  bool quiet = false;
};
void unpack(UnpackOptions const& options, Output& out);

struct UpdateOptions : StoringOptions, ChangeOptions, NamesFile {
  std::string directory;
  std::vector<std::string> paths;
  KeyOptions key;
  bool checksum = false;
  bool removesMissing = false;
};
void update(UpdateOptions const& options, Output& out);

struct RemoveOptions : ChangeOptions, NamesFile {
  std::vector<std::string> paths;
  std::vector<std::string> patterns;
  KeyOptions key;
  bool verbose = false;
  bool json = false;
  bool quiet = false;
};
void remove(RemoveOptions const& options, Output& out);

struct MoveOptions : ChangeOptions {
  std::string from;
  std::string to;
  KeyOptions key;
  bool verbose = false;
  bool json = false;
  bool quiet = false;
};
void move(MoveOptions const& options, Output& out);

struct DiffOptions : NamesFile {
  std::string package;
  std::string other;  ///< a directory or package
  std::vector<std::string> paths;
  std::vector<std::string> exclude;
  KeyOptions key;
  bool oneFileSystem = false, skipOutsideLinks = false;  // of a directory
  bool checksum = false;
  bool parts = false;  ///< compares the parts of two packages and not their trees
  bool raw = false;    ///< compares XML parts by their bytes
  bool verbose = false;
  bool json = false;
  bool progress = true;
  bool quiet = false;
};
/// Throws Ended after printing differences, if there are any.
void diff(DiffOptions const& options, Output& out);

struct VerifyOptions {
  std::string package;
  KeyOptions key;
  bool json = false;
  bool quiet = false;
};
/// Throws Failure after printing the faults, if there are any.
void verify(VerifyOptions const& options, Output& out);

struct RepairCommandOptions {
  std::string package;
  std::string target;
  KeyOptions key;
  bool verbose = false;
  bool json = false;
  bool quiet = false;
};
/// Throws Failure after printing what was lost, if anything was.
void repair(RepairCommandOptions const& options, Output& out);

struct ListOptions : NamesFile {
  std::string package;
  std::vector<std::string> paths;
  KeyOptions key;
  bool tree = false;
  int depth = -1;    ///< the most names of a path; negative for any number
  std::string sort;  ///< "name", "size", "time" or empty
  bool total = false;
  bool detailed = false;
  bool human = false;
  bool json = false;
  bool quiet = false;
};
void list(ListOptions const& options, Output& out);

struct CatOptions : NamesFile {
  std::string package;
  std::vector<std::string> paths;
  KeyOptions key;
  bool json = false;
  bool quiet = false;
};
void cat(CatOptions const& options, Output& out);

struct InfoOptions {
  std::string package;
  KeyOptions key;
  bool json = false;
  bool digest = false;
  bool quiet = false;
  std::string treemap = {};  ///< the file to draw to; empty for none
};
void info(InfoOptions const& options, Output& out);

struct GetPropertiesOptions {
  std::string package;
  bool json = false;
};
void getProperties(GetPropertiesOptions const& options, Output& out);

struct SetPropertiesOptions : ChangeOptions {
  std::vector<std::string> assignments;  ///< NAME=VALUE
  bool verbose = false;
  bool json = false;
};
void setProperties(SetPropertiesOptions const& options, Output& out);

struct RekeyCommandOptions : ChangeOptions {
  KeyOptions key;  ///< the present one
  NewKeyOptions newKey;
  bool toPlain = false;
  bool verbose = false;
  bool json = false;
  bool progress = true;
  bool quiet = false;
};
void rekey(RekeyCommandOptions const& options, Output& out);

struct KeygenOptions {
  std::string file;
  bool json = false;
};
void keygen(KeygenOptions const& options, Output& out);

}  // namespace ztpkg
