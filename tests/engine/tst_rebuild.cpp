#include "engine/PDFError.h"
#include "engine/PDFOpsCompress.h"
#include "engine/internal/PDFOpsRebuild.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;

Q_DECLARE_METATYPE(std::optional<QRectF>)

namespace {

using Attempt::errorOf;
using Attempt::never;
using Attempt::noProgress;

// Adds to page 3 of a fixture what makePDF can't: links by name (through a
// /Names tree and an old-style /Dests dictionary), to the web and to a name
// that doesn't exist.
QByteArray withNamedDestinations(const QByteArray &pdf)
{
    QPDF q;
    q.processMemoryFile("named", pdf.constData(), size_t(pdf.size()));
    auto pages = QPDFPageDocumentHelper(q).getAllPages();
    auto names = QPDFObjectHandle::parse(
        "<< /Dests << /Names [(chapter-three) [null /XYZ 72 700 null]] >> >>");
    names.getKey("/Dests").getKey("/Names").getArrayItem(1).setArrayItem(
        0, pages[2].getObjectHandle());
    q.getRoot().replaceKey("/Names", names);
    auto dests = QPDFObjectHandle::parse("<< /Two [null /Fit] >>");
    dests.getKey("/Two").setArrayItem(0, pages[1].getObjectHandle());
    q.getRoot().replaceKey("/Dests", dests);
    auto annots = QPDFObjectHandle::newArray();
    for (const char *link : {"/Rect [72 100 200 120] /A << /S /GoTo /D (chapter-three) >>",
                             "/Rect [72 140 200 160] /Dest /Two",
                             "/Rect [72 180 200 200] /A << /S /URI /URI (https://example.org/) >>",
                             "/Rect [72 220 200 240] /Dest (no-such-place)"})
        annots.appendItem(q.makeIndirectObject(QPDFObjectHandle::parse(
            std::string("<< /Type /Annot /Subtype /Link ") + link + " >>")));
    pages[2].getObjectHandle().replaceKey("/Annots", annots);
    return Fixtures::bytesOf(q);
}

// Two areas (0..1 of the page) within a few thousandths of each other.
bool near(const QRectF &a, const QRectF &b)
{
    return qAbs(a.left() - b.left()) < 0.003 && qAbs(a.top() - b.top()) < 0.003 &&
           qAbs(a.width() - b.width()) < 0.003 && qAbs(a.height() - b.height()) < 0.003;
}

// A hook that adds nothing still takes the page through a form.
const PDFOps::PageHook formHook = [](PDFOps::RebuildPage &) {};

} // namespace

class TestRebuild : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    QByteArray rebuilt(const QByteArray &source, const QString &name,
                       const PDFOps::PageHook &hook = {})
    {
        auto doc = PDFDocument::fromBytes(source, u"source.pdf"_s);
        if (!doc)
            return {};
        PDFOps::rebuild(*doc, path(name), noProgress, never, hook);
        return readFile(path(name));
    }

private Q_SLOTS:
    void pagesComeOutUprightLookingTheSame_data()
    {
        QTest::addColumn<int>("rotate");
        QTest::addColumn<std::optional<QRectF>>("crop");
        QTest::addColumn<bool>("throughForm");
        const std::optional<QRectF> none;
        const std::optional<QRectF> crop = QRectF(50, 120, 400, 500);
        for (int rotate : {0, 90, 180, 270}) {
            QTest::addRow("%d°", rotate) << rotate << none << false;
            QTest::addRow("%d° cropped", rotate) << rotate << crop << false;
        }
        QTest::newRow("0° through a form") << 0 << none << true;
        QTest::newRow("450°") << 450 << crop << false;
    }
    void pagesComeOutUprightLookingTheSame()
    {
        QFETCH(int, rotate);
        QFETCH(std::optional<QRectF>, crop);
        QFETCH(bool, throughForm);
        DocSpec layout = numberedPages(2, u"Turned"_s);
        layout.pages[0].rotate = rotate;
        layout.pages[0].crop = crop;
        const QByteArray source = makePDF(layout);
        const QByteArray out =
            rebuilt(source, u"upright.pdf"_s, throughForm ? formHook : PDFOps::PageHook());
        QVERIFY(!out.isEmpty());

        const PageView before = popplerPage(source, 1);
        const PageView after = popplerPage(out, 1);
        QCOMPARE(after.rotation, 0);
        QCOMPARE(after.size, before.size); // the upright size, sides exchanged for 90 and 270
        auto reopened = PDFDocument::fromBytes(out, u"upright.pdf"_s);
        QVERIFY(reopened);
        QCOMPARE(reopened->page(0)->mediaBox, QRectF(QPointF(0, 0), before.size));
        // A plain source gets no structure of ours.
        QVERIFY(reopened->info().title.isEmpty());
        QVERIFY(popplerOutline(out).isEmpty());
        QVERIFY(popplerLinks(out, 1).isEmpty());

        // Compared with how much ink there is at all, so that a page drawn
        // turned the wrong way can't pass for a mostly white one.
        const QImage seen = popplerRender(source, 1, 40);
        QImage blank(seen.size(), QImage::Format_RGB32);
        blank.fill(Qt::white);
        const double ink = meanDifference(seen, blank);
        const double off = meanDifference(seen, popplerRender(out, 1, 40));
        QVERIFY(ink > 0.1);
        QVERIFY2(off >= 0 && off < ink * 0.1, qPrintable(u"%1 of %2"_s.arg(off).arg(ink)));
        QCOMPARE(popplerPageTexts(out).value(0), u"Turned 1"_s);
        QVERIFY(qpdfCheck(path(u"upright.pdf"_s)));
    }

    // Info, bookmarks and links carried over; a link follows its page when
    // the page turns upright, and links by name lead where the name did.
    void structureIsCarriedOver_data()
    {
        QTest::addColumn<int>("rotate"); // of page 1
        QTest::addColumn<QRectF>("area");
        // The fixture's link [72 600 300 640] on a 612×792 page: where it
        // stays, and where it lands with the page turned a quarter clockwise.
        QTest::newRow("upright") << 0 << QRectF(72.0 / 612, 152.0 / 792, 228.0 / 612, 40.0 / 792);
        QTest::newRow("turned") << 90 << QRectF(600.0 / 792, 72.0 / 612, 40.0 / 792, 228.0 / 612);
    }
    void structureIsCarriedOver()
    {
        QFETCH(int, rotate);
        QFETCH(QRectF, area);
        DocSpec layout = numberedPages(3);
        layout.info = {u"My Title"_s, u"Me"_s,          u"Tests — ünïcode"_s,
                       u"one, two"_s, u"Some Editor"_s, {}};
        layout.pages[0].rotate = rotate;
        layout.pages[1].rotate = 90;
        layout.links = {{0, 2}};
        layout.outline = {{u"Third"_s, 2, {{u"First"_s, 0, {}}}}, {u"Second"_s, 1, {}}};
        const QByteArray out = rebuilt(withNamedDestinations(makePDF(layout)), u"structure.pdf"_s);

        auto doc = PDFDocument::fromBytes(out, u"structure.pdf"_s);
        QVERIFY(doc);
        QCOMPARE(doc->info().title, u"My Title"_s);
        QCOMPARE(doc->info().author, u"Me"_s);
        QCOMPARE(doc->info().subject, u"Tests — ünïcode"_s);
        QCOMPARE(doc->info().keywords, u"one, two"_s);
        QCOMPARE(doc->info().creator, u"Quirebook"_s);
        QCOMPARE(doc->page(1)->rotation, 0);
        QCOMPARE(doc->page(1)->uprightSize(), QSizeF(792, 612));

        QCOMPARE(popplerOutline(out),
                 (QStringList{u"Third|3|open"_s, u"  First|1|closed"_s, u"Second|2|closed"_s}));
        const auto links = popplerLinks(out, 1);
        QCOMPARE(links.size(), 1);
        QCOMPARE(links[0].targetPage, 3);
        QVERIFY(near(links[0].area, area));
        auto named = popplerLinks(out, 3);
        std::sort(named.begin(), named.end(),
                  [](const LinkInfo &a, const LinkInfo &b) { return a.area.top() > b.area.top(); });
        // The link to a name that doesn't exist leads nowhere and is dropped.
        QCOMPARE(named.size(), 3);
        QCOMPARE(named[0].targetPage, 3);
        QCOMPARE(named[1].targetPage, 2);
        QCOMPARE(named[2].url, u"https://example.org/"_s);
        QCOMPARE(popplerPageTexts(out), (QStringList{u"Page 1"_s, u"Page 2"_s, u"Page 3"_s}));
    }

    // Progress once per page; the cancel test is asked before every page,
    // and a cancel leaves what was at the destination and no temporary file.
    void progressAndCancel_data()
    {
        QTest::addColumn<int>("cancelBefore"); // zero-based page; -1: never
        QTest::newRow("never") << -1;
        QTest::newRow("before the first page") << 0;
        QTest::newRow("before the last page") << 3;
    }
    void progressAndCancel()
    {
        QFETCH(int, cancelBefore);
        QTemporaryDir dir;
        const QString destination = writeFile(dir.filePath(u"out.pdf"_s), "what was there before");
        auto doc = PDFDocument::fromBytes(textPDF(4), u"four.pdf"_s);
        QList<QPair<int, int>> reports;
        int asked = 0;
        const QString error = errorOf([&] {
            PDFOps::rebuild(
                *doc, destination,
                [&](int done, int total) {
                    reports.append({done, total});
                },
                [&] { return asked++ == cancelBefore; });
        });
        const QList<QPair<int, int>> all{{1, 4}, {2, 4}, {3, 4}, {4, 4}};
        if (cancelBefore < 0) {
            QCOMPARE(error, u"no error"_s);
            QCOMPARE(reports, all);
            QCOMPARE(asked, 4); // not after the last page
            QCOMPARE(popplerPageCount(destination), 4);
        } else {
            QCOMPARE(error, u"cancelled"_s);
            QCOMPARE(reports, all.mid(0, cancelBefore));
            QCOMPARE(readFile(destination), QByteArray("what was there before"));
        }
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
    }

    // Resources that lead back to the page tree are mended, not copied
    // along; what is sound in them (the text's font) stays. Nothing else
    // carried over brings the page tree along either.
    void resourcesLeadingBackAreMended_data()
    {
        QTest::addColumn<ResourceLoop>("loop");
        QTest::addColumn<bool>("keepsText");
        QTest::newRow("the parent /Pages") << ResourceLoop::Parent << false;
        QTest::newRow("the page") << ResourceLoop::Page << false;
        QTest::newRow("the catalog") << ResourceLoop::Catalog << false;
        QTest::newRow("not a dictionary") << ResourceLoop::NotADictionary << false;
        QTest::newRow("a font") << ResourceLoop::Font << false;
        QTest::newRow("an XObject") << ResourceLoop::XObject << true;
        QTest::newRow("a pattern") << ResourceLoop::Pattern << true;
        QTest::newRow("a form's resources") << ResourceLoop::FormToParent << true;
        QTest::newRow("a form as its own resources") << ResourceLoop::FormToItself << true;
        QTest::newRow("a form drawing itself") << ResourceLoop::FormDrawsItself << true;
        QTest::newRow("the page's group") << ResourceLoop::Group << true;
    }
    void resourcesLeadingBackAreMended()
    {
        QFETCH(ResourceLoop, loop);
        QFETCH(bool, keepsText);
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(u"loop.pdf"_s), loopingResourcesPDF(loop));
        for (const auto &hook : {PDFOps::PageHook(), formHook}) {
            const QString out = dir.filePath(hook ? u"form.pdf"_s : u"plain.pdf"_s);
            PDFOps::rebuild(*PDFDocument::open(source), out, noProgress, never, hook);
            QVERIFY(qpdfCheck(out));
            QCOMPARE(PDFDocument::open(out)->pageCount(), 1);
            QVERIFY(resourcesStayOutOfStructure(out));
            QCOMPARE(popplerPageTexts(readFile(out)).value(0), keepsText ? u"Loop"_s : QString());
        }
        const QString compressed = dir.filePath(u"loop compressed.pdf"_s);
        PDFOps::compress(*PDFDocument::open(source), source, CompressionLevel::Small, compressed,
                         noProgress, never);
        QVERIFY(qpdfCheck(compressed));
        QCOMPARE(PDFDocument::open(compressed)->pageCount(), 1);
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
    }

    // Each refusal or failure has its sentence and leaves no file behind.
    void failuresLeaveNothing_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<QString>("message");
        QTest::newRow("locked") << "locked" << PDFError::lockedText();
        QTest::newRow("restricted") << "restricted" << PDFError::restricted().description();
        QTest::newRow("no pages") << "no pages"
                                  << "“out.pdf” couldn't be read as a PDF.";
        QTest::newRow("hook fails") << "hook"
                                    << "The stamp couldn't be drawn.";
        // A path under a file fails even with rights that ignore folder permissions.
        QTest::newRow("unwritable folder")
            << "folder"
            << "Couldn't create the file here. Check that you can write to that folder.";
    }
    void failuresLeaveNothing()
    {
        QFETCH(QString, what);
        QFETCH(QString, message);
        QTemporaryDir dir;
        QString destination = dir.filePath(u"out.pdf"_s);
        std::shared_ptr<PDFDocument> doc = PDFDocument::fromBytes(textPDF(3), "three.pdf");
        PDFOps::PageHook hook;
        if (what == QLatin1String("locked") || what == QLatin1String("restricted")) {
            WriteOptions options = lock(u"user"_s, u"owner"_s);
            options.allowChanges = false;
            doc = PDFDocument::fromBytes(makePDF(numberedPages(2), options), "l.pdf");
            QVERIFY(doc->isLocked());
            if (what == QLatin1String("restricted"))
                QVERIFY(doc->unlock(u"user"_s));
        } else if (what == QLatin1String("no pages")) {
            doc = PDFDocument::createEmpty();
        } else if (what == QLatin1String("hook")) {
            hook = [](PDFOps::RebuildPage &page) {
                if (page.index == 1)
                    throw PDFError::failed(u"The stamp couldn't be drawn."_s);
            };
        } else {
            destination = writeFile(dir.filePath(u"a file"_s), "not a folder") + u"/x.pdf"_s;
        }
        QCOMPARE(errorOf([&] { PDFOps::rebuild(*doc, destination, noProgress, never, hook); }),
                 message);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                 what == QLatin1String("folder") ? QStringList{u"a file"_s} : QStringList());
    }

    void aHookDrawsInTheUprightFrame_data()
    {
        QTest::addColumn<int>("rotate");
        for (int rotate : {0, 90, 180, 270})
            QTest::addRow("%d°", rotate) << rotate;
    }
    void aHookDrawsInTheUprightFrame()
    {
        QFETCH(int, rotate);
        DocSpec layout = numberedPages(2);
        for (auto &page : layout.pages) {
            page.rotate = rotate;
            page.crop = QRectF(20, 30, 500, 700);
        }
        QList<int> indexes;
        QList<QSizeF> frames;
        const PDFOps::PageHook hook = [&](PDFOps::RebuildPage &page) {
            indexes << page.index;
            frames << page.frame;
            QCOMPARE(page.count, 2);
            // A blue square in the lower left corner of the upright page, and
            // a red one drawn by a form the hook makes in the new document.
            page.append("q 0 0 1 rg 0 0 40 40 re f Q\n");
            auto form = QPDFObjectHandle::newStream(&page.document(), "1 0 0 rg 0 0 40 40 re f\n");
            form.replaceDict(
                QPDFObjectHandle::parse("<< /Type /XObject /Subtype /Form /BBox [0 0 40 40] >>"));
            const QByteArray name = page.addResource("XObject", form);
            QVERIFY(name.startsWith('/'));
            page.append("q 1 0 0 1 " + QByteArray::number(page.frame.width() - 40) + " " +
                        QByteArray::number(page.frame.height() - 40) + " cm " + name + " Do Q\n");
        };
        const QByteArray out = rebuilt(makePDF(layout), u"hook.pdf"_s, hook);
        QCOMPARE(indexes, (QList<int>{0, 1}));
        const QSizeF upright = rotate % 180 ? QSizeF(700, 500) : QSizeF(500, 700);
        QCOMPARE(frames, (QList<QSizeF>{upright, upright}));

        const QImage image = popplerRender(out, 1, 72);
        QCOMPARE(image.size(), upright.toSize());
        QCOMPARE(QColor(image.pixel(10, image.height() - 10)), QColor(Qt::blue));
        QCOMPARE(QColor(image.pixel(image.width() - 10, 10)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(image.width() / 2, image.height() - 10)), QColor(Qt::white));
        QCOMPARE(popplerPageTexts(out).value(1), u"Page 2"_s);
    }

    void whatAnnotationsShowedIsDrawnIn()
    {
        const QByteArray out = rebuilt(annotatedPDF(), u"annotated.pdf"_s);
        const QString text = popplerPageTexts(out).value(0);
        QVERIFY2(text.contains(AnnotatedTexts::filled()), qPrintable(text));
        QVERIFY2(text.contains(AnnotatedTexts::generated()), qPrintable(text));

        const QImage image = popplerRender(out, 1, 72);
        const QPointF green = greenSquare().center();
        const QPointF red = hiddenRedSquare().center();
        QCOMPARE(QColor(image.pixel(int(green.x()), int(792 - green.y()))), QColor(Qt::green));
        QCOMPARE(QColor(image.pixel(int(red.x()), int(792 - red.y()))), QColor(Qt::white));

        // Only the link is still an annotation.
        QPDF q;
        q.processMemoryFile("annotated", out.constData(), size_t(out.size()));
        auto annots = QPDFPageDocumentHelper(q).getAllPages()[0].getAnnotations();
        QCOMPARE(annots.size(), size_t(1));
        QVERIFY(annots[0].getSubtype() == "/Link");
        QCOMPARE(popplerLinks(out, 1).value(0).targetPage, 2);
    }
};

QTEST_GUILESS_MAIN(TestRebuild)
#include "tst_rebuild.moc"
