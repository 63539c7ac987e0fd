#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/PopplerCheck.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

// What pages' options mean: page numbers across FILE and the --append PDFs,
// order, delete and rotate together, refusals before anything is written.
// The model's own rules (undo, selection, what a save keeps) are tst_pages'.
class TestPagesCli : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void refusals_data()
    {
        QTest::addColumn<QString>("arguments"); // DOC: four pages, MORE: two, PNG: a picture
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::newRow("nothing asked")
            << "DOC" << 2
            << "Say what to change with --order, --delete, --rotate or --append. "
               "Try “quirebook-cli pages --help”.";
        QTest::newRow("two files")
            << "--delete 1 DOC MORE" << 2 << "Name one PDF. Try “quirebook-cli pages --help”.";
        QTest::newRow("page past FILE and MORE")
            << "--append MORE --order 7 DOC" << 2 << "Page 7 doesn't exist; this PDF has 6 pages.";
        QTest::newRow("not a range")
            << "--delete x DOC" << 2 << "“x” isn't a page or a range. Use numbers like 3 or 2-5.";
        QTest::newRow("rotate range")
            << "--rotate 90:5 DOC" << 2 << "Page 5 doesn't exist; this PDF has 4 pages.";
        QTest::newRow("rotate 45") << "--rotate 45:1 DOC" << 2
                                   << "Pages turn in quarter turns: 45 isn't a multiple of 90.";
        QTest::newRow("rotate without pages")
            << "--rotate 90 DOC" << 2
            << "“90” isn't a turn. Use DEGREES:PAGES, like 90:1-3 or -90:5.";
        QTest::newRow("rotate no number")
            << "--rotate right:1 DOC" << 2
            << "“right:1” isn't a turn. Use DEGREES:PAGES, like 90:1-3 or -90:5.";
        QTest::newRow("named twice")
            << "--order 3-4,1-3 DOC" << 2
            << "Page 3 is named twice in --order; each page can be there once.";
        QTest::newRow("delete all")
            << "--delete 4,1-3 DOC" << 2 << "That would leave no pages. Keep at least one.";
        QTest::newRow("order and delete leave none")
            << "--order 2-3 --delete 2-4 DOC" << 2
            << "That would leave no pages. Keep at least one.";
        QTest::newRow("picture") << "--delete 1 PNG" << 1
                                 << "“Photo.png” is a picture; pages works on PDFs.";
        QTest::newRow("picture appended")
            << "--append PNG DOC" << 1 << "“Photo.png” is a picture; pages works on PDFs.";
    }
    void refusals()
    {
        QFETCH(QString, arguments);
        QFETCH(int, status);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const QStringList files{
            writeFile(dir.filePath(QStringLiteral("Doc.pdf")), textPDF(4)),
            writeFile(dir.filePath(QStringLiteral("More.pdf")), textPDF(2)),
            writeFile(dir.filePath(QStringLiteral("Photo.png")), encode(marker(64, 48), "PNG"))};
        QStringList list{QStringLiteral("pages")};
        list += arguments.split(u' ');
        list.replaceInStrings(QRegularExpression(QStringLiteral("^DOC$")), files[0]);
        list.replaceInStrings(QRegularExpression(QStringLiteral("^MORE$")), files[1]);
        list.replaceInStrings(QRegularExpression(QStringLiteral("^PNG$")), files[2]);
        const auto result = runCli(list);
        QCOMPARE(result.exitCode, status);
        QCOMPARE(result.out, QString());
        QCOMPARE(result.err, QStringLiteral("quirebook-cli: ") + message + u'\n');
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name),
                 (QStringList{QStringLiteral("Doc.pdf"), QStringLiteral("More.pdf"),
                              QStringLiteral("Photo.png")}));
    }

    // Numbers are the pages as they came in (Doc 1-5, then More 1-2 as 6-7),
    // whatever is applied first; turns add to a page's own rotation.
    void ordersDeletesTurnsAndAppends()
    {
        QTemporaryDir dir;
        DocSpec layout = numberedPages(5, QStringLiteral("Doc"));
        layout.pages[1].rotate = 90;
        layout.info.title = QStringLiteral("Ledger — 2026");
        const QString source = writeFile(dir.filePath(QStringLiteral("Doc.pdf")), makePDF(layout));
        const QString more =
            writeFile(dir.filePath(QStringLiteral("More.pdf")), textPDF(2, QStringLiteral("More")));
        const QByteArray before = readFile(source);

        const auto result =
            runCli({QStringLiteral("pages"), source, QStringLiteral("--append"), more,
                    QStringLiteral("--order"), QStringLiteral("7, 5, 4, 3, 2, 1, 6"),
                    QStringLiteral("--delete"), QStringLiteral("3"), QStringLiteral("--rotate"),
                    QStringLiteral("90:2,7"), QStringLiteral("--rotate"), QStringLiteral("-90:5"),
                    QStringLiteral("--rotate"), QStringLiteral("180:1,3")});
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QString edited = dir.filePath(QStringLiteral("Doc edited.pdf"));
        QCOMPARE(result.out, edited + u'\n');
        QVERIFY2(result.err.startsWith(QStringLiteral("Saved 6 pages")), qPrintable(result.err));

        const QByteArray pdf = readFile(edited);
        // Word by word: poppler's whole-page text comes out empty on a turned page.
        QStringList texts;
        for (int page = 0; page < popplerPageCount(edited); ++page) {
            QStringList line;
            for (const auto &word : PopplerCheck::words(edited, page))
                line.append(word.text);
            texts.append(line.join(u' '));
        }
        QCOMPARE(texts, (QStringList{QStringLiteral("More 2"), QStringLiteral("Doc 5"),
                                     QStringLiteral("Doc 4"), QStringLiteral("Doc 2"),
                                     QStringLiteral("Doc 1"), QStringLiteral("More 1")}));
        const QList<int> rotations{90, 270, 0, 180, 180, 0};
        for (int page = 0; page < rotations.size(); ++page)
            QCOMPARE(popplerPage(pdf, page + 1).rotation, rotations[page]);
        QCOMPARE(PopplerCheck::title(edited), QStringLiteral("Ledger — 2026"));
        QString check;
        QVERIFY2(qpdfCheck(edited, &check), qPrintable(check));
        QCOMPARE(readFile(source), before);
        QCOMPARE(temporaryFiles(dir.path()), QStringList());

        // --delete may name pages --order already left out.
        const QString shortened = dir.filePath(QStringLiteral("Short.pdf"));
        QCOMPARE(runCli({QStringLiteral("pages"), source, QStringLiteral("--order"),
                         QStringLiteral("1-3"), QStringLiteral("--delete"), QStringLiteral("2-5"),
                         QStringLiteral("-o"), shortened})
                     .exitCode,
                 0);
        QCOMPARE(popplerPageTexts(readFile(shortened)), QStringList{QStringLiteral("Doc 1")});
    }
};

QTEST_GUILESS_MAIN(TestPagesCli)
#include "tst_pagescli.moc"
