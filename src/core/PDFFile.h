#pragma once

#include "engine/PDFDocument.h"

#include <QByteArray>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

// One opened file of the workspace: a PDF, or a picture turned into a
// one-page document.
struct PDFFile {
    enum class Kind { Pdf, Image };

    QUuid id;
    QString path;
    Kind kind = Kind::Pdf;
    // The preview document. Operations take fresh() instead.
    std::shared_ptr<PDFDocument> doc;
    std::optional<QString> password;
    qint64 bytes = 0;
    // A picture's one-page PDF, so that every operation can have its own copy.
    QByteArray pictureDocument;

    QString fileName() const; // last path component, extension included
    QString name() const;     // without its extension
    int pageCount() const;
    bool restricted() const;

    // An independent document for one operation, or null when the file
    // can no longer be opened.
    std::shared_ptr<PDFDocument> fresh() const;
    // fresh(), for a tool that rewrites or copies from it: throws the
    // message for a file that can't be opened, is locked or restricted.
    std::shared_ptr<PDFDocument> freshForWork() const;
};
