// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <iostream>
#include <istream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/PartCommands.hpp"
#include "commands/PartRecords.hpp"
#include "disk/DestinationTree.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "disk/TemporaryPackage.hpp"
#include "opc/SafePaths.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"

// A package as a directory: parts/ and escaped/ hold the parts, package.json their names, types and relationships.
namespace ztpkg {
namespace {

using opc::model::Existing;
using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;

constexpr char16_t kDescription[] = u"package.json";
constexpr char16_t kParts[] = u"parts";
constexpr char16_t kEscaped[] = u"escaped/";

/// Whether a disk can hold the name as a path: segments of at most 255 bytes (NAME_MAX), the whole below the system's
/// PATH_MAX. Names of temporary files would be taken for leftovers.
bool fitsDisk(std::u16string const& name) {
  constexpr std::size_t kLongestSegment = 255, kLongestPath = 3800;
  std::string const bytes = opc::toUTF8String(name);
  if (bytes.size() > kLongestPath || opc::findPathFault(name) != opc::PathFault::None) return false;
  for (std::size_t begin = 1; begin <= bytes.size();) {
    std::size_t const end = std::min(bytes.find('/', begin), bytes.size());
    std::string_view const segment(bytes.data() + begin, end - begin);
    if (segment.empty() || segment.size() > kLongestSegment || segment.starts_with(".ztservices-")) return false;
    begin = end + 1;
  }
  return bytes.find('\0') == bytes.npos;
}

struct WrittenPart {
  std::u16string name, contentType, file;
  std::uint64_t size;
};

/// Writes parts below a directory, which holds everything: the operations refuse to leave it.
class Exploder {
 public:
  Exploder(Package const& package, GivenDirectory root, bool force)
      : package_(package),
        root_(std::move(root)),
        progress_(false),
        destination_(root_, {.replaceExisting = force, .allowInexactTimes = true}, progress_) {}

  void writeParts() {
    std::vector<std::pair<PartName, std::u16string>> files;
    std::set<std::u16string> folders;
    for (PartName const& name : package_.getPartNames()) {
      if (name.isRelationshipsPart()) continue;
      files.emplace_back(name, fileOf(name.toString()));
      folders.insert(parentOf(pathOf(files.back().second)));
    }
    destination_.setFolders({folders.begin(), folders.end()});
    for (auto const& [name, file] : files) tryWrite(package_.getPart(name), file);
  }

  void writeDescription() {
    std::string text = "{\"parts\": [";
    for (WrittenPart const& part : written_) {
      JsonObject object;
      object.add("name", part.name).add("contentType", part.contentType).add("file", part.file);
      text.append(&part == &written_.front() ? "\n" : ",\n").append(object.text());
    }
    text += "\n],\n\"relationships\": [";
    std::string separator = "\n";
    for (RelationshipRecord const& record : recordsOf(package_, package_.getPartNames(), TargetForm::AsWritten)) {
      text.append(separator).append(json(record));
      separator = ",\n";
    }
    text += "\n]}\n";
    std::vector<unsigned char> const bytes(text.begin(), text.end());
    opc::ByteArrayInAdaptor content(bytes);
    writeFile(kDescription, content);
  }

  std::vector<WrittenPart> const& written() const { return written_; }
  std::vector<Report> const& problems() const { return problems_; }

 private:
  std::u16string fileOf(std::u16string const& name) {
    return fitsDisk(name) ? kParts + name : kEscaped + opc::toString(std::to_string(++escaped_));
  }

  /// A damaged part is reported and left out; the others are written.
  void tryWrite(Part const& part, std::u16string const& file) {
    std::u16string const name = part.getName().toString();
    try {
      writeFile(file, *part.getInputStream());
      written_.push_back({name, part.getContentType().toString(), file, part.getSize()});
    } catch (opc::model::InvalidItem const& damaged) {
      problems_.push_back({Exit::Package, "damaged-part", "cannot write " + shown(name) + ": " + damaged.what(), name});
    }
  }

  std::u16string pathOf(std::u16string const& file) const { return root_.root + u"/" + file; }

  void writeFile(std::u16string const& relative, opc::InputStream& content) {
    std::u16string const path = pathOf(relative);
    opc::FileSystemOps& disk = destination_.getForPath(path);
    boost::system::error_code error;
    disk.createFolders(parentOf(path), error);
    auto const file = disk.createOutputStream(path, std::ios::out | std::ios::binary | std::ios::trunc, error);
    opc::StdOStreamAdaptor to(*file);
    opc::StreamHelper::copyStreamToStream(content, to);
    file->commit(error);
    if (error) throw Failure(diskReport("cannot-write", "cannot write", root_.asGiven(path), error));
  }

  Package const& package_;
  GivenDirectory root_;
  Progress progress_;
  Destination destination_;
  std::vector<WrittenPart> written_;
  std::vector<Report> problems_;
  std::size_t escaped_ = 0;
};

/// The directory to write to; one with contents is refused unless they may be replaced.
GivenDirectory emptyDirectory(ExplodeOptions const& options) {
  std::u16string const given = fromArgument(options.directory);
  if (!isThere(given)) return {given, resolvedPath(given)};
  std::u16string const root = existingDirectory(given);
  if (options.force) return {given, root};
  opc::LocalFileSystemOps disk;
  std::vector<std::u16string> files, folders;
  boost::system::error_code error;
  disk.getFiles(root, files, false, error);
  if (!error) disk.getFolders(root, folders, false, error);
  if (error) throw Failure(diskReport("cannot-read", "cannot list", given, error));
  if (files.empty() && folders.empty()) return {given, root};
  throw Failure(
      Report{Exit::Disk, "already-exists", shown(given) + " is not empty (use --force to replace files in it)", given});
}

std::uint64_t bytesOf(std::vector<WrittenPart> const& parts) {
  std::uint64_t bytes = 0;
  for (WrittenPart const& part : parts) bytes += part.size;
  return bytes;
}

struct Totals {
  std::uint64_t parts = 0, bytes = 0;
  std::vector<std::u16string> leftOut = {};
  std::vector<std::u16string> names = {};  ///< of the parts, with --verbose
};

/// What a command says of its work.
struct Texts {
  char const* command;
  char const* done;
  char const* leftOut;  ///< what such files or items are
};

template <typename Options>
void printTotals(Texts const& texts, Totals const& totals, Options const& options, Output& out) {
  if (options.json) {
    JsonObject document;
    document.add("parts", totals.parts).add("bytes", totals.bytes).add("leftOut", totals.leftOut);
    if (options.verbose) document.add("names", totals.names);
    return document.print(out);
  }
  for (std::u16string const& name : totals.names) {
    out.printName(name);
    out.print("\n");
  }
  if (options.quiet) return;
  for (std::u16string const& name : totals.leftOut)
    std::cerr << "ztpkg: " << texts.command << ": left out " << shown(name) << ", " << texts.leftOut << '\n';
  std::cerr << texts.done << ' ' << counted(static_cast<std::size_t>(totals.parts), "part") << " ("
            << sizeText(totals.bytes) << ")\n";
}

/// The files of an exploded package. Nothing outside of the directory is read, also through links.
class ExplodedPackage {
 public:
  explicit ExplodedPackage(GivenDirectory root) : root_(std::move(root)), disk_(root_.root) {}

  JsonReader readDescription() {
    auto const file = open(kDescription);
    std::string const text{std::istreambuf_iterator<char>(*file), {}};
    return JsonReader(text, root_.asGiven(root_.root + u"/" + kDescription));
  }

  std::unique_ptr<std::istream> open(std::u16string const& relative) {
    std::u16string const path = root_.root + u"/" + relative, asGiven = root_.asGiven(path);
    if (opc::findPathFault(relative) != opc::PathFault::None)
      throw Failure(
          Report{Exit::Package, "unsafe-path", "package.json names a file outside: " + shown(relative), asGiven});
    boost::system::error_code error;
    auto file = disk_.createInputStream(path, std::ios::in | std::ios::binary, error);
    if (!file) throw Failure(diskReport("cannot-read", "cannot read", asGiven, error));
    file->exceptions(std::ios::badbit);
    used_.insert(path);
    return file;
  }

  /// The files that were not opened.
  std::vector<std::u16string> unused() {
    std::vector<std::u16string> files;
    boost::system::error_code error;
    disk_.getFiles(root_.root, files, true, error);
    if (error) throw Failure(diskReport("cannot-read", "cannot list", root_.given, error));
    std::erase_if(files, [this](std::u16string const& file) { return used_.contains(file); });
    std::ranges::transform(files, files.begin(), [this](std::u16string const& file) { return root_.asGiven(file); });
    return files;
  }

 private:
  GivenDirectory root_;
  opc::ConfinedFileSystemOps disk_;
  std::set<std::u16string> used_;
};

void addPart(Package& package, ExplodedPackage& source, JsonReader const& described, Totals& totals) {
  throwIfInterrupted();
  Part part =
      package.createPart(PartName(described.text("name")), opc::model::ContentType(described.text("contentType")));
  auto const file = source.open(described.text("file"));
  opc::StdIStreamAdaptor from(*file);
  auto const to = part.getOutputStream();
  opc::StreamHelper::copyStreamToStream(from, *to);
  to->close();
  ++totals.parts;
  totals.bytes += part.getSize();
}

void addTo(opc::model::RelationshipSource& source, JsonReader const& described) {
  std::u16string const id = described.text("id"), type = described.text("type"), target = described.text("target");
  if (described.text("mode") == u"External")
    source.createExternalRelationship(type, target, id);
  else
    source.createInternalRelationship(type, opc::model::URI(target), id);
}

void addRelationshipOf(Package& package, JsonReader const& described) {
  std::u16string const source = described.text("source");
  if (source == u"/") return addTo(package, described);
  Part part = package.getPart(PartName(source));
  addTo(part, described);
}

}  // namespace

void explode(ExplodeOptions const& options, Output& out) {
  noteSignals();
  auto const package = openPackage(options.package);
  Exploder exploder(*package, emptyDirectory(options), options.force);
  exploder.writeParts();
  exploder.writeDescription();
  Totals totals{exploder.written().size(), bytesOf(exploder.written()), package->getItemNames()};
  std::erase_if(totals.leftOut, [](std::u16string const& name) { return name.ends_with(u'/'); });
  if (options.verbose)
    for (WrittenPart const& part : exploder.written()) totals.names.push_back(part.name);
  printTotals({"explode", "wrote", "which is not a part"}, totals, options, out);
  if (exploder.problems().empty()) return;
  out.close();
  throw Failure(exploder.problems());
}

void implode(ImplodeOptions const& options, Output& out) {
  noteSignals();
  std::optional<TemporaryPackage> pipe;
  if (options.package == "-") {
    checkPackageOutput(options.verbose && !options.json);
    pipe.emplace();
  }
  std::u16string const target = pipe ? pipe->path() : fromArgument(options.package);
  std::u16string const directory = fromArgument(options.directory);
  ExplodedPackage source({directory, existingDirectory(directory)});
  JsonReader const description = source.readDescription();
  auto const package = Package::create(target, options.force ? Existing::Replace : Existing::Refuse);
  Totals totals;
  description.forEach("parts", [&](JsonReader const& part) {
    addPart(*package, source, part, totals);
    if (options.verbose) totals.names.push_back(part.text("name"));
  });
  description.forEach("relationships",
                      [&](JsonReader const& relationship) { addRelationshipOf(*package, relationship); });
  throwIfInterrupted();
  package->save();
  if (pipe) pipe->printTo(out);
  if (options.json || !options.quiet) totals.leftOut = source.unused();
  Texts const texts{"implode", "stored", "which package.json does not name"};
  if (!pipe) return printTotals(texts, totals, options, out);
  out.close();
  Output errors(STDERR_FILENO);
  printTotals(texts, totals, options, errors);
  errors.close();
}

}  // namespace ztpkg
