#include "engine/DrawingDocument.h"

#include "engine/PDFError.h"

#include <poppler-qt6.h>

#include <GlobalParams.h>
#include <PDFDoc.h>
#include <Page.h>
#include <SplashOutputDev.h>
#include <Stream.h>
#include <goo/GooString.h>
#include <goo/gmem.h>
#include <splash/SplashBitmap.h>

#include <QColorSpace>
#include <QFile>
#include <QPainter>
#include <QSysInfo>

#include <algorithm>
#include <iterator>

#include <cmath>

namespace {

// Beyond this a page bitmap (4 bytes a pixel) is not attempted: 1 GiB.
constexpr qint64 kMaxPixels = qint64(1) << 28;
// A page whose RGB32 picture is bigger than this is drawn without the
// kept device.
constexpr qint64 kLargeBitmapBytes = qint64(64) << 20;

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
void quietly(ErrorCategory, Goffset, const char *) {}

// poppler's global parameters live while anything holds them. One holder
// for the process keeps them between documents (made again for each, they
// would read the font and encoding tables again); each document holds them
// too, so a worker still drawing while the process ends keeps them.
void preparePoppler()
{
    static const GlobalParamsIniter process(quietly);
    static const bool silenced = [] {
        Poppler::setDebugErrorFunction([](const QString &, const QVariant &) {}, QVariant());
        return true;
    }();
    (void)silenced;
}

// Splash's output device, told when a page has really begun: poppler skips
// pages it can't set up, and the kept bitmap then still holds the last one.
class PageDevice : public SplashOutputDev {
public:
    PageDevice(SplashColorMode mode, SplashColorPtr paper)
        : SplashOutputDev(mode, 4, false, paper)
    {
    }
    void startPage(int pageNum, GfxState *state, XRef *pageXRef) override
    {
        started = true;
        SplashOutputDev::startPage(pageNum, state, pageXRef);
    }
    bool started = false;
};

// White paper, anti-aliased vectors and text, no hinting, as pdftoppm draws.
std::unique_ptr<PageDevice> deviceFor(PDFDoc *doc, SplashColorMode mode)
{
    SplashColor white;
    std::fill(std::begin(white), std::end(white), 255);
    auto device = std::make_unique<PageDevice>(mode, white);
    device->setFontAntialias(true);
    device->setVectorAntialias(true);
    device->setFreeTypeHinting(false, false);
    device->startDoc(doc);
    return device;
}

// The drawn page as opaque RGB32 of exactly `pixels`: poppler's bitmap may
// be a pixel off where the page's size in points rounds the other way.
// An XBGR bitmap is RGB32 on a little-endian machine and is taken over as it
// is. Nothing when it isn't the page (a bitmap poppler couldn't allocate).
std::optional<QImage> pictureOf(SplashBitmap *bitmap, QSize pixels)
{
    if (!bitmap || !bitmap->getDataPtr() || qAbs(bitmap->getWidth() - pixels.width()) > 1 ||
        qAbs(bitmap->getHeight() - pixels.height()) > 1)
        return std::nullopt;
    const bool words = bitmap->getMode() == splashModeXBGR8;
    if (words && bitmap->getWidth() == pixels.width() && bitmap->getHeight() == pixels.height()) {
        const int rowSize = bitmap->getRowSize();
        uchar *data = bitmap->takeData();
        return QImage(data, pixels.width(), pixels.height(), rowSize, QImage::Format_RGB32, gfree,
                      data);
    }
    const QImage drawn(bitmap->getDataPtr(), bitmap->getWidth(), bitmap->getHeight(),
                       bitmap->getRowSize(), words ? QImage::Format_RGB32 : QImage::Format_RGB888);
    QImage image;
    if (drawn.size() == pixels) {
        image = drawn.convertToFormat(QImage::Format_RGB32);
    } else {
        image = QImage(pixels, QImage::Format_RGB32);
        if (!image.isNull()) {
            image.fill(Qt::white);
            QPainter painter(&image);
            painter.drawImage(0, 0, drawn);
        }
    }
    if (image.isNull())
        return std::nullopt;
    return image;
}

} // namespace

struct DrawingDocument::Impl {
    GlobalParamsIniter params{quietly}; // first made, last gone
    DrawingDocument::Source source;     // keeps a document in memory alive for `doc`
    std::unique_ptr<PDFDoc> doc;
    std::unique_ptr<PageDevice> device;      // made at the first drawing
    std::unique_ptr<Poppler::Document> text; // opened at the first text asked for

    ::Page *page(int index) const
    {
        return index >= 0 && index < doc->getNumPages() ? doc->getPage(index + 1) : nullptr;
    }

    PageDevice &keptDevice()
    {
        // RGB, not the XBGR poppler-qt6 asks for: Splash scales pictures per
        // component, so a fourth one costs a fifth more on pages of photos.
        if (!device)
            device = deviceFor(doc.get(), splashModeRGB8);
        return *device;
    }

    Poppler::Document *textReader()
    {
        if (!text) {
            text = source.path.isEmpty()
                       ? Poppler::Document::loadFromData(source.bytes, source.password,
                                                         source.password)
                       : Poppler::Document::load(source.path, source.password, source.password);
            if (text && text->isLocked())
                text.reset();
        }
        return text.get();
    }
};

DrawingDocument::DrawingDocument(std::unique_ptr<Impl> impl)
    : m_impl(std::move(impl))
{
}

DrawingDocument::~DrawingDocument() = default;

std::unique_ptr<DrawingDocument> DrawingDocument::open(const Source &source)
{
    preparePoppler();
    auto impl = std::make_unique<Impl>();
    impl->source = source;
    std::optional<GooString> password;
    if (!source.password.isEmpty())
        password.emplace(source.password.constData(), size_t(source.password.size()));
    if (source.path.isEmpty()) {
        const QByteArray &bytes = impl->source.bytes;
        impl->doc = std::make_unique<PDFDoc>(
            new MemStream(bytes.constData(), 0, bytes.size(), Object(objNull)), password, password);
    } else {
        impl->doc = std::make_unique<PDFDoc>(
            std::make_unique<GooString>(QFile::encodeName(source.path).toStdString()), password,
            password);
    }
    if (!impl->doc->isOk())
        return nullptr;
    return std::unique_ptr<DrawingDocument>(new DrawingDocument(std::move(impl)));
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
    return m_impl->doc->getNumPages();
}

bool DrawingDocument::reachesEveryPage() const
{
    // poppler counts pages by the tree's /Count but walks /Kids in order
    // and stops at the first kid it can't follow (a page written inline,
    // say), so every page is reachable exactly when the last one is.
    const int count = pageCount();
    return count > 0 && m_impl->page(count - 1) != nullptr;
}

std::optional<QSizeF> DrawingDocument::uprightSize(int index) const
{
    const ::Page *page = m_impl->page(index);
    if (!page)
        return std::nullopt;
    const int rotation = page->getRotate();
    if (rotation == 90 || rotation == 270)
        return QSizeF(page->getCropHeight(), page->getCropWidth());
    return QSizeF(page->getCropWidth(), page->getCropHeight());
}

std::optional<QImage> DrawingDocument::render(int index, double dpi) const
{
    if (!(dpi > 0) || !std::isfinite(dpi))
        return std::nullopt;
    const auto points = uprightSize(index);
    if (!points || !(points->width() > 0) || !(points->height() > 0))
        return std::nullopt;
    const QSize pixels = PDFOps::pixelSize(*points, dpi);
    if (pixels.isEmpty() || qint64(pixels.width()) * pixels.height() > kMaxPixels)
        return std::nullopt;
    // The resolution on each axis that makes the page fill exactly the
    // rounded bitmap, as the page is stretched to it.
    const double xres = 72.0 * pixels.width() / points->width();
    const double yres = 72.0 * pixels.height() / points->height();
    // A large page gets a device of its own drawing XBGR, whose bitmap
    // becomes the picture without a copy: the kept device's RGB bitmap and
    // its RGB32 copy together would take 1.75 times the memory.
    const bool large = qint64(pixels.width()) * pixels.height() * 4 > kLargeBitmapBytes &&
                       QSysInfo::ByteOrder == QSysInfo::LittleEndian;
    const auto own = large ? deviceFor(m_impl->doc.get(), splashModeXBGR8) : nullptr;
    PageDevice &device = own ? *own : m_impl->keptDevice();
    device.started = false;
    // Rotation 0 adds nothing to the page's own; crop box, not printing.
    m_impl->doc->displayPageSlice(&device, index + 1, xres, yres, 0, false, true, false, 0, 0,
                                  pixels.width(), pixels.height());
    std::optional<QImage> image =
        device.started ? pictureOf(device.getBitmap(), pixels) : std::nullopt;
    if (!image)
        return std::nullopt;
    image->setColorSpace(QColorSpace(QColorSpace::SRgb));
    const int dotsPerMeter = int(std::lround(dpi / 0.0254));
    image->setDotsPerMeterX(dotsPerMeter);
    image->setDotsPerMeterY(dotsPerMeter);
    return image;
}

QList<PDFOps::TextWord> DrawingDocument::words(int index) const
{
    QList<PDFOps::TextWord> result;
    Poppler::Document *reader = m_impl->textReader();
    if (!reader || index < 0 || index >= reader->numPages())
        return result;
    const auto page = reader->page(index);
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
