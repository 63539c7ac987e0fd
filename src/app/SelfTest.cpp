#include "app/SelfTest.h"

#include "core/PageRanges.h"
#include "core/Workspace.h"
#include "engine/DrawingDocument.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/Placement.h"
#include "ocr/Searchable.h"
#include "signing/Stamps.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include <cstdio>
#include <vector>

namespace {

struct Check {
    const char *name;
    std::function<bool(const QString &folder)> run;
};

QImage picture(int w, int h, QColor color)
{
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(color);
    QPainter painter(&image);
    painter.fillRect(w / 4, h / 4, w / 2, h / 2, Qt::white);
    return image;
}

// A document of `pages` picture pages, written to `path`.
bool writeDocument(const QString &path, int pages, const WriteOptions &options = {})
{
    QList<std::shared_ptr<const PDFDocument>> parts;
    for (int i = 0; i < pages; ++i) {
        auto part = PDFOps::page(i % 2 ? picture(400, 300, Qt::darkMagenta)
                                       : picture(300, 400, Qt::darkCyan));
        if (!part)
            return false;
        parts.append(part);
    }
    auto many = PDFOps::merge(parts);
    if (many->pageCount() != pages)
        return false;
    try {
        many->write(path, options);
    } catch (const PDFError &) {
        return false;
    }
    return PDFDocument::open(path) != nullptr || options.encrypt;
}

const std::vector<Check> &checks()
{
    static const std::vector<Check> list{
        {"document pages",
         [](const QString &folder) {
             const QString path = folder + QStringLiteral("/three.pdf");
             if (!writeDocument(path, 3))
                 return false;
             auto doc = PDFDocument::open(path);
             return doc && !doc->isLocked() && doc->pageCount() == 3 && !doc->isEncrypted();
         }},
        {"picture page size",
         [](const QString &) {
             return PDFOps::picturePageSize(QSize(3000, 2000)) == QSizeF(842, 561) &&
                    PDFOps::picturePageSize(QSize(1000, 1000)) == QSizeF(842, 842);
         }},
        {"picture intake",
         [](const QString &folder) {
             const QString path = folder + QStringLiteral("/photo.jpg");
             if (!picture(1200, 1600, Qt::darkGreen).save(path, "JPEG", 90))
                 return false;
             auto image = PDFOps::loadImage(path, 800);
             auto doc = image ? PDFOps::page(*image) : nullptr;
             auto geometry = doc ? doc->page(0) : std::nullopt;
             return image && image->size() == QSize(600, 800) && geometry &&
                    geometry->uprightSize() == QSizeF(632, 842);
         }},
        {"unlock with passwords",
         [](const QString &folder) {
             const QString path = folder + QStringLiteral("/locked.pdf");
             WriteOptions options;
             options.encrypt = true;
             options.userPassword = QStringLiteral("sesame");
             options.ownerPassword = QStringLiteral("owner-pässword");
             options.allowCopying = false;
             if (!writeDocument(path, 2, options))
                 return false;
             auto doc = PDFDocument::open(path);
             if (!doc || !doc->isLocked() || PDFOps::isRestricted(*doc))
                 return false;
             if (doc->unlock(QStringLiteral("wrong")) || !doc->isLocked())
                 return false;
             if (!doc->unlock(QStringLiteral("sesame")) || doc->pageCount() != 2)
                 return false;
             if (!PDFOps::isRestricted(*doc) || doc->encryptionMethod() != QLatin1String("AES-256"))
                 return false;
             auto owner = PDFDocument::open(path);
             return owner && owner->unlock(QStringLiteral("owner-pässword")) &&
                    owner->hasOwnerRights() && !PDFOps::isRestricted(*owner);
         }},
        {"workspace intake",
         [](const QString &folder) {
             const QString pdf = folder + QStringLiteral("/a.pdf");
             const QString png = folder + QStringLiteral("/b.PNG");
             const QString txt = folder + QStringLiteral("/notes.txt");
             if (!writeDocument(pdf, 3) || !picture(50, 80, Qt::red).save(png, "PNG"))
                 return false;
             QFile text(txt);
             if (!text.open(QIODevice::WriteOnly) || text.write("hello") != 5)
                 return false;
             text.close();
             Workspace workspace;
             workspace.add({pdf, png, txt, folder + QStringLiteral("/missing.pdf")});
             const auto current = workspace.current();
             return workspace.files().size() == 2 && workspace.pdfs().size() == 1 && current &&
                    current->name() == QLatin1String("a") && current->fresh() &&
                    current->fresh()->pageCount() == 3 &&
                    workspace.notice().value_or(QString()).split(u'\n').size() == 2;
         }},
        {"page ranges",
         [](const QString &) {
             const auto parsed = PageRanges::parse(QStringLiteral("1-3, 5, 8-"), 10);
             const auto *groups = std::get_if<PageRanges::Groups>(&parsed);
             const auto failed = PageRanges::parse(QStringLiteral("1-20"), 10);
             const auto *failure = std::get_if<PageRanges::Failure>(&failed);
             return groups && *groups == PageRanges::Groups{{0, 1, 2}, {4}, {7, 8, 9}} && failure &&
                    failure->message() ==
                        QStringLiteral("Page 20 doesn't exist; this PDF has 10 pages.") &&
                    PageRanges::label({0, 1, 2}) == QStringLiteral("1–3");
         }},
        {"text recognition",
         [](const QString &) {
             // The language data is there and the engine starts; a blank
             // picture gives no words.
             if (!Searchable::installedLanguages().contains(QStringLiteral("eng")))
                 return false;
             try {
                 Searchable::Engine engine({QStringLiteral("eng")});
                 return engine.recognize(picture(400, 300, Qt::white)).isEmpty();
             } catch (const PDFError &) {
                 return false;
             }
         }},
        {"signing",
         [](const QString &folder) {
             // A stamp on a page turned a quarter lands where it was placed on
             // the page as seen, not where the unturned page has that point.
             auto blank = PDFOps::page(picture(300, 400, Qt::white));
             auto turned = blank ? PDFOps::assemble({{blank, 0, 90}}) : nullptr;
             if (!turned)
                 return false;
             QImage ink(60, 30, QImage::Format_ARGB32_Premultiplied);
             ink.fill(Qt::black);
             const QString path = folder + QStringLiteral("/signed.pdf");
             PDFOps::flatten(*turned, {{QUuid::createUuid(), 0, QRectF(100, 50, 120, 60), ink}},
                             path, {}, {});
             auto result = PDFDocument::open(path);
             auto source = result ? DrawingDocument::sourceFor(*result) : std::nullopt;
             auto drawing = source ? DrawingDocument::open(*source) : nullptr;
             auto page = drawing ? drawing->render(0, 72) : std::nullopt;
             return page && page->width() > page->height() &&
                    qGray(page->pixel(160, page->height() - 80)) < 64 &&
                    qGray(page->pixel(80, page->height() - 160)) > 200;
         }},
        {"signature photo",
         [](const QString &) {
             // Grey paper with a dark stroke: the paper goes, the ink stays.
             QImage photo(400, 200, QImage::Format_RGB32);
             photo.fill(QColor(185, 182, 175));
             QPainter painter(&photo);
             painter.setPen(QPen(QColor(25, 25, 35), 8));
             painter.drawLine(40, 150, 360, 50);
             painter.end();
             const auto ink = Stamps::signatureFromPhoto(photo, Stamps::inkColors().first().color);
             if (!ink || ink->isNull() || qAlpha(ink->pixel(0, 0)) != 0)
                 return false;
             const QPoint middle(ink->width() / 2, ink->height() / 2);
             return qAlpha(ink->pixel(middle)) == 255;
         }},
        {"error messages",
         [](const QString &) {
             return PDFError::restricted().description().size() == 150 &&
                    PDFError::unreadable(QStringLiteral("a b.pdf")).description() ==
                        QStringLiteral("“a b.pdf” couldn't be read as a PDF.");
         }},
    };
    return list;
}

} // namespace

namespace SelfTest {

int run()
{
    QTemporaryDir folder;
    int failed = 0;
    for (const auto &check : checks()) {
        bool passed = false;
        try {
            passed = folder.isValid() && check.run(folder.path());
        } catch (...) {
            passed = false;
        }
        if (!passed)
            ++failed;
        std::printf("%s %s\n", passed ? "PASS" : "FAIL", check.name);
    }
    if (failed == 0)
        std::printf("ALL PASSED\n");
    else
        std::printf("%d FAILED\n", failed);
    std::fflush(stdout);
    return failed == 0 ? 0 : 1;
}

} // namespace SelfTest
