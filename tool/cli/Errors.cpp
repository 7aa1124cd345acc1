// SPDX-License-Identifier: Apache-2.0
#include "cli/Errors.hpp"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <new>
#include <utility>

#include "disk/Paths.hpp"
#include "opc/Exception.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace ztpkg {
namespace {

namespace model = opc::model;
namespace services = opc::ztservices;
using opc::Exception;

bool isWarning = true;  // of the whole process, as --quiet is

template <typename... Classes>
bool isOneOf(Exception const& error) {
  return (... || dynamic_cast<Classes const*>(&error));
}

bool hasCode(Exception const& error, boost::system::errc::errc_t condition) {
  return error.getErrorCode() == boost::system::errc::make_error_condition(condition);
}

struct Kind {
  Exit exit;
  char const* code;
};

Kind kindOfDiskError(Exception const& error) {
  if (hasCode(error, boost::system::errc::file_exists)) return {Exit::Disk, "already-exists"};
  if (hasCode(error, boost::system::errc::no_space_on_device)) return {Exit::Disk, "disk-full"};
  if (isOneOf<model::CouldNotOpenPackage, services::CouldNotOpenFile, services::CouldNotGetPermissions,
              services::CouldNotGetLastModifiedTime, services::CouldNotGetSourceFilesAndLinks>(error))
    return {Exit::Disk, "cannot-read"};
  if (isOneOf<model::CouldNotSavePackage, services::CouldNotCreateFile, services::CouldNotWriteFile,
              services::CouldNotCreateLink, services::CouldNotCreateFolder, services::CouldNotCreateDestinationRoot,
              services::CouldNotCreateDestinationParent, services::CouldNotSetPermissions,
              services::CouldNotSetLastModifiedTime>(error))
    return {Exit::Disk, "cannot-write"};
  return {Exit::Disk, "io-error"};
}

Kind kindOf(Exception const& error) {
  if (isOneOf<model::PackageHasChanged, model::PackageIsBusy>(error)) return {Exit::Busy, "package-busy"};
  if (isOneOf<services::CouldNotDecryptContent>(error)) return {Exit::Key, "key-required"};
  if (isOneOf<services::CouldNotTransformContentData>(error)) return {Exit::Key, "cannot-decrypt"};
  if (isOneOf<services::ContentTooLongToEncrypt>(error)) return {Exit::Package, "too-long"};
  if (isOneOf<model::InvalidPackage>(error)) return {Exit::Package, "invalid-package"};
  if (isOneOf<model::InvalidItem>(error)) return {Exit::Package, "damaged-part"};
  if (isOneOf<model::PartNotFound, model::RelationshipNotFound>(error)) return {Exit::Package, "missing-part"};
  if (isOneOf<services::FileSystemEntryNotFound>(error)) return {Exit::Package, "no-such-entry"};
  if (isOneOf<services::FileSystemEntryMustBeFile>(error)) return {Exit::Package, "not-a-file"};
  if (isOneOf<services::UnsafeEntryPath>(error)) return {Exit::Package, "unsafe-path"};
  if (isOneOf<services::InvalidEntryName, opc::InvalidText, model::InvalidPartName>(error))
    return {Exit::Package, "bad-name"};
  if (isOneOf<model::PartNameClash>(error)) return {Exit::Package, "part-name-clash"};
  if (isOneOf<model::InvalidRelationship, model::InvalidURI>(error)) return {Exit::Package, "invalid-relationship"};
  if (isOneOf<opc::StreamError, model::CouldNotOpenPackage, model::CouldNotSavePackage, services::CouldNotOpenFile,
              services::CouldNotCreateFile, services::CouldNotWriteFile, services::CouldNotGetSourceFilesAndLinks>(
          error) ||
      error.getErrorCode())
    return kindOfDiskError(error);
  return {Exit::Package, "invalid-content"};
}

Report reportOf(Exception const& error, std::u16string const& package) {
  Kind const kind = kindOf(error);
  bool const ofPackage = isOneOf<model::InvalidPackage, model::CouldNotOpenPackage, model::CouldNotSavePackage,
                                 services::CouldNotDecryptContent, model::InvalidPartContent>(error);
  Report report{kind.exit, kind.code, error.what(), ofPackage ? std::optional(package) : std::nullopt};
  if (!ofPackage) return report;
  report.message = showingAsGiven(std::move(report.message), package);
  return namingFileSystem(std::move(report), package);
}

// For encodings other than UTF-8: they contain ASCII, and no characters that change the direction of writing.
std::string withControlsEscaped(std::string const& message) {
  std::string line;
  for (char const c : message) {
    bool const isControl = c == '\x7f' || (c >= 0 && c < ' ');
    line += isControl ? opc::toASCIIString(opc::escapeForDisplay(std::u16string(1, static_cast<char16_t>(c))))
                      : std::string(1, c);
  }
  return line;
}

}  // namespace

void throwUsage(std::string message) { throw Failure(Report{Exit::Usage, "usage", std::move(message), {}}); }

std::string shown(std::u16string_view name) { return opc::toUDEString(opc::escapeForDisplay(name)); }

Report diskReport(std::string code, std::string const& what, std::u16string const& path,
                  boost::system::error_code const& reason) {
  return {Exit::Disk, std::move(code), what + " " + shown(path) + ": " + reason.message(), path};
}

Report namingFileSystem(Report report, std::u16string const& path) {
  if (report.code == "disk-full") report.message += " (file system " + shown(mountPointOf(path)) + ")";
  return report;
}

std::vector<Report> describe(std::exception_ptr const& thrown, std::u16string const& package) {
  try {
    std::rethrow_exception(thrown);
  } catch (Failure const& failure) {
    return failure.reports();
  } catch (Exception const& error) {
    return {reportOf(error, package)};
  } catch (std::bad_alloc const&) {
    return {{Exit::Disk, "out-of-memory", "not enough memory", {}}};
  } catch (std::exception const& error) {
    return {{Exit::Package, "internal-error", std::string("internal error: ") + error.what(), {}}};
  } catch (...) {
    return {{Exit::Package, "internal-error", "internal error of an unknown kind", {}}};
  }
}

void warn(std::string const& message) {
  if (isWarning) std::cerr << oneLine("ztpkg: warning: " + message) << '\n';
}

void silenceWarnings() { isWarning = false; }

Exit exitOf(std::vector<Report> const& reports) {
  bool const disk = std::ranges::any_of(reports, [](Report const& report) { return report.exit == Exit::Disk; });
  return disk ? Exit::Disk : reports.front().exit;
}

std::string oneLine(std::string const& message) {
  if (opc::getUserDefaultEncoding() != "UTF-8") return withControlsEscaped(message);
  // Backslashes stay as they are, because they may belong to escapes that the message has already.
  std::u16string const text = opc::toString(message, false);
  std::u16string line;
  for (std::u16string_view rest = text; !rest.empty();) {
    std::size_t const end = std::min(rest.find(u'\\'), rest.size() - 1) + 1;
    bool const endsInBackslash = rest[end - 1] == u'\\';
    line += opc::escapeForDisplay(rest.substr(0, endsInBackslash ? end - 1 : end));
    if (endsInBackslash) line += u'\\';
    rest.remove_prefix(end);
  }
  return opc::toUTF8String(line);
}

}  // namespace ztpkg
