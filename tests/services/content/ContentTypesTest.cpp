// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "opc/ztservices/ContentTypes.hpp"

namespace opc::ztservices {
namespace {

using model::ContentType;

constexpr char16_t kDefault[] = u"application/x-default";

std::u16string lookup(std::u16string const& extension) {
  return lookupContentType(extension, ContentType(kDefault)).toString();
}

struct Named {
  ContentType (*get)();
  char16_t const* text;
};

Named const kNamed[] = {
    {getJPEGContentType, u"image/jpeg"},
    {getPNGContentType, u"image/png"},
    {getGIFContentType, u"image/gif"},
    {getBMPContentType, u"image/bmp"},
    {getSVGContentType, u"image/svg+xml"},
    {getTIFFContentType, u"image/tiff"},
    {getTextContentType, u"text/plain"},
    {getHTMLContentType, u"text/html"},
    {getTALBEXCodeContentType, u"application/vnd.corvanta.talbex.code"},
    {getTALBEXExecutableContentType, u"application/vnd.corvanta.talbex.talbexExecutable"},
    {getTALBEXVariableDataContentType, u"application/vnd.corvanta.talbex.workspaceData"},
    {getTALBEXAppContentType, u"application/vnd.corvanta.talbex.app"},
    {getTALBEXAppInstallerContentType, u"application/vnd.corvanta.talbex.appInstaller"},
    {getTALBEXToolboxContentType, u"application/vnd.corvanta.talbex.toolbox"},
    {getTALBEXDataExportContentType, u"application/vnd.corvanta.talbex.data-export"},
    {getTALBEXProjectContentType, u"application/vnd.corvanta.project.archive"},
    {getGantrelModelContentType, u"application/vnd.corvanta.gantrel.model"},
    {getGantrelProtectedModelContentType, u"application/vnd.corvanta.gantrel.protectedmodel"},
    {getGantrelDataDictionaryContentType, u"application/vnd.corvanta.gantrel.dataDictionary"},
    {getGantrelTemplateContentType, u"application/vnd.corvanta.gantrel.template"},
    {getQuorillChartContentType, u"application/vnd.corvanta.talbex.quorillchart"},
    {getTALBEXDefaultContentType, u"application/vnd.corvanta.talbex.filesystemDefault"},
};

struct Row {
  char16_t const* extension;
  char16_t const* type;
};

Row const kRows[] = {
    {u"jpeg", u"image/jpeg"},
    {u"png", u"image/png"},
    {u"gif", u"image/gif"},
    {u"bmp", u"image/bmp"},
    {u"svg", u"image/svg+xml"},
    {u"tif", u"image/tiff"},
    {u"tiff", u"image/tiff"},
    {u"txt", u"text/plain"},
    {u"html", u"text/html"},
    {u"tq", u"text/plain"},
    {u"tqz", u"application/vnd.corvanta.talbex.code"},
    {u"dvw", u"application/vnd.corvanta.talbex.workspaceData"},
    {u"apq", u"application/vnd.corvanta.talbex.app"},
    {u"apqsetup", u"application/vnd.corvanta.talbex.appInstaller"},
    {u"kitz", u"application/vnd.corvanta.talbex.toolbox"},
    {u"dxpk", u"application/vnd.corvanta.talbex.data-export"},
    {u"prjz", u"application/vnd.corvanta.project.archive"},
    {u"gmdl", u"application/vnd.corvanta.gantrel.model"},
    {u"gmdlp", u"application/vnd.corvanta.gantrel.protectedmodel"},
    {u"gdict", u"application/vnd.corvanta.gantrel.dataDictionary"},
    {u"gtpl", u"application/vnd.corvanta.gantrel.template"},
    {u"qchart", u"application/vnd.corvanta.talbex.quorillchart"},
    {u".kvxa64", u"application/vnd.corvanta.talbex.talbexExecutable;platform=lxamd64"},
    {u".kvxlinuxarm", u"application/vnd.corvanta.talbex.talbexExecutable;platform=lxarm32"},
    {u".kvxmacx64", u"application/vnd.corvanta.talbex.talbexExecutable;platform=macx64"},
    {u".kvxw32", u"application/vnd.corvanta.talbex.talbexExecutable;platform=wnx86"},
    {u".kvxw64", u"application/vnd.corvanta.talbex.talbexExecutable;platform=wnx64"},
};

class ExtensionOps final : public LocalFileSystemOps {
 public:
  explicit ExtensionOps(std::u16string extension) : extension_(std::move(extension)) {}
  std::u16string getExtension(std::u16string const& path) override {
    asked = path;
    return extension_;
  }
  std::u16string asked;

 private:
  std::u16string extension_;
};

TEST(ContentTypes, HaveTheirNames) {
  static_assert(std::size(kNamed) == 22);
  for (Named const& named : kNamed) EXPECT_EQ(named.get().toString(), named.text);
}

TEST(ContentTypes, AreTheTableRowByRow) {
  static_assert(std::size(kRows) == 27);
  for (Row const& row : kRows) EXPECT_EQ(lookup(row.extension), row.type);
}

TEST(ContentTypes, AreLookedUpCaseSensitively) {
  for (auto const extension : {u"PNG", u"JPEG", u"Txt", u".KVXA64"}) EXPECT_EQ(lookup(extension), kDefault);
}

TEST(ContentTypes, AreFoundWithOrWithoutTheDotOnlyAsTheTableSays) {
  for (Row const& row : kRows) {
    std::u16string const extension = row.extension;
    EXPECT_EQ(lookup(extension.front() == u'.' ? extension.substr(1) : u"." + extension), kDefault);
  }
}

TEST(ContentTypes, AreTheDefaultForWhatTheTableLacks) {
  for (auto const extension : {u"", u".", u"jpg", u"htm", u"pn", u"pngx", u" png", u"\u0440ng"})
    EXPECT_EQ(lookup(extension), kDefault);
}

TEST(ContentTypes, OfNativeModulesCarryTheirPlatform) {
  ContentType const type = lookupContentType(u".kvxw64", ContentType(kDefault));
  EXPECT_EQ(type.getSubType(), u"vnd.corvanta.talbex.talbexExecutable");
  EXPECT_EQ(type.getParameterValue(u"platform"), u"wnx64");
  EXPECT_EQ(type.getParameters().size(), 1U);
}

TEST(ContentTypes, AreNewObjectsAtEachLookup) {
  ContentType first = lookupContentType(u"png", ContentType(kDefault));
  first.addParameter(u"a", u"b");
  EXPECT_EQ(lookup(u"png"), u"image/png");
}

TEST(ContentTypes, OfAPathFollowFromTheExtensionThatTheOperationsGive) {
  ExtensionOps operations(u"tif");
  EXPECT_EQ(lookupContentType(operations, u"/a/b.tif", ContentType(kDefault)).toString(), u"image/tiff");
  EXPECT_EQ(operations.asked, u"/a/b.tif");
  ExtensionOps dotted(u".tif");
  EXPECT_EQ(lookupContentType(dotted, u"/a/b.tif", ContentType(kDefault)).toString(), kDefault);
}

TEST(ContentTypes, OfALocalPathMatchThePlainRowsAlone) {
  LocalFileSystemOps local;
  ContentType const fallback(kDefault);
  EXPECT_EQ(lookupContentType(local, u"/a/b.txt", fallback).toString(), u"text/plain");
  EXPECT_EQ(lookupContentType(local, u"/a/b.tar.gif", fallback).toString(), u"image/gif");
  for (auto const path : {u"/a/m.kvxa64", u"/a.png/b", u"/a/.png", u"/a/png", u"/a/b.png."})
    EXPECT_EQ(lookupContentType(local, path, fallback).toString(), kDefault);
}

TEST(ContentTypes, AreLookedUpFromManyThreads) {
  std::vector<std::thread> threads;
  std::vector<int> wrong(8);
  for (int& count : wrong)
    threads.emplace_back([&count] {
      for (Row const& row : kRows) count += lookup(row.extension) != row.type;
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(8));
}

}  // namespace
}  // namespace opc::ztservices
