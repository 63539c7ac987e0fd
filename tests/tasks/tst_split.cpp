#include "core/Job.h"
#include "core/Output.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "support/Fixtures.h"
#include "support/PopplerCheck.h"
#include "tasks/Split.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using Groups = PageRanges::Groups;
Q_DECLARE_METATYPE(Split::Mode)

namespace {
QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

// A file's bytes as qpdf writes them out uncompressed.
QByteArray uncompressed(const QString &path)
{
    const QString out = path + QStringLiteral(".plain");
    runProgram(QStringLiteral("qpdf"), {QStringLiteral("--object-streams=disable"),
                                        QStringLiteral("--stream-data=uncompress"), path, out});
    const QByteArray bytes = readFile(out);
    QFile::remove(out);
    return bytes;
}
} // namespace

class TestSplit : public QObject {
    Q_OBJECT

    // "Report.pdf": ten pages titled "Quarterly", bookmarks on pages 1, 6 and 10.
    PDFFile report(const QString &folder)
    {
        DocSpec layout = numberedPages(10);
        layout.info.title = QStringLiteral("Quarterly");
        layout.outline = {{QStringLiteral("Intro"), 0, {}},
                          {QStringLiteral("Middle"), 5, {}},
                          {QStringLiteral("End"), 9, {}}};
        Workspace ws;
        ws.add({writeFile(folder + QStringLiteral("/Report.pdf"), makePDF(layout))});
        return ws.files().first();
    }

private Q_SLOTS:
    void groups_data()
    {
        QTest::addColumn<Split::Mode>("mode");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("every");
        QTest::addColumn<Groups>("expected");
        QTest::addColumn<QString>("preview");
        QTest::newRow("every 4") << Split::Mode::Every << QString() << 4
                                 << Groups{{0, 1, 2, 3}, {4, 5, 6, 7}, {8, 9}}
                                 << QStringLiteral("This will make 3 files: 1–4, 5–8, 9–10");
        QTest::newRow("every 10") << Split::Mode::Every << QString() << 10
                                  << Groups{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}}
                                  << QStringLiteral("This will make 1 file: 1–10");
        QTest::newRow("each") << Split::Mode::Each << QString() << 5
                              << Groups{{0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}, {8}, {9}}
                              << QStringLiteral("This will make 10 files: 1, 2, 3, 4, 5, 6, …");
        QTest::newRow("ranges") << Split::Mode::Ranges << QStringLiteral("1-3, 5, 8-") << 5
                                << Groups{{0, 1, 2}, {4}, {7, 8, 9}}
                                << QStringLiteral("This will make 3 files: 1–3, 5, 8–10");
    }
    void groups()
    {
        QFETCH(Split::Mode, mode);
        QFETCH(QString, text);
        QFETCH(int, every);
        QFETCH(Groups, expected);
        const auto result = Split::Request{mode, text, every}.groups(10);
        QVERIFY(std::holds_alternative<Groups>(result));
        QCOMPARE(std::get<Groups>(result), expected);
        QTEST(Split::preview(expected), "preview");
    }

    // The texts that depend on numbers; the parser's failure passes through.
    void texts()
    {
        const Split::Request beyond{Split::Mode::Ranges, QStringLiteral("1-20"), 5};
        QCOMPARE(beyond.groups(10), PageRanges::Result(std::get<PageRanges::Failure>(
                                        PageRanges::parse(QStringLiteral("1-20"), 10))));
        QCOMPARE(Split::everyLabel(1), QStringLiteral("Every 1 page"));
        QCOMPARE(Split::everyLabel(5), QStringLiteral("Every 5 pages"));
        QCOMPARE(
            Split::rangesHelp(10),
            QStringLiteral(
                "Each part separated by a comma becomes its own file. This PDF has 10 pages."));
        QCOMPARE(Split::partName(QStringLiteral("Report"), {3}), QStringLiteral("Report page 4"));
        QCOMPARE(Split::partName(QStringLiteral("Report"), {0, 1, 2}),
                 QStringLiteral("Report pages 1-3"));
    }

    void writesTheParts()
    {
        QTemporaryDir dir;
        const PDFFile file = report(dir.path());
        const QString folder = Output::newFolder(file, QStringLiteral("split"));
        QList<int> reports;
        const Outcome outcome = Split::run(file, {{0, 1, 2}, {4}, {7, 8, 9}, {9, 0}}, folder,
                                           [&](int done, int) { reports << done; }, {});
        QCOMPARE(outcome.title, QStringLiteral("Made 4 files"));
        QCOMPARE(outcome.detail, QStringLiteral("In the folder “Report split”."));
        QCOMPARE(outcome.urls, QStringList{folder});
        QCOMPARE(reports, (QList<int>{1, 2, 3, 4}));
        QCOMPARE(entries(folder), (QStringList{"Report page 5.pdf", "Report pages 1-3.pdf",
                                               "Report pages 10-1.pdf", "Report pages 8-10.pdf"}));
        const auto texts = [&](const QString &name) {
            return popplerPageTexts(readFile(folder + u'/' + name));
        };
        QCOMPARE(texts(QStringLiteral("Report pages 1-3.pdf")),
                 (QStringList{"Page 1", "Page 2", "Page 3"}));
        QCOMPARE(texts(QStringLiteral("Report pages 10-1.pdf")),
                 (QStringList{"Page 10", "Page 1"}));
        const QString last = folder + QStringLiteral("/Report pages 8-10.pdf");
        QCOMPARE(PopplerCheck::bookmarks(last), QStringList{QStringLiteral("End→3")});
        QCOMPARE(PopplerCheck::bookmarks(folder + QStringLiteral("/Report page 5.pdf")),
                 QStringList{});
        QCOMPARE(PopplerCheck::title(last), QStringLiteral("Quarterly"));
        QCOMPARE(runProgram(QStringLiteral("qpdf"), {QStringLiteral("--check"), last}).exitCode, 0);
    }

    // Pages sharing one resource dictionary: each part keeps only its font.
    void aPartCarriesOnlyWhatItDraws()
    {
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("fonts.pdf")), sharedResourcesPDF())});
        const QString folder = Output::newFolder(ws.files().first(), QStringLiteral("split"));
        Split::run(ws.files().first(), {{0}, {1}}, folder, {}, {});
        const QByteArray first = uncompressed(folder + QStringLiteral("/fonts page 1.pdf"));
        const QByteArray second = uncompressed(folder + QStringLiteral("/fonts page 2.pdf"));
        QVERIFY(first.contains("/Helvetica") && !first.contains("/Courier"));
        QVERIFY(second.contains("/Courier") && !second.contains("/Helvetica"));
    }

    void cancelKeepsCompletePartsOnly()
    {
        QTemporaryDir dir;
        const PDFFile file = report(dir.path());
        const QString folder = Output::newFolder(file, QStringLiteral("split"));
        int asked = 0;
        QVERIFY_THROWS_EXCEPTION(PDFError, Split::run(file, PDFOps::chunks(10, 1), folder, {},
                                                      [&] { return ++asked > 3; }));
        QCOMPARE(entries(folder),
                 (QStringList{"Report page 1.pdf", "Report page 2.pdf", "Report page 3.pdf"}));

        // Cancelled before any part: no empty folder is left behind.
        const QString empty = Output::newFolder(file, QStringLiteral("split"));
        QVERIFY_THROWS_EXCEPTION(PDFError, Split::run(file, {{0}}, empty, {}, [] { return true; }));
        QVERIFY(!QFileInfo::exists(empty));
    }

    void failures_data()
    {
        QTest::addColumn<bool>("sourceGone"); // else the folder
        QTest::addColumn<QString>("message");
        QTest::newRow("deleted") << true
                                 << QStringLiteral("“Report.pdf” couldn't be read as a PDF.");
        QTest::newRow("folder gone")
            << false << QStringLiteral("Couldn't write Report page 1.pdf. Nothing was saved.");
    }
    void failures()
    {
        QFETCH(bool, sourceGone);
        QTemporaryDir dir;
        const PDFFile file = report(dir.path());
        const QString folder = Output::newFolder(file, QStringLiteral("split"));
        if (sourceGone)
            QFile::remove(file.path);
        else
            QDir(folder).removeRecursively();
        try {
            Split::run(file, {{0}, {1}}, folder, {}, {});
            QFAIL("expected a failure");
        } catch (const PDFError &e) {
            QTEST(e.description(), "message");
        }
        QVERIFY(!QFileInfo::exists(folder)); // nothing made, nothing left
    }
};

QTEST_GUILESS_MAIN(TestSplit)
#include "tst_split.moc"
