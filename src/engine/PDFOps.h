#pragma once

#include "PDFDocument.h"

#include <QImage>
#include <QString>

#include <memory>
#include <optional>

// Stateless operations on documents. Each family lives in its own file
// (PDFOpsPictures.cpp, ...).
namespace PDFOps {

// Reads a picture file upright (its orientation applied) with its longer
// side at most maxPixel. Nothing for files that aren't pictures.
std::optional<QImage> loadImage(const QString &path, int maxPixel);

// A one-page document showing the picture, its longer side 842 points.
// Nothing for an empty picture.
std::shared_ptr<PDFDocument> page(const QImage &image);

// The page size a picture of this many pixels gets.
QSizeF picturePageSize(QSize pixels);

// True when the document is opened with limited rights that the program
// must respect: encrypted, unlocked, without owner rights, and copying,
// assembly or changes forbidden.
bool isRestricted(const PDFDocument &doc);

// The first free name in the folder: "name.ext", then "name 2.ext",
// "name 3.ext", ... (no extension when ext is empty). Creates nothing.
QString uniqueURL(const QString &folder, const QString &name, const QString &ext);

// Copies every page of `from` to the end of `into`. False when it can't.
bool appendPages(PDFDocument &into, const PDFDocument &from);

} // namespace PDFOps
