// SPDX-License-Identifier: MIT
#include <qz/MimeTypeInfo.h>

#include <qz/qzDirUtils.h>

#include "MimeTable.h"
#include "frame/base/LoadOrder.h"
#include "text/Characters.h"

namespace qz {

[[gnu::init_priority(QZ_LOAD_MIME_TYPES)]] std::map<std::string, MimeTypeInfo> gMimeTable;
[[gnu::init_priority(QZ_LOAD_MIME_TYPES)]] const MimeTypeInfo gDefaultMimeType;

namespace {

constexpr auto kYes = MimeTypeInfo::CompressibleYes;
constexpr auto kNo = MimeTypeInfo::CompressibleNo;

struct Row {
    const char* key;
    const char* type;
    MimeTypeInfo::Compressible compressible;
};

// Keys are lower case. Compatibility: the blank after "bz2" and the words "boz" and "wrml" are part
// of the table, since callers pack and serve their files by it.
constexpr Row kRows[] = {
    {"7z", "application/x-7z-compressed", kNo},
    {"bmp", "image/bmp", kYes},
    {"boz", "application/x-bzip2", kNo},
    {"bz", "application/x-bzip", kNo},
    {"bz2 ", "application/x-bzip2", kNo},
    {"css", "text/css", kYes},
    {"csv", "text/csv", kYes},
    {"eot", "application/vnd.ms-fontobject", kNo},
    {"gif", "image/gif", kYes},
    {"gz", "application/gzip", kNo},
    {"htm", "text/html", kYes},
    {"html", "text/html", kYes},
    {"ico", "image/x-icon", kYes},
    {"jpeg", "image/jpeg", kNo},
    {"jpg", "image/jpeg", kNo},
    {"js", "application/javascript", kYes},
    {"json", "application/json", kYes},
    {"js.map", "application/json", kYes},
    {"mp3", "audio/mpeg", kNo},
    {"mp4", "video/mp4", kNo},
    {"mpeg", "video/mpeg", kNo},
    {"otf", "font/otf", kNo},
    {"pdf", "application/pdf", kNo},
    {"png", "image/png", kNo},
    {"rar", "application/x-rar-compressed", kNo},
    {"rtf", "application/rtf", kYes},
    {"svg", "image/svg+xml", kYes},
    {"svgz", "image/svg+xml", kNo},
    {"tar", "application/x-tar", kYes},
    {"text", "text/plain", kYes},
    {"tif", "image/tiff", kYes},
    {"tiff", "image/tiff", kYes},
    {"ttf", "font/ttf", kYes},
    {"txt", "text/plain", kYes},
    {"weba", "audio/webm", kNo},
    {"webm", "video/webm", kNo},
    {"webmanifest", "application/manifest+json", kYes},
    {"webp", "image/webp", kNo},
    {"woff", "font/woff", kNo},
    {"woff2", "font/woff2", kNo},
    {"xml", "application/xml", kYes},
    {"xsl", "application/xml", kYes},
    {"zip", "application/zip", kNo},
    {"bin", "application/octet-stream", kNo},
    {"obj", "text/plain", kYes},
    {"mtl", "text/plain", kYes},
    {"dae", "application/xml", kYes},
    {"glb", "application/octet-stream", kYes},
    {"gltf", "text/plain", kYes},
    {"fbx", "application/octet-stream", kYes},
    {"jt", "application/octet-stream", kYes},
    {"cgr", "application/octet-stream", kYes},
    {"stl", "application/octet-stream", kYes},
    {"step", "text/plain", kYes},
    {"stp", "text/plain", kYes},
    {"sat", "text/plain", kYes},
    {"wrml", "text/plain", kYes},
    {"wrz", "application/octet-stream", kNo},
};

const MimeTypeInfo* findRow(const std::string& key)
{
    const auto row = gMimeTable.find(key);
    return row != gMimeTable.end() ? &row->second : nullptr;
}

}  // namespace

MimeTypeInfo::MimeTypeInfo() = default;

MimeTypeInfo::MimeTypeInfo(std::string&& theType, Compressible isCompressible)
    : type(std::move(theType)), compressible(isCompressible)
{
}

const MimeTypeInfo& MimeTypeInfo::GetMimeTypeInfoFromFileNameOrExt(
    const std::string& nameOrExtension)
{
    for (const int parts : {1, 2}) {
        const std::string extension =
            qzDirUtils::ExtractFileExtension(nameOrExtension, /*lowerCase=*/true, parts);
        if (const MimeTypeInfo* const found = findRow(extension)) return *found;
    }
    std::string whole = nameOrExtension;
    text::makeLowerCase(whole);
    const MimeTypeInfo* const found = findRow(whole);
    return found != nullptr ? *found : gDefaultMimeType;
}

void fillMimeTable()
{
    for (const Row& row : kRows)
        gMimeTable[row.key] = MimeTypeInfo(row.type, row.compressible);
}

}  // namespace qz
