#pragma once

#include "core/PDFFile.h"
#include "engine/PDFDocument.h"

#include <QJsonObject>
#include <QSizeF>
#include <QString>

// What `quirebook-cli info` tells about one opened file.
struct FileInfo {
    QString fileName;
    QString kind; // "PDF" or "picture"
    int pages = 0;
    QSizeF firstPageSize; // points, upright
    QString encryption;   // empty when none
    bool neededPassword = false;
    bool restricted = false;
    bool copying = true;
    bool assembly = true;
    bool changes = true;
    DocumentInfo info;
    int bookmarks = 0;

    static FileInfo describe(const PDFFile &file);
    QJsonObject toJson() const;
    QString toText() const; // several lines, each "Label: value"
};
