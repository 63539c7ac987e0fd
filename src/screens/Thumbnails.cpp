#include "screens/Thumbnails.h"

#include "engine/PDFDocument.h"

#include <QDateTime>
#include <QFileInfo>
#include <QMetaObject>
#include <QTransform>

#include <list>
#include <utility>

namespace {

// Each drawing thread keeps its few most recent poppler documents open,
// so a screen full of one file's pages opens that file once per thread.
class OpenDocuments {
public:
    DrawingDocument *get(const QString &id, const DrawingDocument::Source &source)
    {
        for (auto it = m_docs.begin(); it != m_docs.end(); ++it)
            if (it->first == id) {
                m_docs.splice(m_docs.begin(), m_docs, it);
                return m_docs.front().second.get();
            }
        auto doc = DrawingDocument::open(source);
        if (!doc)
            return nullptr;
        m_docs.emplace_front(id, std::move(doc));
        while (m_docs.size() > 3)
            m_docs.pop_back();
        return m_docs.front().second.get();
    }

private:
    std::list<std::pair<QString, std::unique_ptr<DrawingDocument>>> m_docs;
};

int normalised(int degrees)
{
    int r = degrees % 360;
    if (r < 0)
        r += 360;
    return r;
}

} // namespace

Thumbnails &Thumbnails::instance()
{
    static Thumbnails *thumbnails = new Thumbnails;
    return *thumbnails;
}

Thumbnails::Thumbnails()
{
    m_pool.setMaxThreadCount(2);
    m_pool.setExpiryTimeout(5000);
    m_cache.setMaxCost(96 * 1024 * 1024);
}

Thumbnails::Known *Thumbnails::known(const std::shared_ptr<const PDFDocument> &doc)
{
    if (!doc || doc->isLocked() || doc->pageCount() < 1)
        return nullptr;
    auto it = m_known.find(doc.get());
    if (it != m_known.end() && it->doc.lock() == doc)
        return &*it;
    // A new document (or a new one at a freed address); forget the gone ones.
    m_known.removeIf([](const auto &item) { return item.value().doc.expired(); });
    Known entry;
    entry.doc = doc;
    if (!doc->path().isEmpty()) {
        const QFileInfo info(doc->path());
        entry.id = QStringLiteral("%1|%2|%3|%4|%5")
                       .arg(doc->path())
                       .arg(info.lastModified().toMSecsSinceEpoch())
                       .arg(info.size())
                       .arg(doc->password().value_or(QString()))
                       .arg(doc->pageCount());
        entry.source =
            DrawingDocument::Source{doc->path(), doc->password().value_or(QString()).toUtf8(), {}};
    } else {
        entry.id = QStringLiteral("memory:%1").arg(++m_serial);
        try {
            WriteOptions plain;
            plain.compact = false;
            entry.source = DrawingDocument::Source{{}, {}, doc->toBytes(plain)};
        } catch (...) {
            entry.source.reset();
        }
        entry.fallbackTried = true;
    }
    it = m_known.insert(doc.get(), entry);
    return &*it;
}

QString Thumbnails::key(const Request &request)
{
    Known *entry = known(request.doc);
    if (!entry)
        return {};
    return QStringLiteral("%1#%2#%3#%4")
        .arg(entry->id)
        .arg(request.page)
        .arg(normalised(request.extraRotation))
        .arg(request.pixelHeight);
}

std::optional<QImage> Thumbnails::image(const Request &request)
{
    const QString k = key(request);
    if (k.isEmpty())
        return QImage();
    if (const QImage *cached = m_cache.object(k))
        return *cached;
    if (!m_pending.contains(k))
        start(request, k, *known(request.doc));
    return std::nullopt;
}

std::optional<QImage> Thumbnails::cached(const Request &request)
{
    const QString k = key(request);
    if (k.isEmpty())
        return QImage();
    if (const QImage *image = m_cache.object(k))
        return *image;
    return std::nullopt;
}

void Thumbnails::start(const Request &request, const QString &k, Known &entry)
{
    if (!entry.source) {
        finished(k, QImage(), false, request);
        return;
    }
    m_pending.insert(k);
    const DrawingDocument::Source source = *entry.source;
    const QString id = entry.id;
    const int expectedPages = request.doc->pageCount();
    const int page = request.page;
    const int extra = normalised(request.extraRotation);
    const int pixelHeight = std::max(1, request.pixelHeight);
    Request keep = request;
    keep.doc.reset(); // the worker never holds the workspace's document
    m_pool.start([this, source, id, expectedPages, page, extra, pixelHeight, k, keep] {
        thread_local OpenDocuments open;
        DrawingDocument *drawing = open.get(id, source);
        QImage result;
        bool sourceFailed = !drawing || drawing->pageCount() != expectedPages;
        if (!sourceFailed) {
            if (const auto upright = drawing->uprightSize(page)) {
                const bool turned = extra == 90 || extra == 270;
                const double shownHeight =
                    std::max(1.0, turned ? upright->width() : upright->height());
                const double dpi = 72.0 * pixelHeight / shownHeight;
                if (auto picture = drawing->render(page, dpi)) {
                    result = extra ? picture->transformed(QTransform().rotate(extra),
                                                          Qt::SmoothTransformation)
                                   : *picture;
                }
            }
        }
        QMetaObject::invokeMethod(
            this,
            [this, k, result, sourceFailed, keep] { finished(k, result, sourceFailed, keep); },
            Qt::QueuedConnection);
    });
}

void Thumbnails::finished(const QString &k, const QImage &image, bool sourceFailed, Request request)
{
    m_pending.remove(k);
    if (sourceFailed) {
        // poppler couldn't take the file as it stands: draw from the engine's
        // own copy instead, once per document.
        for (auto it = m_known.begin(); it != m_known.end(); ++it) {
            auto doc = it->doc.lock();
            if (!doc || !k.startsWith(it->id + u'#') || it->fallbackTried)
                continue;
            it->fallbackTried = true;
            it->source = DrawingDocument::sourceFor(*doc);
            it->id += QStringLiteral("+copy");
            if (it->source && it->source->path.isEmpty()) {
                request.doc = doc;
                start(request, k, *it);
                return;
            }
        }
    }
    m_cache.insert(k, new QImage(image), std::max<qsizetype>(1, image.sizeInBytes()));
    Q_EMIT ready(k, image);
}

void Thumbnails::waitForDone()
{
    m_pool.waitForDone();
}
