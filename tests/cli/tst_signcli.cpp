#include "signing/SignatureStore.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/PopplerCheck.h"

#include <QDir>
#include <QPainter>
#include <QPainterPath>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {

// A photo of a signature: grey paper with a dark curve.
QImage signaturePhoto()
{
    QImage photo(600, 300, QImage::Format_RGB32);
    photo.fill(QColor(188, 186, 180));
    QPainter painter(&photo);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(30, 30, 40), 9));
    QPainterPath curve({40, 250});
    curve.cubicTo(200, 0, 380, 300, 560, 50);
    painter.drawPath(curve);
    return photo;
}

// Ink pixels in `rect` (points from the lower left of the page as seen) of
// a page rendered at 144 dpi: dark ones, or blue ones.
int inkIn(const QImage &page, const QRectF &rect, bool blue = false)
{
    const QRect box = QTransform(2, 0, 0, -2, 0, page.height())
                          .mapRect(rect)
                          .toAlignedRect()
                          .intersected(page.rect());
    int count = 0;
    for (int y = box.top(); y <= box.bottom(); ++y)
        for (int x = box.left(); x <= box.right(); ++x) {
            const QColor c = page.pixelColor(x, y);
            count += blue ? c.blue() > c.red() + 60 : qGray(c.rgb()) < 100;
        }
    return count;
}

} // namespace

// What sign's arguments mean: stamps in order with the options that follow
// them, refusals before anything is written. Placement and flattening rules
// are tst_signmodel's and tst_flatten's.
class TestSignCli : public QObject {
    Q_OBJECT
    QTemporaryDir m_data; // XDG_DATA_HOME, holding one saved signature

    // `arguments` split at spaces, a word that names one of `files` replaced by its path.
    ProcessResult sign(const QString &arguments, const QMap<QString, QString> &files)
    {
        QStringList list{QStringLiteral("sign")};
        for (const QString &word : arguments.split(u' '))
            list.append(files.value(word, word));
        return runCli(list, {{QStringLiteral("XDG_DATA_HOME"), m_data.path()}});
    }

private Q_SLOTS:
    void initTestCase()
    {
        QImage ink(300, 100, QImage::Format_ARGB32_Premultiplied);
        ink.fill(Qt::transparent);
        QPainter(&ink).fillRect(20, 30, 260, 40, Qt::black);
        QVERIFY(SignatureStore(m_data.filePath(QStringLiteral("Quirebook/Signatures"))).save(ink));
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("arguments"); // DOC: two pages, PNG: a photo, GREY: no ink
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::newRow("no stamp") << "DOC" << 2
                                  << "Say what to place with --signature, --picture, "
                                     "--signature-photo, --text or --date. Try “quirebook-cli "
                                     "sign --help”.";
        QTest::newRow("option before any stamp")
            << "DOC --page 2 --date" << 2
            << "--page goes after the stamp it applies to, like --text Approved --page 2.";
        QTest::newRow("page out of range")
            << "DOC --date --page 1,3" << 2 << "Page 3 doesn't exist; this PDF has 2 pages.";
        QTest::newRow("width zero") << "DOC --date --width 0" << 2
                                    << "“0” isn't a width. Give it in points, a number above 0, "
                                       "like 150.";
        QTest::newRow("place without y")
            << "DOC --date --at 100" << 2
            << "“100” isn't a place on the page. Use X,Y in points from the lower left of the "
               "page, like 360,60, or bottom-left, bottom-right, top-left, top-right or center.";
        QTest::newRow("unknown ink") << "DOC --signature-photo PNG --ink red" << 2
                                     << "“red” isn't an ink. Use black or blue.";
        QTest::newRow("no such signature")
            << "DOC --signature 2" << 2
            << "There's no saved signature “2”; the only one is number 1.";
        QTest::newRow("not a picture")
            << "DOC --picture DOC" << 1 << "“Doc.pdf” couldn't be read as a picture.";
        QTest::newRow("no ink") << "DOC --signature-photo GREY" << 1
                                << "Couldn't find any ink in that picture.";
        QTest::newRow("picture as the file")
            << "PNG --date" << 1 << "“Photo.png” is a picture; sign works on PDFs.";
    }
    void refusals()
    {
        QFETCH(QString, arguments);
        QFETCH(int, status);
        QFETCH(QString, message);
        QTemporaryDir dir;
        QImage grey(400, 300, QImage::Format_RGB32);
        grey.fill(QColor(188, 186, 180));
        const QMap<QString, QString> files{
            {QStringLiteral("DOC"), writeFile(dir.filePath(QStringLiteral("Doc.pdf")), textPDF(2))},
            {QStringLiteral("PNG"),
             writeFile(dir.filePath(QStringLiteral("Photo.png")), encode(signaturePhoto(), "PNG"))},
            {QStringLiteral("GREY"),
             writeFile(dir.filePath(QStringLiteral("Grey.png")), encode(grey, "PNG"))}};
        const auto result = sign(arguments, files);
        QCOMPARE(result.exitCode, status);
        QCOMPARE(result.out, QString());
        QCOMPARE(result.err, QStringLiteral("quirebook-cli: ") + message + u'\n');
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 3);
    }

    // A photo in blue, a text and the date where asked on an upright page and
    // a page turned a quarter, and initials on every page.
    void signsPagesAsSeen()
    {
        QTemporaryDir dir;
        DocSpec layout = numberedPages(2, QStringLiteral("Doc"));
        layout.pages[1].rotate = 90; // seen 792 × 612
        const QString source = writeFile(dir.filePath(QStringLiteral("Doc.pdf")), makePDF(layout));
        const QString photo =
            writeFile(dir.filePath(QStringLiteral("ink.png")), encode(signaturePhoto(), "PNG"));
        const QByteArray before = readFile(source);

        const auto result =
            sign(QStringLiteral("DOC --signature-photo INK --ink blue --page 2 --at 100,300 "
                                "--text Approved --width 120 --at top-right --date --page 2 "
                                "--at bottom-left --width 100 --signature 1 --page 1- "
                                "--at 480,40 --width 90"),
                 {{QStringLiteral("DOC"), source}, {QStringLiteral("INK"), photo}});
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QString signedPath = dir.filePath(QStringLiteral("Doc signed.pdf"));
        QCOMPARE(result.out, signedPath + u'\n');

        const QByteArray pdf = readFile(signedPath);
        const QImage upright = popplerRender(pdf, 1, 144);
        const QImage turned = popplerRender(pdf, 2, 144);
        QCOMPARE(turned.size(), QSize(1584, 1224));
        QVERIFY(inkIn(upright, {612 - 36 - 120, 792 - 36 - 25, 120, 25}) > 100); // text
        QVERIFY(inkIn(turned, {100, 300, 150, 30}, true) > 100);                 // photo
        QVERIFY(inkIn(turned, {36, 36, 100, 20}) > 100);                         // date
        for (const QImage &page : {upright, turned})
            QVERIFY(inkIn(page, {480, 40, 90, 30}) > 1000); // initials
        // Nothing lands where the other page's stamps are.
        QCOMPARE(inkIn(upright, {100, 300, 150, 30}, true), 0);
        QCOMPARE(inkIn(turned, {792 - 36 - 120, 612 - 36 - 25, 120, 25}), 0);

        for (int page = 0; page < 2; ++page) {
            QStringList words;
            for (const auto &word : PopplerCheck::words(signedPath, page))
                words.append(word.text);
            QCOMPARE(words, (QStringList{QStringLiteral("Doc"), QString::number(page + 1)}));
        }
        QString check;
        QVERIFY2(qpdfCheck(signedPath, &check), qPrintable(check));
        QCOMPARE(readFile(source), before);
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestSignCli)
#include "tst_signcli.moc"
