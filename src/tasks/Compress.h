#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"
#include "engine/PDFOpsCompress.h"

#include <QList>
#include <QString>

#include <optional>

// The Compress tool: what it is asked, its work, and every text the window
// and quirebook-cli show for it.
namespace Compress {

struct Request {
    static constexpr CompressionLevel kDefaultLevel = CompressionLevel::Balanced;
    CompressionLevel level = kDefaultLevel;

    // Every level is a choice Compress can make.
    std::optional<QString> validate() const { return std::nullopt; }
};

// A smaller copy of the file at `destination` (chosen before the job
// starts, see Output::pdfURL), never bigger than the source. Throws
// PDFError (unreadable when the file can no longer be opened, locked,
// restricted, cancelled, failed).
Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled);

struct LevelCard {
    CompressionLevel level;
    QString title;       // "Balanced"
    QString description; // "Good for reading and sharing."
};
// The three cards, smallest first.
QList<LevelCard> levelCards();

QString currentSize(qint64 bytes); // "Current size: 1.2 MB"
QString note();
QString button();   // "Compress"
QString jobTitle(); // "Compressing"
QString suffix();   // "compressed": "a compressed.pdf"

// "8.4 MB → 1.2 MB  (86% smaller)" with the file's name below it, or
// "Already as small as it gets" when the copy is the source unchanged.
Outcome outcome(const PDFOps::CompressResult &result, const QString &sourceFileName,
                const QString &destination);

} // namespace Compress
