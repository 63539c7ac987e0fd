#include "Fixtures.h"
#include "PDFError.h"
#include "PDFOpsCompress.h"
#include "PDFOpsRebuild.h"
#include "PictureFixtures.h"
#include "QpdfBytes.h"
#include "Work.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

Q_DECLARE_METATYPE(std::optional<QRectF>)

namespace {

using Work::errorOf;
using Work::never;
using Work::noProgress;

// Adds to a fixture what makePDF can't: named destinations (a /Names tree
// and an old-style /Dests dictionary) and links by name, to the web and to
// a name that doesn't exist.
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
    pages[0].getObjectHandle().replaceKey("/Annots", annots);
    return Fixtures::bytesOf(q);
}

// Two areas (0..1 of the page) within a few thousandths of each other.
bool near(const QRectF &a, const QRectF &b)
{
    return qAbs(a.left() - b.left()) < 0.003 && qAbs(a.top() - b.top()) < 0.003 &&
           qAbs(a.width() - b.width()) < 0.003 && qAbs(a.height() - b.height()) < 0.003;
}

} // namespace

class TestRebuild : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    QByteArray rebuilt(const QByteArray &source, const QString &name,
                       const PDFOps::PageHook &hook = {})
    {
        auto doc = PDFDocument::fromBytes(source, QStringLiteral("source.pdf"));
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
        DocSpec layout = numberedPages(2, QStringLiteral("Turned"));
        layout.pages[0].rotate = rotate;
        layout.pages[0].crop = crop;
        const QByteArray source = makePDF(layout);
        // A hook that adds nothing still takes the page through a form.
        const PDFOps::PageHook hook = [](PDFOps::RebuildPage &) {};
        const QByteArray out =
            rebuilt(source, QStringLiteral("upright.pdf"), throughForm ? hook : PDFOps::PageHook());
        QVERIFY(!out.isEmpty());

        const PageView before = popplerPage(source, 1);
        const PageView after = popplerPage(out, 1);
        QCOMPARE(after.rotation, 0);
        QCOMPARE(after.size, before.size); // the upright size, sides exchanged for 90 and 270
        auto reopened = PDFDocument::fromBytes(out, QStringLiteral("upright.pdf"));
        QVERIFY(reopened);
        QCOMPARE(reopened->page(0)->mediaBox, QRectF(QPointF(0, 0), before.size));

        // Compared with how much ink there is at all, so that a page drawn
        // turned the wrong way can't pass for a mostly white one.
        const QImage seen = popplerRender(source, 1, 40);
        const QImage drawn = popplerRender(out, 1, 40);
        QImage blank(seen.size(), QImage::Format_RGB32);
        blank.fill(Qt::white);
        const double ink = meanDifference(seen, blank);
        const double off = meanDifference(seen, drawn);
        QVERIFY(ink > 0.1);
        QVERIFY2(off >= 0 && off < ink * 0.1,
                 qPrintable(QStringLiteral("%1 of %2").arg(off).arg(ink)));
        QCOMPARE(popplerPageTexts(out).value(0), QStringLiteral("Turned 1"));
        QVERIFY(qpdfCheck(path(QStringLiteral("upright.pdf"))));
    }

    void structureIsCarriedOver()
    {
        DocSpec layout = numberedPages(3);
        layout.info.title = QStringLiteral("My Title");
        layout.info.author = QStringLiteral("Me");
        layout.info.subject = QStringLiteral("Tests — ünïcode");
        layout.info.keywords = QStringLiteral("one, two");
        layout.info.creator = QStringLiteral("Some Editor");
        layout.pages[1].rotate = 90;
        layout.links = {{0, 2}};
        layout.outline = {{QStringLiteral("Third"), 2, {{QStringLiteral("First"), 0, {}}}},
                          {QStringLiteral("Second"), 1, {}}};
        const QByteArray out = rebuilt(makePDF(layout), QStringLiteral("structure.pdf"));

        auto doc = PDFDocument::fromBytes(out, QStringLiteral("structure.pdf"));
        QVERIFY(doc);
        QCOMPARE(doc->info().title, QStringLiteral("My Title"));
        QCOMPARE(doc->info().author, QStringLiteral("Me"));
        QCOMPARE(doc->info().subject, QStringLiteral("Tests — ünïcode"));
        QCOMPARE(doc->info().keywords, QStringLiteral("one, two"));
        QCOMPARE(doc->info().creator, QStringLiteral("Quirebook"));
        QCOMPARE(doc->page(1)->rotation, 0);
        QCOMPARE(doc->page(1)->uprightSize(), QSizeF(792, 612));

        QCOMPARE(popplerOutline(out),
                 (QStringList{QStringLiteral("Third|3|open"), QStringLiteral("  First|1|closed"),
                              QStringLiteral("Second|2|closed")}));
        const auto links = popplerLinks(out, 1);
        QCOMPARE(links.size(), 1);
        QCOMPARE(links[0].targetPage, 3);
        // Page 1 is upright at the origin: the link covers what it covered.
        QVERIFY(near(links[0].area, QRectF(72.0 / 612, 152.0 / 792, 228.0 / 612, 40.0 / 792)));
        QCOMPARE(popplerPageTexts(out),
                 (QStringList{QStringLiteral("Page 1"), QStringLiteral("Page 2"),
                              QStringLiteral("Page 3")}));
    }

    void linksFollowTheirPageWhenItTurns()
    {
        DocSpec layout = numberedPages(3);
        layout.pages[0].rotate = 90;
        layout.links = {{0, 2}};
        const QByteArray out = rebuilt(makePDF(layout), QStringLiteral("turned-link.pdf"));
        const auto links = popplerLinks(out, 1);
        QCOMPARE(links.size(), 1);
        QCOMPARE(links[0].targetPage, 3);
        // The fixture's link [72 600 300 640] on a 612×792 page turned a
        // quarter clockwise lands at x 600…640, y 312…540 of a 792×612 page.
        QVERIFY(near(links[0].area, QRectF(600.0 / 792, 72.0 / 612, 40.0 / 792, 228.0 / 612)));
    }

    void namedDestinationsAndWebLinks()
    {
        const QByteArray source = withNamedDestinations(makePDF(numberedPages(3)));
        const QByteArray out = rebuilt(source, QStringLiteral("named.pdf"));
        auto links = popplerLinks(out, 1);
        std::sort(links.begin(), links.end(),
                  [](const LinkInfo &a, const LinkInfo &b) { return a.area.top() > b.area.top(); });
        // The link to a name that doesn't exist leads nowhere and is dropped.
        QCOMPARE(links.size(), 3);
        QCOMPARE(links[0].targetPage, 3);
        QCOMPARE(links[1].targetPage, 2);
        QCOMPARE(links[2].url, QStringLiteral("https://example.org/"));
    }

    void aPlainSourceGetsNoStructure()
    {
        const QByteArray out = rebuilt(makePDF(numberedPages(2)), QStringLiteral("plain.pdf"));
        QVERIFY(popplerOutline(out).isEmpty());
        QVERIFY(popplerLinks(out, 1).isEmpty());
        auto doc = PDFDocument::fromBytes(out, QStringLiteral("plain.pdf"));
        QVERIFY(doc->info().title.isEmpty());
        QCOMPARE(doc->info().creator, QStringLiteral("Quirebook"));
    }

    void progressIsReportedPerPage()
    {
        auto doc = PDFDocument::fromBytes(textPDF(5), QStringLiteral("five.pdf"));
        QList<QPair<int, int>> reports;
        int asked = 0;
        PDFOps::rebuild(
            *doc, path(QStringLiteral("five.pdf")),
            [&](int done, int total) {
                reports.append({done, total});
            },
            [&] { return ++asked, false; });
        QCOMPARE(reports, (QList<QPair<int, int>>{{1, 5}, {2, 5}, {3, 5}, {4, 5}, {5, 5}}));
        QCOMPARE(asked, 5); // before every page, not after the last
    }

    void cancellingLeavesEverythingAsItWas_data()
    {
        QTest::addColumn<int>("cancelBefore"); // zero-based page
        QTest::newRow("before the first page") << 0;
        QTest::newRow("before the last page") << 3;
    }
    void cancellingLeavesEverythingAsItWas()
    {
        QFETCH(int, cancelBefore);
        QTemporaryDir dir;
        const QString destination = dir.filePath(QStringLiteral("out.pdf"));
        writeFile(destination, "what was there before");
        auto doc = PDFDocument::fromBytes(textPDF(4), QStringLiteral("four.pdf"));
        int asked = 0;
        QCOMPARE(errorOf([&] {
                     PDFOps::rebuild(*doc, destination, noProgress,
                                     [&] { return asked++ == cancelBefore; });
                 }),
                 QStringLiteral("cancelled"));
        QCOMPARE(readFile(destination), QByteArray("what was there before"));
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
        const QString source =
            writeFile(dir.filePath(QStringLiteral("loop.pdf")), loopingResourcesPDF(loop));
        const PDFOps::PageHook throughForm = [](PDFOps::RebuildPage &) {};
        for (const auto &hook : {PDFOps::PageHook(), throughForm}) {
            const QString out =
                dir.filePath(hook ? QStringLiteral("form.pdf") : QStringLiteral("plain.pdf"));
            PDFOps::rebuild(*PDFDocument::open(source), out, noProgress, never, hook);
            QVERIFY(qpdfCheck(out));
            QCOMPARE(PDFDocument::open(out)->pageCount(), 1);
            QVERIFY(resourcesStayOutOfStructure(out));
            QCOMPARE(popplerPageTexts(readFile(out)).value(0),
                     keepsText ? QStringLiteral("Loop") : QString());
        }
        const QString compressed = dir.filePath(QStringLiteral("loop compressed.pdf"));
        PDFOps::compress(*PDFDocument::open(source), source, CompressionLevel::Small, compressed,
                         noProgress, never);
        QVERIFY(qpdfCheck(compressed));
        QCOMPARE(PDFDocument::open(compressed)->pageCount(), 1);
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
    }

    void refusesWhatItMayNotRewrite_data()
    {
        QTest::addColumn<bool>("unlock");
        QTest::addColumn<QString>("message");
        QTest::newRow("locked") << false << PDFError::lockedText();
        QTest::newRow("restricted") << true << PDFError::restricted().description();
    }
    void refusesWhatItMayNotRewrite()
    {
        QFETCH(bool, unlock);
        QFETCH(QString, message);
        WriteOptions options;
        options.encrypt = true;
        options.userPassword = QStringLiteral("user");
        options.ownerPassword = QStringLiteral("owner");
        options.allowChanges = false;
        auto doc =
            PDFDocument::fromBytes(makePDF(numberedPages(2), options), QStringLiteral("l.pdf"));
        QVERIFY(doc->isLocked());
        if (unlock)
            QVERIFY(doc->unlock(QStringLiteral("user")));
        QTemporaryDir dir;
        const QString destination = dir.filePath(QStringLiteral("out.pdf"));
        QCOMPARE(errorOf([&] { PDFOps::rebuild(*doc, destination, noProgress, never); }), message);
        QVERIFY(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).isEmpty());
    }

    void aDocumentWithoutPagesIsUnreadable()
    {
        auto empty = PDFDocument::createEmpty();
        QCOMPARE(errorOf([&] {
                     PDFOps::rebuild(*empty, path(QStringLiteral("nothing.pdf")), noProgress,
                                     never);
                 }),
                 QStringLiteral("“nothing.pdf” couldn't be read as a PDF."));
        QVERIFY(!QFile::exists(path(QStringLiteral("nothing.pdf"))));
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
            form.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
            form.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
            form.getDict().replaceKey("/BBox", QPDFObjectHandle::parse("[0 0 40 40]"));
            const QByteArray name = page.addResource("XObject", form);
            QVERIFY(name.startsWith('/'));
            page.append("q 1 0 0 1 " + QByteArray::number(page.frame.width() - 40) + " " +
                        QByteArray::number(page.frame.height() - 40) + " cm " + name + " Do Q\n");
        };
        const QByteArray out = rebuilt(makePDF(layout), QStringLiteral("hook.pdf"), hook);
        QCOMPARE(indexes, (QList<int>{0, 1}));
        const QSizeF upright =
            (rotate == 90 || rotate == 270) ? QSizeF(700, 500) : QSizeF(500, 700);
        QCOMPARE(frames, (QList<QSizeF>{upright, upright}));

        const QImage image = popplerRender(out, 1, 72);
        QCOMPARE(image.size(), upright.toSize());
        QCOMPARE(QColor(image.pixel(10, image.height() - 10)), QColor(Qt::blue));
        QCOMPARE(QColor(image.pixel(image.width() - 10, 10)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(image.width() / 2, image.height() - 10)), QColor(Qt::white));
        QCOMPARE(popplerPageTexts(out).value(1), QStringLiteral("Page 2"));
    }

    void aHookErrorEndsTheRebuild()
    {
        QTemporaryDir dir;
        const QString destination = dir.filePath(QStringLiteral("out.pdf"));
        auto doc = PDFDocument::fromBytes(textPDF(3), QStringLiteral("three.pdf"));
        const PDFOps::PageHook hook = [](PDFOps::RebuildPage &page) {
            if (page.index == 1)
                throw PDFError::failed(QStringLiteral("The stamp couldn't be drawn."));
        };
        QCOMPARE(errorOf([&] { PDFOps::rebuild(*doc, destination, noProgress, never, hook); }),
                 QStringLiteral("The stamp couldn't be drawn."));
        QVERIFY(!QFile::exists(destination));
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
    }

    void whatAnnotationsShowedIsDrawnIn()
    {
        const QByteArray out = rebuilt(annotatedPDF(), QStringLiteral("annotated.pdf"));
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

    // A folder that can't be written to: a path under a file fails even
    // with rights that ignore folder permissions.
    void unwritableFolderGetsAMessage()
    {
        const QString file = writeFile(path(QStringLiteral("a file")), "not a folder");
        auto doc = PDFDocument::fromBytes(textPDF(1), QStringLiteral("one.pdf"));
        QCOMPARE(errorOf([&] {
                     PDFOps::rebuild(*doc, file + QStringLiteral("/x.pdf"), noProgress, never);
                 }),
                 QStringLiteral(
                     "Couldn't create the file here. Check that you can write to that folder."));
    }
};

QTEST_GUILESS_MAIN(TestRebuild)
#include "tst_rebuild.moc"
