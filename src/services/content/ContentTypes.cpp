// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/ContentTypes.hpp"

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <string_view>
#include <utility>

namespace opc::ztservices {

using model::ContentType;

ContentType getJPEGContentType() { return ContentType(u"image/jpeg"); }
ContentType getPNGContentType() { return ContentType(u"image/png"); }
ContentType getGIFContentType() { return ContentType(u"image/gif"); }
ContentType getBMPContentType() { return ContentType(u"image/bmp"); }
ContentType getSVGContentType() { return ContentType(u"image/svg+xml"); }
ContentType getTIFFContentType() { return ContentType(u"image/tiff"); }
ContentType getTextContentType() { return ContentType(u"text/plain"); }
ContentType getHTMLContentType() { return ContentType(u"text/html"); }
ContentType getTALBEXCodeContentType() { return ContentType(u"application/vnd.corvanta.talbex.code"); }
ContentType getTALBEXExecutableContentType() {
  return ContentType(u"application/vnd.corvanta.talbex.talbexExecutable");
}
ContentType getTALBEXVariableDataContentType() { return ContentType(u"application/vnd.corvanta.talbex.workspaceData"); }
ContentType getTALBEXAppContentType() { return ContentType(u"application/vnd.corvanta.talbex.app"); }
ContentType getTALBEXAppInstallerContentType() { return ContentType(u"application/vnd.corvanta.talbex.appInstaller"); }
ContentType getTALBEXToolboxContentType() { return ContentType(u"application/vnd.corvanta.talbex.toolbox"); }
ContentType getTALBEXDataExportContentType() { return ContentType(u"application/vnd.corvanta.talbex.data-export"); }
ContentType getTALBEXProjectContentType() { return ContentType(u"application/vnd.corvanta.project.archive"); }
ContentType getGantrelModelContentType() { return ContentType(u"application/vnd.corvanta.gantrel.model"); }
ContentType getGantrelProtectedModelContentType() {
  return ContentType(u"application/vnd.corvanta.gantrel.protectedmodel");
}
ContentType getGantrelDataDictionaryContentType() {
  return ContentType(u"application/vnd.corvanta.gantrel.dataDictionary");
}
ContentType getGantrelTemplateContentType() { return ContentType(u"application/vnd.corvanta.gantrel.template"); }
ContentType getQuorillChartContentType() { return ContentType(u"application/vnd.corvanta.talbex.quorillchart"); }
ContentType getTALBEXDefaultContentType() { return ContentType(u"application/vnd.corvanta.talbex.filesystemDefault"); }

namespace {

using Table = std::map<std::u16string, ContentType, std::less<>>;

// The extensions of native modules, with their dot, and the platform of each.
constexpr std::array kModuleExtensions = {".kvxa64", ".kvxlinuxarm", ".kvxmacx64", ".kvxw32", ".kvxw64"};
constexpr std::array kModulePlatforms = {"lxamd64", "lxarm32", "macx64", "wnx86", "wnx64"};
static_assert(kModuleExtensions.size() == kModulePlatforms.size());

std::u16string widen(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

ContentType makeModuleContentType(char const* platform) {
  return ContentType(getTALBEXExecutableContentType().toString() + u";platform=" + widen(platform));
}

Table makeTable() {
  Table table = {
      {u"jpeg", getJPEGContentType()},
      {u"png", getPNGContentType()},
      {u"gif", getGIFContentType()},
      {u"bmp", getBMPContentType()},
      {u"svg", getSVGContentType()},
      {u"tif", getTIFFContentType()},
      {u"tiff", getTIFFContentType()},
      {u"txt", getTextContentType()},
      {u"html", getHTMLContentType()},
      {u"tq", getTextContentType()},  // plain text, so that its text is re-encoded on request like any other
      {u"tqz", getTALBEXCodeContentType()},
      {u"dvw", getTALBEXVariableDataContentType()},
      {u"apq", getTALBEXAppContentType()},
      {u"apqsetup", getTALBEXAppInstallerContentType()},
      {u"kitz", getTALBEXToolboxContentType()},
      {u"dxpk", getTALBEXDataExportContentType()},
      {u"prjz", getTALBEXProjectContentType()},
      {u"gmdl", getGantrelModelContentType()},
      {u"gmdlp", getGantrelProtectedModelContentType()},
      {u"gdict", getGantrelDataDictionaryContentType()},
      {u"gtpl", getGantrelTemplateContentType()},
      {u"qchart", getQuorillChartContentType()},
  };
  for (std::size_t i = 0; i < kModuleExtensions.size(); ++i)
    table.emplace(widen(kModuleExtensions[i]), makeModuleContentType(kModulePlatforms[i]));
  return table;
}

}  // namespace

ContentType lookupContentType(std::u16string const& extension, ContentType const& defaultType) {
  static Table const table = makeTable();
  auto const row = table.find(extension);
  return row == table.end() ? defaultType : row->second;
}

ContentType lookupContentType(FileSystemOps& operations, std::u16string const& path, ContentType const& defaultType) {
  return lookupContentType(operations.getExtension(path), defaultType);
}

}  // namespace opc::ztservices
