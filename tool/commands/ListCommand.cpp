// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "commands/Commands.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Selection.hpp"
#include "opc/Strings.hpp"
#include "opc/Time.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
enum class Type { File, Folder, Link };

/// What a listing says of an entry. What does not apply or is not recorded is absent.
struct EntryRecord {
  std::u16string path;
  Type type = Type::File;
  std::optional<std::uint64_t> size;
  std::optional<std::uint64_t> storedSize;
  std::optional<std::uint32_t> permissions;
  std::optional<std::u16string> modified;  // ISO 8601
  std::optional<std::u16string> target;
  std::optional<std::u16string> contentType;
  std::optional<std::u16string> part;
  std::optional<bool> encrypted;
};

// A file whose part is missing is listed without what only the part knows.
void addContents(EntryRecord& record, FileSystemManager const& manager, FileSystemEntry const& file) {
  record.part = file.getContentName();
  opc::model::PartName const name(*record.part);
  if (!manager.getPackage().hasPart(name)) return;
  record.size = manager.getSize(file);
  record.storedSize = manager.getStoredSize(file);
  record.contentType = manager.getPackage().getPart(name).getContentType().toString();
  record.encrypted = manager.isEncrypted(file);
}

Type typeOf(FileSystemEntry const& entry) {
  return entry.isFile() ? Type::File : (entry.isLink() ? Type::Link : Type::Folder);
}

EntryRecord recordOf(FileSystemManager const& manager, FileSystemEntry const& entry) {
  EntryRecord record;
  record.path = entry.getPathName();
  record.type = typeOf(entry);
  if (entry.getPermissions() != FileSystemEntry::getUnknownPermissions()) record.permissions = entry.getPermissions();
  std::u16string time = opc::convertTimeToString(entry.getLastModifiedTime());
  if (!time.empty()) record.modified = std::move(time);
  if (entry.isFile()) addContents(record, manager, entry);
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

/// The number of names in a path.
int depthOf(std::u16string const& path) { return static_cast<int>(std::ranges::count(path, u'/')); }

/// The entries that the user wants to see, in the order that the user wants.
class Wanted {
 public:
  Wanted(FileSystemManager const& manager, ListOptions const& options) : manager_(manager), options_(options) {}

  void visit(std::function<void(FileSystemEntry const&)> const& visitor) const {
    if (options_.sort.empty() || options_.sort == "name") return visitInOrder(visitor);
    std::vector<FileSystemEntry> entries;
    visitInOrder([&](FileSystemEntry const& entry) { entries.push_back(entry); });
    if (options_.sort == "size")
      sortBy(entries, [&](FileSystemEntry const& entry) { return recordOf(manager_, entry).size; });
    else
      sortBy(entries, [&](FileSystemEntry const& entry) { return recordOf(manager_, entry).modified; });
    for (FileSystemEntry const& entry : entries) visitor(entry);
  }

 private:
  void visitInOrder(std::function<void(FileSystemEntry const&)> const& visitor) const {
    Selection selection(manager_, options_.paths, options_);
    manager_.visitEntries([&](FileSystemEntry const& entry) {
      std::u16string const path = entry.getPathName();
      if (selection.has(path) && (options_.depth < 0 || depthOf(path) <= options_.depth)) visitor(entry);
    });
    selection.throwIfUnmatched();
  }

  /// What is largest or newest comes first, and what has no such value last.
  template <typename ValueOf>
  static void sortBy(std::vector<FileSystemEntry>& entries, ValueOf const& valueOf) {
    std::vector<std::pair<decltype(valueOf(entries.front())), FileSystemEntry>> keyed;
    keyed.reserve(entries.size());
    for (FileSystemEntry const& entry : entries) keyed.emplace_back(valueOf(entry), entry);
    std::ranges::stable_sort(keyed, [](auto const& a, auto const& b) { return a.first > b.first; });
    std::ranges::transform(keyed, entries.begin(), [](auto const& pair) { return pair.second; });
  }

  FileSystemManager const& manager_;
  ListOptions const& options_;
};

/// How the sizes of a listing are written, and in how many columns.
class SizeColumn {
 public:
  SizeColumn(FileSystemManager const& manager, Wanted const& wanted, bool human) : human_(human) {
    wanted.visit([&](FileSystemEntry const& entry) {
      EntryRecord const record = recordOf(manager, entry);
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

bool isSet(char const* variable) {
  char const* const value = std::getenv(variable);
  return value && *value;
}

/// Empty texts where standard output is no terminal that shows colours, or NO_COLOR is set.
struct Colours {
  std::string_view folder, link, end;

  static Colours ofStandardOutput() {
    char const* const terminal = std::getenv("TERM");
    bool const isDumb = !terminal || std::string_view(terminal) == "dumb";
    if (isatty(STDOUT_FILENO) != 1 || isDumb || isSet("NO_COLOR")) return {};
    return {"\x1b[1;34m", "\x1b[1;36m", "\x1b[0m"};
  }
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

void printPaths(Wanted const& wanted, Output& out) {
  Colours const colours = Colours::ofStandardOutput();
  wanted.visit([&](FileSystemEntry const& entry) {
    printPath(entry.getPathName(), typeOf(entry), colours, out);
    out.print("\n");
  });
}

void printTable(FileSystemManager const& manager, Wanted const& wanted, bool human, Output& out) {
  Colours const colours = Colours::ofStandardOutput();
  SizeColumn const sizes(manager, wanted, human);
  wanted.visit([&](FileSystemEntry const& entry) { printDetailed(recordOf(manager, entry), sizes, colours, out); });
}

char const* typeText(Type type) { return type == Type::File ? "file" : (type == Type::Folder ? "folder" : "link"); }

std::optional<std::string> permissionsText(std::optional<std::uint32_t> permissions) {
  if (!permissions) return std::nullopt;
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%04o", *permissions);
  return text.data();
}

std::string json(EntryRecord const& record) {
  JsonObject object;
  object.add("path", record.path).add("type", typeText(record.type));
  object.add("size", record.size).add("storedSize", record.storedSize);
  object.add("permissions", permissionsText(record.permissions)).add("modified", record.modified);
  object.add("target", record.target).add("contentType", record.contentType);
  object.add("part", record.part).add("encrypted", record.encrypted);
  return object.text();
}

void printJson(FileSystemManager const& manager, Wanted const& wanted, Output& out) {
  JsonArray entries(out);
  wanted.visit([&](FileSystemEntry const& entry) { entries.add(json(recordOf(manager, entry))); });
  out.print(entries.isEmpty() ? "]\n" : "\n]\n");
}

/// Names below each other. A line shows for each folder above whether more of that folder follows.
class TreePrinter {
 public:
  explicit TreePrinter(Wanted const& wanted) {
    wanted.visit([this](FileSystemEntry const& entry) { entries_.push_back({entry.getPathName(), entry}); });
    std::ranges::sort(entries_, opc::PathLess(), &Line::path);
    findLasts();
  }

  void print(Output& out) const {
    Colours const colours = Colours::ofStandardOutput();
    std::vector<bool> isLastAt;
    out.print("/\n");
    for (Line const& line : entries_) {
      auto const depth = static_cast<std::size_t>(depthOf(line.path));
      isLastAt.resize(depth, true);
      isLastAt[depth - 1] = line.isLast;
      for (std::size_t level = 0; level + 1 < depth; ++level) out.print(isLastAt[level] ? "    " : "\u2502   ");
      out.print(line.isLast ? "\u2514\u2500\u2500 " : "\u251C\u2500\u2500 ");
      printPath(line.entry.getBaseName(), typeOf(line.entry), colours, out);
      if (line.entry.isLink()) out.printName(u" -> " + line.entry.getContentName());
      out.print("\n");
    }
  }

 private:
  struct Line {
    std::u16string path;
    FileSystemEntry entry;
    bool isLast = true;  // of its folder
  };

  void findLasts() {
    std::vector<bool> hasMoreAt;  // of the folder at each depth, below the line
    for (auto line = entries_.rbegin(); line != entries_.rend(); ++line) {
      auto const depth = static_cast<std::size_t>(depthOf(line->path));
      hasMoreAt.resize(depth, false);
      line->isLast = !hasMoreAt[depth - 1];
      hasMoreAt[depth - 1] = true;
    }
  }

  std::vector<Line> entries_;
};

void printTotal(FileSystemManager const& manager, Wanted const& wanted, Output& out) {
  Entries total;
  wanted.visit([&](FileSystemEntry const& entry) {
    ++(entry.isFile() ? total.files : entry.isLink() ? total.links : total.folders);
    if (entry.isFile()) total.bytes += recordOf(manager, entry).size.value_or(0);
  });
  out.print(entriesText(total, "folder") + "\n");
}

void print(FileSystemManager const& manager, ListOptions const& options, Output& out) {
  Wanted const wanted(manager, options);
  if (options.json) return printJson(manager, wanted, out);
  if (options.tree)
    TreePrinter(wanted).print(out);
  else if (options.detailed)
    printTable(manager, wanted, options.human, out);
  else
    printPaths(wanted, out);
  if (options.total) printTotal(manager, wanted, out);
}

}  // namespace

void list(ListOptions const& options, Output& out) {
  if (options.json && options.total) throwUsage("--total does not go with --json (see ztpkg list --help)");
  auto const package = openFileSystem(options.package);
  FileSystemManager manager(*package);
  enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  throwIfTooDeep(measureEntries(manager), options.package);
  print(manager, options, out);
}

}  // namespace ztpkg
