#pragma once

#include "engine/DrawingDocument.h"

#include <QCache>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QString>
#include <QThreadPool>

#include <memory>
#include <optional>

class PDFDocument;

// Page pictures for thumbnails, drawn off the interface thread: each
// worker opens its own poppler document (from the file, or from the
// document's bytes for one that only exists in memory), so the workspace's
// documents are never touched by another thread and never rotated.
// Finished pictures are kept in a cache shared by every view.
class Thumbnails : public QObject {
    Q_OBJECT
public:
    static Thumbnails &instance();

    struct Request {
        std::shared_ptr<const PDFDocument> doc;
        int page = 0;
        int extraRotation = 0; // degrees, any multiple of 90
        int pixelHeight = 100; // the height of the picture wanted
    };

    // The cache key of a request; empty when the document can't be drawn.
    QString key(const Request &request);
    // The picture if it is ready; otherwise starts drawing it (once) and
    // announces it through ready().
    std::optional<QImage> image(const Request &request);
    // The picture if it is ready; never starts drawing (for views
    // scrolling fast past pages nobody stops to look at).
    std::optional<QImage> cached(const Request &request);

    // Waits for the drawing threads (tests).
    void waitForDone();
    int pending() const { return static_cast<int>(m_pending.size()); }

Q_SIGNALS:
    // A picture is ready; a null image when the page couldn't be drawn.
    void ready(const QString &key, const QImage &image);

private:
    Thumbnails();
    struct Known {
        std::weak_ptr<const PDFDocument> doc;
        QString id;
        std::optional<DrawingDocument::Source> source;
        bool fallbackTried = false;
    };
    Known *known(const std::shared_ptr<const PDFDocument> &doc);
    void start(const Request &request, const QString &key, Known &entry);
    void finished(const QString &key, const QImage &image, bool sourceFailed, Request request);

    QThreadPool m_pool;
    QHash<const PDFDocument *, Known> m_known;
    QCache<QString, QImage> m_cache;
    QSet<QString> m_pending;
    quint64 m_serial = 0;
};
