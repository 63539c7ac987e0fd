#pragma once

#include "Job.h"
#include "PDFFile.h"
#include "PDFOpsCompress.h"

#include <QList>
#include <QString>

// The Compress tool: its work and every text its screen shows, so that the
// window and quirebook-cli say exactly the same.
namespace Tasks {

struct CompressLevelCard {
    CompressionLevel level;
    QString title;       // "Balanced"
    QString description; // "Good for reading and sharing."
};

// The three cards, smallest first. The screen starts on balanced.
QList<CompressLevelCard> compressLevelCards();
constexpr CompressionLevel kDefaultCompressionLevel = CompressionLevel::Balanced;

QString compressCurrentSize(qint64 bytes); // "Current size: 1.2 MB"
QString compressNote();
QString compressButton();   // "Compress"
QString compressJobTitle(); // "Compressing"
QString compressSuffix();   // "compressed": "a compressed.pdf"

// "8.4 MB → 1.2 MB  (86% smaller)" with the file's name below it, or
// "Already as small as it gets" when the copy is the source unchanged.
Outcome compressOutcome(const PDFOps::CompressResult &result, const QString &sourceFileName,
                        const QString &destination);

// The work: a smaller copy of the file at `destination` (chosen before the
// job starts, see Output::pdfURL). Throws PDFError (unreadable when the
// file can no longer be opened, locked, restricted, cancelled, failed).
Outcome compress(const PDFFile &file, CompressionLevel level, const QString &destination,
                 const Progress &progress, const IsCancelled &isCancelled);

} // namespace Tasks
