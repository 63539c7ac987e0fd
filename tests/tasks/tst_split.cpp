#include "core/Job.h"
#include "core/Output.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ProtectChecks.h"
#include "support/TaskFixtures.h"
#include "tasks/Split.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

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
    const QString out = path + u".plain"_s;
    runProgram(u"qpdf"_s,
               {u"--object-streams=disable"_s, u"--stream-data=uncompress"_s, path, out});
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
        layout.info.title = u"Quarterly"_s;
        layout.outline = {{u"Intro"_s, 0, {}}, {u"Middle"_s, 5, {}}, {u"End"_s, 9, {}}};
        return opened(writeFile(folder + u"/Report.pdf"_s, makePDF(layout)));
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
                                 << u"This will make 3 files: 1–4, 5–8, 9–10"_s;
        QTest::newRow("every 10") << Split::Mode::Every << QString() << 10
                                  << Groups{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}}
                                  << u"This will make 1 file: 1–10"_s;
        QTest::newRow("each") << Split::Mode::Each << QString() << 5
                              << Groups{{0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}, {8}, {9}}
                              << u"This will make 10 files: 1, 2, 3, 4, 5, 6, …"_s;
        QTest::newRow("ranges") << Split::Mode::Ranges << u"1-3, 5, 8-"_s << 5
                                << Groups{{0, 1, 2}, {4}, {7, 8, 9}}
                                << u"This will make 3 files: 1–3, 5, 8–10"_s;
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

    void writesTheParts()
    {
        QTemporaryDir dir;
        const PDFFile file = report(dir.path());
        const QString folder = Output::newFolder(file, u"split"_s);
        QList<int> reports;
        // The same pages twice: the second part is numbered, not put over the first.
        const Outcome outcome = Split::run(file, {{0, 1, 2}, {4}, {7, 8, 9}, {9, 0}, {7, 8, 9}},
                                           folder, [&](int done, int) { reports << done; }, {});
        QCOMPARE(outcome,
                 (Outcome{u"Made 5 files"_s, u"In the folder “Report split”."_s, {folder}}));
        QCOMPARE(reports, (QList<int>{1, 2, 3, 4, 5}));
        QCOMPARE(entries(folder),
                 (QStringList{"Report page 5.pdf", "Report pages 1-3.pdf", "Report pages 10-1.pdf",
                              "Report pages 8-10 2.pdf", "Report pages 8-10.pdf"}));
        const auto texts = [&](const QString &name) {
            return popplerPageTexts(readFile(folder + u'/' + name));
        };
        QCOMPARE(texts(u"Report pages 1-3.pdf"_s), (QStringList{"Page 1", "Page 2", "Page 3"}));
        QCOMPARE(texts(u"Report pages 10-1.pdf"_s), (QStringList{"Page 10", "Page 1"}));
        const QString last = folder + u"/Report pages 8-10.pdf"_s;
        QCOMPARE(popplerOutline(readFile(last)), QStringList{u"End|3|closed"_s});
        QCOMPARE(ProtectChecks::poppler(last).title, u"Quarterly"_s);
    }

    // Pages sharing one resource dictionary: each part keeps only its font.
    void aPartCarriesOnlyWhatItDraws()
    {
        QTemporaryDir dir;
        const PDFFile file = opened(writeFile(dir.filePath(u"fonts.pdf"_s), sharedResourcesPDF()));
        const QString folder = Output::newFolder(file, u"split"_s);
        Split::run(file, {{0}, {1}}, folder, {}, {});
        const QByteArray first = uncompressed(folder + u"/fonts page 1.pdf"_s);
        const QByteArray second = uncompressed(folder + u"/fonts page 2.pdf"_s);
        QVERIFY(first.contains("/Helvetica") && !first.contains("/Courier"));
        QVERIFY(second.contains("/Courier") && !second.contains("/Helvetica"));
    }

    void cancelKeepsCompletePartsOnly()
    {
        QTemporaryDir dir;
        const PDFFile file = report(dir.path());
        const QString folder = Output::newFolder(file, u"split"_s);
        // Stopped once three parts are in place; parts made ahead on other
        // cores are never put in place.
        bool stop = false;
        QVERIFY_THROWS_EXCEPTION(PDFError, Split::run(
                                               file, PDFOps::chunks(10, 1), folder,
                                               [&](int done, int) { stop = done >= 3; },
                                               [&] { return stop; }));
        QCOMPARE(entries(folder),
                 (QStringList{"Report page 1.pdf", "Report page 2.pdf", "Report page 3.pdf"}));

        // Cancelled before any part: no empty folder is left behind.
        const QString empty = Output::newFolder(file, u"split"_s);
        QVERIFY_THROWS_EXCEPTION(PDFError, Split::run(file, {{0}}, empty, {}, [] { return true; }));
        QVERIFY(!QFileInfo::exists(empty));
    }

    void failures_data()
    {
        QTest::addColumn<bool>("sourceGone"); // else the folder
        QTest::addColumn<QString>("message");
        QTest::newRow("deleted") << true << u"“Report.pdf” couldn't be read as a PDF."_s;
        QTest::newRow("folder gone")
            << false << u"Couldn't write Report page 1.pdf. Nothing was saved."_s;
    }
    void failures()
    {
        QFETCH(bool, sourceGone);
        QTemporaryDir dir;
        const PDFFile file = report(dir.path());
        const QString folder = Output::newFolder(file, u"split"_s);
        if (sourceGone)
            QFile::remove(file.path);
        else
            QDir(folder).removeRecursively();
        QTEST(Attempt::errorOf([&] { Split::run(file, {{0}, {1}}, folder, {}, {}); }), "message");
        QVERIFY(!QFileInfo::exists(folder)); // nothing made, nothing left
    }
};

QTEST_GUILESS_MAIN(TestSplit)
#include "tst_split.moc"
