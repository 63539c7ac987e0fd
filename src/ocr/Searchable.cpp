#include "ocr/Searchable.h"

#include "engine/DrawingDocument.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/PageWorkers.h"
#include "engine/internal/PDFOpsRebuild.h"
#include "ocr/internal/InvisibleFont.h"

#include <QCoreApplication>

#include <atomic>
#include <cmath>
#include <memory>
#include <numbers>
#include <optional>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Searchable", text);
}

QByteArray num(double v)
{
    return PDFOps::RebuildPage::number(v);
}

// What a worker made of one page.
struct PageResult {
    enum class Kind { Read, Skipped, NotDrawn, Failed } kind = Kind::NotDrawn;
    QList<Searchable::Word> words;
    QString error;
};

// Where a word's text starts and which way it runs, in the frame: the corner
// where its baseline begins, the baseline's direction, and its length and
// height along and across that direction.
struct Run {
    QPointF origin;
    double cosine = 1, sine = 0;
    double along = 0, across = 0;
};

Run runOf(const Searchable::Word &word, const QRectF &frame)
{
    const QRectF r = Searchable::placeOnFrame(word.box, frame);
    Run run;
    switch ((word.angle % 360 + 360) % 360) {
    case 90: run = {QPointF(r.right(), r.top()), 0, 1, r.height(), r.width()}; break;
    case 180: run = {QPointF(r.right(), r.bottom()), -1, 0, r.width(), r.height()}; break;
    case 270: run = {QPointF(r.left(), r.bottom()), 0, -1, r.height(), r.width()}; break;
    default: run = {QPointF(r.left(), r.top()), 1, 0, r.width(), r.height()};
    }
    return run;
}

// Shows `code` (glyphs of the invisible font) so that they span `length`
// points at the current text position.
void show(const QByteArray &code, int glyphs, double length, double size, QByteArray &ops)
{
    const double natural = glyphs * Searchable::InvisibleFont::kAdvance * size;
    if (natural <= 0 || length <= 0)
        return;
    ops += num(100.0 * length / natural) + " Tz " + code + " Tj\n";
}

} // namespace

namespace Searchable {

// Note: in this file a QRectF's top() is its lower edge (y grows upwards).
QRectF placeOnFrame(const QRectF &box, const QRectF &frame)
{
    return QRectF(frame.left() + box.left() * frame.width(),
                  frame.top() + box.top() * frame.height(), box.width() * frame.width(),
                  box.height() * frame.height());
}

bool hasText(const DrawingDocument &doc, int index)
{
    return hasText(doc.text(index));
}

void drawInvisible(const Word &word, const QRectF &frame, InvisibleFont &font,
                   const QByteArray &fontName, QByteArray &ops, const Word *next)
{
    if (word.text.isEmpty() || word.box.width() <= 0 || word.box.height() <= 0)
        return;
    const Run run = runOf(word, frame);
    int glyphs = 0;
    const QByteArray code = font.encode(word.text, &glyphs);
    const double size = run.across;
    if (glyphs == 0 || size <= 0 || run.along <= 0)
        return;
    ops += "BT 3 Tr " + fontName + ' ' + num(size) + " Tf " + num(run.cosine) + ' ' +
           num(run.sine) + ' ' + num(-run.sine) + ' ' + num(run.cosine) + ' ' +
           num(run.origin.x()) + ' ' + num(run.origin.y()) + " Tm\n";
    show(code, glyphs, run.along, size, ops);
    // A real space up to the next word on the line, so that copying the line
    // gives its words apart whatever the reader makes of the gap.
    if (word.spaceAfter && next) {
        const Run following = runOf(*next, frame);
        const QPointF end = run.origin + QPointF(run.cosine, run.sine) * run.along;
        const QPointF step = following.origin - end;
        const double gap = step.x() * run.cosine + step.y() * run.sine;
        int spaces = 0;
        const QByteArray space = font.encode(QStringLiteral(" "), &spaces);
        show(space, spaces, std::max(gap, size * 0.05), size, ops);
    }
    ops += "ET\n";
}

void drawWords(const QList<Word> &words, const QRectF &frame, InvisibleFont &font,
               const QByteArray &fontName, QByteArray &ops)
{
    for (qsizetype i = 0; i < words.size(); ++i)
        drawInvisible(words[i], frame, font, fontName, ops,
                      i + 1 < words.size() ? &words[i + 1] : nullptr);
}

Stats make(PDFDocument &from, const QString &to, const Options &options, const Progress &progress,
           const IsCancelled &isCancelled)
{
    PDFOps::requireRewritable(from);
    const auto source = DrawingDocument::sourceFor(from);
    const int count = from.pageCount();
    const int workers = options.workers > 0 ? options.workers : PageWorkers::defaultCount();

    Stats stats;
    std::optional<QString> recordedError;
    // Once recognition has failed, later pages aren't read at all.
    auto failed = std::make_shared<std::atomic_bool>(false);

    auto makeWorker = [&options, &isCancelled, source, failed]() -> std::function<PageResult(int)> {
        std::shared_ptr<DrawingDocument> doc;
        if (source)
            doc = DrawingDocument::open(*source);
        Recognizer recognizer;
        QString setupError;
        try {
            if (options.makeRecognizer) {
                recognizer = options.makeRecognizer();
            } else {
                auto engine = std::make_shared<Engine>(options.languages);
                // A cancel stops the page being read, not only the next one.
                engine->setStopTest(isCancelled);
                recognizer = [engine](const QImage &image) { return engine->recognize(image); };
            }
        } catch (const PDFError &e) {
            setupError = e.description();
        } catch (const std::exception &e) {
            setupError = QString::fromLocal8Bit(e.what());
        }
        return [&options, &isCancelled, doc, recognizer, setupError, failed](int index) {
            PageResult result;
            // After a cancel the caller drops whatever comes back: don't read another page.
            if (!doc || (isCancelled && isCancelled()))
                return result;
            if (options.skipPagesWithText && hasText(*doc, index)) {
                result.kind = PageResult::Kind::Skipped;
                return result;
            }
            if (failed->load())
                return result;
            if (!setupError.isEmpty()) {
                failed->store(true);
                result.kind = PageResult::Kind::Failed;
                result.error = setupError;
                return result;
            }
            auto image = doc->render(index, options.dpi);
            if (!image)
                return result;
            try {
                result.words = recognizer(*image);
                result.kind = PageResult::Kind::Read;
            } catch (const PDFError &e) {
                result.kind = PageResult::Kind::Failed;
                result.error = e.description();
            } catch (const std::exception &e) {
                result.kind = PageResult::Kind::Failed;
                result.error = QString::fromLocal8Bit(e.what());
            }
            if (result.kind == PageResult::Kind::Failed)
                failed->store(true);
            return result;
        };
    };

    std::unique_ptr<PageWorkers::Pipeline<PageResult>> pipeline;
    std::unique_ptr<InvisibleFont> font;

    auto hook = [&](PDFOps::RebuildPage &page) {
        if (!pipeline)
            pipeline = std::make_unique<PageWorkers::Pipeline<PageResult>>(page.count, workers,
                                                                           makeWorker, isCancelled);
        PageResult result = pipeline->take(page.index);
        switch (result.kind) {
        case PageResult::Kind::Skipped: ++stats.pagesSkipped; break;
        case PageResult::Kind::Failed:
            if (!recordedError)
                recordedError = result.error;
            break;
        case PageResult::Kind::Read:
            if (recordedError)
                break;
            if (!result.words.isEmpty()) {
                if (!font)
                    font = std::make_unique<InvisibleFont>(page.document());
                const QByteArray name = page.addResource("Font", font->object());
                QByteArray ops;
                drawWords(result.words, QRectF(QPointF(0, 0), page.frame), *font, name, ops);
                page.append(ops);
            }
            ++stats.pagesRead;
            stats.words += int(result.words.size());
            break;
        case PageResult::Kind::NotDrawn: break;
        }
        if (page.index == page.count - 1) {
            if (font)
                font->finish();
            pipeline.reset();
        }
    };

    PDFOps::rebuild(from, to, progress, isCancelled, hook);
    if (recordedError)
        throw PDFError::failed(tr("Text recognition failed: ") + *recordedError);
    Q_UNUSED(count);
    return stats;
}

} // namespace Searchable
