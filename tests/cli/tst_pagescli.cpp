#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

// What pages' options mean: page numbers across FILE and the --append PDFs,
// order, delete and rotate together. Its refusals are in tst_info's usage
// table; the model's own rules (undo, selection, what a save keeps) are
// tst_pages'.
class TestPagesCli : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // Numbers are the pages as they came in (Doc 1-5, then More 1-2 as 6-7),
    // whatever is applied first; turns add to a page's own rotation.
    void ordersDeletesTurnsAndAppends()
    {
        QTemporaryDir dir;
        DocSpec layout = numberedPages(5, u"Doc"_s);
        layout.pages[1].rotate = 90;
        const QString source = writeFile(dir.filePath(u"Doc.pdf"_s), makePDF(layout));
        const QString more = writeFile(dir.filePath(u"More.pdf"_s), textPDF(2, u"More"_s));

        const auto result =
            runCli({u"pages"_s, source, u"--append"_s, more, u"--order"_s, u"7, 5, 4, 3, 2, 1, 6"_s,
                    u"--delete"_s, u"3"_s, u"--rotate"_s, u"90:2,7"_s, u"--rotate"_s, u"-90:5"_s,
                    u"--rotate"_s, u"180:1,3"_s});
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QString edited = dir.filePath(u"Doc edited.pdf"_s);
        QCOMPARE(result.out, edited + u'\n');
        QVERIFY2(result.err.startsWith(u"Saved 6 pages"_s), qPrintable(result.err));

        const QByteArray pdf = readFile(edited);
        // Word by word: poppler's whole-page text comes out empty on a turned page.
        QStringList texts;
        for (int page = 0; page < popplerPageCount(edited); ++page) {
            QStringList line;
            for (const auto &word : popplerWords(pdf, page + 1))
                line.append(word.text);
            texts.append(line.join(u' '));
        }
        QCOMPARE(texts, (QStringList{u"More 2"_s, u"Doc 5"_s, u"Doc 4"_s, u"Doc 2"_s, u"Doc 1"_s,
                                     u"More 1"_s}));
        const QList<int> rotations{90, 270, 0, 180, 180, 0};
        for (int page = 0; page < rotations.size(); ++page)
            QCOMPARE(popplerPage(pdf, page + 1).rotation, rotations[page]);

        // --delete may name pages --order already left out.
        const QString shortened = dir.filePath(u"Short.pdf"_s);
        QCOMPARE(runCli({u"pages"_s, source, u"--order"_s, u"1-3"_s, u"--delete"_s, u"2-5"_s,
                         u"-o"_s, shortened})
                     .exitCode,
                 0);
        QCOMPARE(popplerPageTexts(readFile(shortened)), QStringList{u"Doc 1"_s});
    }
};

QTEST_GUILESS_MAIN(TestPagesCli)
#include "tst_pagescli.moc"
