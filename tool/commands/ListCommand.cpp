// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "cli/Amounts.hpp"
#include "cli/Colour.hpp"
#include "cli/Json.hpp"
#include "cli/Records.hpp"
#include "commands/Commands.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "opc/Time.hpp"
#include "secrets/Keys.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
using Type = EntryRecord::Type;

// A file whose part is missing is listed all the same, without what only the part knows.
void addContents(EntryRecord& record, Package const& package, std::u16string const& part) {
  record.part = part;
  opc::model::PartName const name(part);
  if (!package.hasPart(name)) return;
  opc::model::Part const content = package.getPart(name);
  record.size = contentSize(content);
  record.storedSize = content.getStoredSize();
  record.contentType = content.getContentType().toString();
  record.encrypted = content.getContentType().hasParameter(u"encryption");
}

Type typeOf(FileSystemEntry const& entry) {
  return entry.isFile() ? Type::File : (entry.isLink() ? Type::Link : Type::Folder);
}

EntryRecord recordOf(Package const& package, FileSystemEntry const& entry) {
  EntryRecord record;
  record.path = entry.getPathName();
  record.type = typeOf(entry);
  if (entry.getPermissions() != FileSystemEntry::getUnknownPermissions()) record.permissions = entry.getPermissions();
  std::u16string time = opc::convertTimeToString(entry.getLastModifiedTime());
  if (!time.empty()) record.modified = std::move(time);
  if (entry.isFile()) addContents(record, package, entry.getContentName());
  if (entry.isLink()) record.target = entry.getContentName();
  return record;
}

std::string modeText(EntryRecord const& record) {
  constexpr std::string_view kLetters = "rwxrwxrwx";
  std::string text(1, record.type == Type::Folder ? 'd' : (record.type == Type::Link ? 'l' : '-'));
  if (!record.permissions) return text + "?????????";
  for (std::size_t i = 0; i < kLetters.size(); ++i)
    text += (*record.permissions >> (kLetters.size() - 1 - i) & 1U) ? kLetters[i] : '-';
  return text;
}

std::string padded(std::string const& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

/// How the sizes of a listing are written, and in how many columns.
class SizeColumn {
 public:
  SizeColumn(Package const& package, FileSystemManager const& manager, bool human) : human_(human) {
    manager.visitLeafs([&](FileSystemEntry const& entry) {
      EntryRecord const record = recordOf(package, entry);
      width_ = std::max({width_, text(record.size).size(), text(record.storedSize).size()});
    });
  }

  std::string of(std::optional<std::uint64_t> size) const { return padded(text(size), width_); }

 private:
  std::string text(std::optional<std::uint64_t> size) const {
    if (!size) return "-";
    return human_ ? sizeText(*size) : std::to_string(*size);
  }

  bool human_;
  std::size_t width_ = 1;
};

void printPath(std::u16string const& path, Type type, Colours const& colours, Output& out) {
  if (type != Type::File) out.print(type == Type::Folder ? colours.folder : colours.link);
  out.printName(path);
  if (type != Type::File) out.print(colours.end);
}

void printDetailed(EntryRecord const& record, SizeColumn const& sizes, Colours const& colours, Output& out) {
  constexpr std::size_t kTimeWidth = 27;
  out.print(modeText(record) + "  " + sizes.of(record.size) + "  " + sizes.of(record.storedSize) + "  ");
  std::u16string time = record.modified.value_or(u"-");
  time.resize(std::max(time.size(), kTimeWidth), u' ');
  out.printName(time + u"  ");
  printPath(record.path, record.type, colours, out);
  if (record.target) out.printName(u" -> " + *record.target);
  if (record.contentType) out.printName(u"  " + *record.contentType);
  out.print("\n");
}

void printPaths(FileSystemManager const& manager, Output& out) {
  Colours const colours = Colours::ofStandardOutput();
  manager.visitEntries([&](FileSystemEntry const& entry) {
    printPath(entry.getPathName(), typeOf(entry), colours, out);
    out.print("\n");
  });
}

void printTable(Package const& package, FileSystemManager const& manager, bool human, Output& out) {
  Colours const colours = Colours::ofStandardOutput();
  SizeColumn const sizes(package, manager, human);
  manager.visitEntries(
      [&](FileSystemEntry const& entry) { printDetailed(recordOf(package, entry), sizes, colours, out); });
}

void printJson(Package const& package, FileSystemManager const& manager, Output& out) {
  std::string separator = "[\n";
  manager.visitEntries([&](FileSystemEntry const& entry) {
    out.print(separator + json(recordOf(package, entry)));
    separator = ",\n";
  });
  out.print(separator == "[\n" ? "[]\n" : "\n]\n");
}

}  // namespace

void list(ListOptions const& options, Output& out) {
  auto const package = openFileSystem(options.package);
  FileSystemManager manager(*package);
  enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  throwIfTooDeep(measureEntries(manager), options.package);
  if (options.json) return printJson(*package, manager, out);
  if (options.detailed) return printTable(*package, manager, options.human, out);
  printPaths(manager, out);
}

}  // namespace ztpkg
