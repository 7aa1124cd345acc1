// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>

#include "Commands.hpp"
#include "FileSystems.hpp"
#include "Json.hpp"
#include "Records.hpp"
#include "opc/Time.hpp"

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
  record.size = content.getSize();
  record.storedSize = content.getStoredSize();
  record.contentType = content.getContentType().toString();
}

EntryRecord recordOf(Package const& package, FileSystemEntry const& entry) {
  EntryRecord record;
  record.path = entry.getPathName();
  record.type = entry.isFile() ? Type::File : (entry.isLink() ? Type::Link : Type::Folder);
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

std::string padded(std::optional<std::uint64_t> number, std::size_t width) {
  std::string const digits = number ? std::to_string(*number) : "-";
  return std::string(width - std::min(width, digits.size()), ' ') + digits;
}

void printDetailed(EntryRecord const& record, std::size_t width, Output& out) {
  constexpr std::size_t kTimeWidth = 27;
  out.print(modeText(record) + "  " + padded(record.size, width) + "  " + padded(record.storedSize, width) + "  ");
  std::u16string time = record.modified.value_or(u"-");
  time.resize(std::max(time.size(), kTimeWidth), u' ');
  out.printName(time + u"  " + record.path);
  if (record.target) out.printName(u" -> " + *record.target);
  if (record.contentType) out.printName(u"  " + *record.contentType);
  out.print("\n");
}

// Wide enough for every size, so that the columns stand under each other.
std::size_t sizeWidth(Package const& package, std::vector<FileSystemEntry> const& entries) {
  std::uint64_t greatest = 0;
  for (FileSystemEntry const& entry : entries) {
    EntryRecord const record = recordOf(package, entry);
    greatest = std::max({greatest, record.size.value_or(0), record.storedSize.value_or(0)});
  }
  return std::to_string(greatest).size();
}

void printJson(Package const& package, std::vector<FileSystemEntry> const& entries, Output& out) {
  char const* separator = "[\n";
  for (FileSystemEntry const& entry : entries) {
    out.print(separator + json(recordOf(package, entry)));
    separator = ",\n";
  }
  out.print(entries.empty() ? "[]\n" : "\n]\n");
}

}  // namespace

void list(ListOptions const& options, Output& out) {
  auto const package = openFileSystem(options.package);
  FileSystemManager const manager(*package);
  load(manager, options.package);
  auto const entries = allEntries(manager);
  if (options.json) return printJson(*package, entries, out);
  std::size_t const width = options.detailed ? sizeWidth(*package, entries) : 0;
  for (FileSystemEntry const& entry : entries) {
    if (options.detailed) {
      printDetailed(recordOf(*package, entry), width, out);
    } else {
      out.printName(entry.getPathName());
      out.print("\n");
    }
  }
}

}  // namespace ztpkg
