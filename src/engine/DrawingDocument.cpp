#include "engine/DrawingDocument.h"

#include "engine/PDFError.h"

#include <poppler-qt6.h>

#include <QColorSpace>
#include <QPainter>

#include <cmath>

namespace {

// Beyond this a page bitmap (4 bytes a pixel) is not attempted: 1 GiB.
constexpr qint64 kMaxPixels = qint64(1) << 28;

int rotationOf(const Poppler::Page &page)
{
    switch (page.orientation()) {
    case Poppler::Page::Portrait: return 0;
    case Poppler::Page::Landscape: return 90;
    case Poppler::Page::UpsideDown: return 180;
    case Poppler::Page::Seascape: return 270;
    }
    return 0;
}

// poppler reports every oddity of a file on stderr; the program's own
// messages are the only ones a person should see.
void silencePoppler()
{
    static const bool silenced = [] {
        Poppler::setDebugErrorFunction([](const QString &, const QVariant &) {}, QVariant());
        return true;
    }();
    (void)silenced;
}

} // namespace

DrawingDocument::DrawingDocument(std::unique_ptr<Poppler::Document> doc)
    : m_doc(std::move(doc))
{
}

DrawingDocument::~DrawingDocument() = default;

std::unique_ptr<DrawingDocument> DrawingDocument::open(const Source &source)
{
    silencePoppler();
    std::unique_ptr<Poppler::Document> doc =
        source.path.isEmpty()
            ? Poppler::Document::loadFromData(source.bytes, source.password, source.password)
            : Poppler::Document::load(source.path, source.password, source.password);
    // numPages() on a locked document crashes poppler.
    if (!doc || doc->isLocked())
        return nullptr;
    doc->setRenderBackend(Poppler::Document::SplashBackend);
    doc->setRenderHint(Poppler::Document::Antialiasing);
    doc->setRenderHint(Poppler::Document::TextAntialiasing);
    doc->setPaperColor(Qt::white);
    return std::unique_ptr<DrawingDocument>(new DrawingDocument(std::move(doc)));
}

std::optional<DrawingDocument::Source> DrawingDocument::sourceFor(const PDFDocument &doc)
{
    if (doc.isLocked() || !doc.qpdf())
        return std::nullopt;
    if (!doc.path().isEmpty()) {
        Source source{doc.path(), doc.password().value_or(QString()).toUtf8(), {}};
        const auto drawing = open(source);
        if (drawing && drawing->pageCount() > 0 && drawing->pageCount() == doc.pageCount() &&
            drawing->reachesEveryPage())
            return source;
    }
    try {
        WriteOptions plain;
        plain.compact = false; // only read back, so spend no time compressing
        Source source{{}, {}, doc.toBytes(plain)};
        const auto drawing = open(source);
        if (drawing && drawing->pageCount() > 0)
            return source;
    } catch (const PDFError &) {
    }
    return std::nullopt;
}

int DrawingDocument::pageCount() const
{
    return m_doc->numPages();
}

bool DrawingDocument::reachesEveryPage() const
{
    // poppler counts pages by the tree's /Count but walks /Kids in order
    // and stops at the first kid it can't follow (a page written inline,
    // say), so every page is reachable exactly when the last one is.
    const int count = pageCount();
    return count > 0 && m_doc->page(count - 1) != nullptr;
}

std::optional<QSizeF> DrawingDocument::uprightSize(int index) const
{
    if (index < 0 || index >= pageCount())
        return std::nullopt;
    const auto page = m_doc->page(index);
    if (!page)
        return std::nullopt;
    return page->pageSizeF();
}

std::optional<QImage> DrawingDocument::render(int index, double dpi) const
{
    if (!(dpi > 0) || !std::isfinite(dpi) || index < 0 || index >= pageCount())
        return std::nullopt;
    const auto page = m_doc->page(index);
    if (!page)
        return std::nullopt;
    const QSizeF points = page->pageSizeF();
    if (!(points.width() > 0) || !(points.height() > 0))
        return std::nullopt;
    const QSize pixels = PDFOps::pixelSize(points, dpi);
    if (pixels.isEmpty() || qint64(pixels.width()) * pixels.height() > kMaxPixels)
        return std::nullopt;
    // The resolution on each axis that makes the page fill exactly the
    // rounded bitmap, as the page is stretched to it.
    const double xres = 72.0 * pixels.width() / points.width();
    const double yres = 72.0 * pixels.height() / points.height();
    QImage image = page->renderToImage(xres, yres, 0, 0, pixels.width(), pixels.height());
    if (image.isNull())
        return std::nullopt;
    if (image.size() != pixels || image.format() != QImage::Format_RGB32) {
        QImage exact(pixels, QImage::Format_RGB32);
        if (exact.isNull())
            return std::nullopt;
        exact.fill(Qt::white);
        QPainter painter(&exact);
        painter.drawImage(0, 0, image);
        painter.end();
        image = std::move(exact);
    }
    image.setColorSpace(QColorSpace(QColorSpace::SRgb));
    const int dotsPerMeter = int(std::lround(dpi / 0.0254));
    image.setDotsPerMeterX(dotsPerMeter);
    image.setDotsPerMeterY(dotsPerMeter);
    return image;
}

QList<PDFOps::TextWord> DrawingDocument::words(int index) const
{
    QList<PDFOps::TextWord> result;
    if (index < 0 || index >= pageCount())
        return result;
    const auto page = m_doc->page(index);
    if (!page)
        return result;
    // Asked in the page's own unrotated space, where text usually runs
    // left to right and lines stack downwards.
    const auto undo = Poppler::Page::Rotation(((360 - rotationOf(*page)) / 90) % 4);
    const auto boxes = page->textList(undo);
    result.reserve(qsizetype(boxes.size()));
    for (const auto &box : boxes) {
        if (!box)
            continue;
        result.append(
            {box->text(), box->boundingBox(), box->hasSpaceAfter(), box->nextWord() == nullptr});
    }
    return result;
}

QString DrawingDocument::text(int index) const
{
    return PDFOps::assembleText(words(index));
}

namespace PDFOps {

std::optional<QImage> render(const DrawingDocument &doc, int index, double dpi)
{
    return doc.render(index, dpi);
}

} // namespace PDFOps
