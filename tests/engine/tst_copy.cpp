#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFOutlineDocumentHelper.hh>

#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using Attempt::errorOf;

namespace {
// "Title@page" per bookmark, children in brackets: "A@0[B@-1]".
QString shape(const QList<OutlineEntry> &items)
{
    QStringList parts;
    for (const auto &item : items) {
        QString part = item.title + u'@' + QString::number(item.pageIndex);
        if (!item.children.isEmpty())
            part += u'[' + shape(item.children) + u']';
        parts << part;
    }
    return parts.join(u',');
}

// Calls `visit` on every bookmark of `q`, depth first.
void eachBookmark(QPDF &q, const std::function<void(QPDFOutlineObjectHelper &)> &visit)
{
    std::function<void(std::vector<QPDFOutlineObjectHelper>)> walk = [&](auto items) {
        for (auto &item : items) {
            visit(item);
            walk(item.getKids());
        }
    };
    walk(QPDFOutlineDocumentHelper(q).getTopLevelOutlines());
}

// Every bookmark of `pdf` coloured and bold italic.
QByteArray styledBookmarks(const QByteArray &pdf)
{
    QPDF q;
    q.processMemoryFile("styled", pdf.constData(), size_t(pdf.size()));
    eachBookmark(q, [](QPDFOutlineObjectHelper &item) {
        item.getObjectHandle().replaceKey("/C", QPDFObjectHandle::parse("[0.8 0 0.2]"));
        item.getObjectHandle().replaceKey("/F", QPDFObjectHandle::newInteger(3));
    });
    return bytesOf(q);
}

// "Title /C [...] /F n" per bookmark, depth first, as qpdf reads them.
QStringList looks(const QByteArray &pdf)
{
    QPDF q;
    q.processMemoryFile("looks", pdf.constData(), size_t(pdf.size()));
    QStringList all;
    eachBookmark(q, [&](QPDFOutlineObjectHelper &item) {
        auto dict = item.getObjectHandle();
        all << QString::fromStdString(item.getTitle() + " /C " + dict.getKey("/C").unparse() +
                                      " /F " + dict.getKey("/F").unparse());
    });
    return all;
}

std::shared_ptr<const PDFDocument> reopened(const std::shared_ptr<PDFDocument> &doc)
{
    return PDFDocument::fromBytes(doc->toBytes(), u"copy.pdf"_s);
}
} // namespace

using Outline = QList<OutlineSpec>;
Q_DECLARE_METATYPE(Outline)

class TestCopy : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void outlineFollowsPages_data()
    {
        QTest::addColumn<Outline>("outline");
        QTest::addColumn<QList<int>>("pages");
        QTest::addColumn<QString>("expected");
        const Outline third{{u"Third"_s, 2, {}}};
        QTest::newRow("moved") << third << QList<int>{2, 0} << u"Third@0"_s;
        QTest::newRow("left out") << third << QList<int>{0, 1} << QString();
        QTest::newRow("first copy")
            << QList<OutlineSpec>{{u"One"_s, 0, {}}} << QList<int>{1, 0, 0} << u"One@1"_s;
        const Outline group{{u"Group"_s, -1, {{u"Third"_s, 2, {}}}}};
        QTest::newRow("container kept") << group << QList<int>{2} << u"Group@-1[Third@0]"_s;
        QTest::newRow("container dropped") << group << QList<int>{0, 1} << QString();
        const Outline nested{{u"One"_s, 0, {}}, {u"Two"_s, 1, {{u"Three"_s, 2, {}}}}};
        QTest::newRow("nested") << nested << QList<int>{2, 1} << u"Two@1[Three@0]"_s;
        QTest::newRow("parent gone, child stays")
            << nested << QList<int>{2} << u"Two@-1[Three@0]"_s;
        QTest::newRow("out of range skipped") << third << QList<int>{7, 2, -1} << u"Third@0"_s;
    }
    void outlineFollowsPages()
    {
        QFETCH(Outline, outline);
        QFETCH(QList<int>, pages);
        QFETCH(QString, expected);
        DocSpec layout = numberedPages(3);
        layout.outline = outline;
        layout.info.title = u"Report"_s;
        layout.info.author = u"Ines"_s;
        layout.info.creator = u"Some Writer"_s;
        auto source = PDFDocument::fromBytes(makePDF(layout), u"s.pdf"_s);
        auto copy = reopened(PDFOps::extract(source, pages));
        QCOMPARE(shape(copy->outline()), expected);
        QStringList texts; // in the order asked, repeats too
        for (int page : pages)
            if (page >= 0 && page < 3)
                texts << u"Page "_s + QString::number(page + 1);
        QCOMPARE(popplerPageTexts(copy->toBytes()), texts);
        QCOMPARE(copy->info().title, u"Report"_s);
        QCOMPARE(copy->info().author, u"Ines"_s);
        QCOMPARE(copy->info().creator, QString()); // only the four keys travel
        QCOMPARE(source->pageCount(), 3);          // the source is untouched
        QCOMPARE(PDFOps::copyDocument(source, {})->pageCount(), 0);
    }

    void linksFollowPages()
    {
        DocSpec layout = numberedPages(4);
        layout.links = {{0, 3}, {1, 2}, {3, 0}};
        auto source = PDFDocument::fromBytes(makePDF(layout), u"l.pdf"_s);
        // Pages 4, 1, 2: page 4's link to page 1 now leads to page 2 of the
        // copy; page 2's link to page 3 (left out) is gone; page 1's to page 4 leads to 1.
        auto copy = PDFOps::copyDocument(source, {3, 0, 1});
        const QString path = writeFile(m_dir.filePath(u"links.pdf"_s), copy->toBytes());
        QCOMPARE(popplerLinkTargets(readFile(path)), (QList<QList<int>>{{2}, {1}, {}}));
        QVERIFY(qpdfCheck(path));
    }

    void sharedResourcesOnce()
    {
        auto source = PDFDocument::fromBytes(textPDF(30), u"s.pdf"_s);
        auto copy = PDFOps::copyDocument(source, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
        WriteOptions plain;
        plain.compact = false;
        QCOMPARE(copy->toBytes(plain).count("/BaseFont /Helvetica"), 1);
    }

    void mergeKeepsEveryonesBookmarks()
    {
        DocSpec a = numberedPages(3, u"Alpha"_s);
        a.outline = {{u"A three"_s, 2, {}}};
        a.links = {{0, 2}};
        DocSpec b = numberedPages(2, u"Beta"_s);
        b.outline = {{u"B one"_s, 0, {{u"B two"_s, 1, {}}}}};
        b.links = {{1, 0}};
        auto first = PDFDocument::fromBytes(makePDF(a), u"a.pdf"_s);
        // Coloured bold italic bookmarks stay so in the merged file.
        auto second = PDFDocument::fromBytes(styledBookmarks(makePDF(b)), u"b.pdf"_s);
        QList<QPair<int, int>> reports;
        auto merged = PDFOps::merge(
            {first, second}, [&](int done, int total) { reports << qMakePair(done, total); });
        QCOMPARE(merged->pageCount(), 5);
        QCOMPARE(reports.size(), 5);
        QCOMPARE(reports.last(), qMakePair(5, 5));
        const QString path = writeFile(m_dir.filePath(u"merged.pdf"_s), merged->toBytes());
        QCOMPARE(popplerPageTexts(merged->toBytes()),
                 (QStringList{"Alpha 1", "Alpha 2", "Alpha 3", "Beta 1", "Beta 2"}));
        QCOMPARE(popplerOutline(merged->toBytes()),
                 (QStringList{u"A three|3|closed"_s, u"B one|4|open"_s, u"  B two|5|closed"_s}));
        QCOMPARE(popplerLinkTargets(readFile(path)), (QList<QList<int>>{{3}, {}, {}, {}, {4}}));
        QCOMPARE(looks(merged->toBytes()),
                 (QStringList{u"A three /C null /F null"_s, u"B one /C [ 0.8 0 0.2 ] /F 3"_s,
                              u"B two /C [ 0.8 0 0.2 ] /F 3"_s}));
        QVERIFY(merged->info().title.isEmpty());
    }

    void mergeCancels()
    {
        auto doc = PDFDocument::fromBytes(textPDF(2), u"a.pdf"_s);
        int asked = 0;
        QCOMPARE(errorOf([&] {
                     PDFOps::merge({doc, doc}, {}, [&] { return ++asked > 1; });
                 }),
                 u"cancelled"_s);
        QCOMPARE(asked, 2); // before each document
    }

    void assembleTurnsPages_data()
    {
        QTest::addColumn<int>("own");
        QTest::addColumn<int>("extra");
        QTest::addColumn<int>("result");
        QTest::newRow("270 + 180") << 270 << 180 << 90;
        QTest::newRow("0 - 90") << 0 << -90 << 270;
        QTest::newRow("90 + 270") << 90 << 270 << 0;
        QTest::newRow("0 + 0") << 0 << 0 << 0;
        QTest::newRow("180 - 540") << 180 << -540 << 0;
    }
    void assembleTurnsPages()
    {
        QFETCH(int, own);
        QFETCH(int, extra);
        QFETCH(int, result);
        DocSpec layout = numberedPages(2);
        layout.pages[0].rotate = own;
        layout.info.title = u"Kept"_s;
        auto source = PDFDocument::fromBytes(makePDF(layout), u"r.pdf"_s);
        auto assembled = reopened(
            PDFOps::assemble({{source, 0, extra}, {source, 0, 0}, {source, 1, 90}}, source));
        QCOMPARE(assembled->pageCount(), 3);
        QCOMPARE(assembled->page(0)->rotation, result);
        QCOMPARE(assembled->page(1)->rotation, own);
        QCOMPARE(assembled->page(2)->rotation, 90);
        QCOMPARE(source->page(0)->rotation, own);
        QCOMPARE(assembled->info().title, u"Kept"_s);
        QVERIFY(assembled->outline().isEmpty());
        auto untitled = reopened(PDFOps::assemble({{source, 1, 0}}));
        QVERIFY(untitled->info().title.isEmpty());
    }

    void chunks_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("every");
        QTest::addColumn<QList<QList<int>>>("runs");
        QTest::newRow("none") << 0 << 3 << QList<QList<int>>{};
        QTest::newRow("zero size") << 5 << 0 << QList<QList<int>>{};
        QTest::newRow("pairs") << 5 << 2 << QList<QList<int>>{{0, 1}, {2, 3}, {4}};
        QTest::newRow("all in one") << 4 << 9 << QList<QList<int>>{{0, 1, 2, 3}};
    }
    void chunks()
    {
        QFETCH(int, count);
        QFETCH(int, every);
        QFETCH(QList<QList<int>>, runs);
        QCOMPARE(PDFOps::chunks(count, every), runs);
    }

    void copyInfoOnlyWhenThereIsSome()
    {
        DocSpec titled = numberedPages(1);
        titled.info.title = u"Mine"_s;
        auto target = PDFDocument::fromBytes(makePDF(titled), u"t.pdf"_s);
        auto bare = PDFDocument::fromBytes(textPDF(1), u"b.pdf"_s);
        PDFOps::copyInfo(*bare, *target);
        QCOMPARE(target->info().title, u"Mine"_s);
        DocSpec other = numberedPages(1);
        other.info.subject = u"Theirs"_s;
        PDFOps::copyInfo(*PDFDocument::fromBytes(makePDF(other), u"o.pdf"_s), *target);
        QCOMPARE(target->info().title, QString());
        QCOMPARE(target->info().subject, u"Theirs"_s);
    }

    // A page whose resources lead back to the page tree is copied with
    // them mended, alone (split) and twice over (merge).
    void resourcesLeadingBackAreMended_data()
    {
        QTest::addColumn<ResourceLoop>("loop");
        QTest::newRow("the parent /Pages") << ResourceLoop::Parent;
        QTest::newRow("the page") << ResourceLoop::Page;
        QTest::newRow("the catalog") << ResourceLoop::Catalog;
        QTest::newRow("not a dictionary") << ResourceLoop::NotADictionary;
        QTest::newRow("an XObject") << ResourceLoop::XObject;
    }
    void resourcesLeadingBackAreMended()
    {
        QFETCH(ResourceLoop, loop);
        const auto doc = PDFDocument::fromBytes(loopingResourcesPDF(loop), u"loop.pdf"_s);
        QVERIFY(doc);
        QTemporaryDir dir;
        const QString part = dir.filePath(u"part.pdf"_s);
        const QString merged = dir.filePath(u"merged.pdf"_s);
        PDFOps::split(
            doc, {{0}}, [&](int, const PDFDocument &made) { return made.writePending(part); },
            [&](int, SafeWrite::Pending &&file) { file.commit(part); });
        PDFOps::merge({doc, doc})->write(merged);
        for (const auto &[path, pages] : {std::pair(part, 1), std::pair(merged, 2)}) {
            QVERIFY(qpdfCheck(path));
            QCOMPARE(PDFDocument::open(path)->pageCount(), pages);
            QVERIFY(resourcesStayOutOfStructure(path));
        }
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestCopy)
#include "tst_copy.moc"
