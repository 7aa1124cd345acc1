// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "opc/Export.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/model/ContentType.hpp"

/// The content types of the kinds of file that packages hold, and the table from file extension to content type. Every
/// function may be called from any thread and returns a new object.
namespace opc::ztservices {

/// Pictures: the extensions jpeg, png, gif, bmp, svg, and tif or tiff.
ZT_API model::ContentType getJPEGContentType();
ZT_API model::ContentType getPNGContentType();
ZT_API model::ContentType getGIFContentType();
ZT_API model::ContentType getBMPContentType();
ZT_API model::ContentType getSVGContentType();
ZT_API model::ContentType getTIFFContentType();
/// text/plain: txt and tq. TransformMode::Transform converts contents of this type to UTF-8.
ZT_API model::ContentType getTextContentType();
/// text/html: html.
ZT_API model::ContentType getHTMLContentType();
/// Code and native modules: tqz, and the extensions of modules, whose types have the parameter "platform".
ZT_API model::ContentType getTALBEXCodeContentType();
ZT_API model::ContentType getTALBEXExecutableContentType();
/// Data and products of TALBEX: dvw, apq, apqsetup, kitz, dxpk and prjz.
ZT_API model::ContentType getTALBEXVariableDataContentType();
ZT_API model::ContentType getTALBEXAppContentType();
ZT_API model::ContentType getTALBEXAppInstallerContentType();
ZT_API model::ContentType getTALBEXToolboxContentType();
ZT_API model::ContentType getTALBEXDataExportContentType();
ZT_API model::ContentType getTALBEXProjectContentType();
/// Models and charts: gmdl, gmdlp, gdict, gtpl and qchart.
ZT_API model::ContentType getGantrelModelContentType();
ZT_API model::ContentType getGantrelProtectedModelContentType();
ZT_API model::ContentType getGantrelDataDictionaryContentType();
ZT_API model::ContentType getGantrelTemplateContentType();
ZT_API model::ContentType getQuorillChartContentType();
/// The content type of a file that is added from disk if the table lacks its extension.
ZT_API model::ContentType getTALBEXDefaultContentType();

/// The table's content type for the extension ("txt"; native modules with their dot: ".kvxa64"), or `defaultType` where
/// the table has no such row. Letters match in their own case only.
ZT_API model::ContentType lookupContentType(std::u16string const& extension, model::ContentType const& defaultType);

/// The same for the extension that `operations` gives for the path. The file is not opened and need not exist.
ZT_API model::ContentType lookupContentType(FileSystemOps& operations, std::u16string const& path,
                                            model::ContentType const& defaultType);

}  // namespace opc::ztservices
