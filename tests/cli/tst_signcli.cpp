#include "signing/SignatureStore.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QPainter>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

namespace {

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
// them. Its refusals are in tst_info's usage table; placement and
// flattening rules are tst_signmodel's and tst_flatten's.
class TestSignCli : public QObject {
    Q_OBJECT
    QTemporaryDir m_data; // XDG_DATA_HOME, holding one saved signature

    // `arguments` split at spaces, a word that names one of `files` replaced by its path.
    ProcessResult sign(const QString &arguments, const QMap<QString, QString> &files)
    {
        QStringList list{u"sign"_s};
        for (const QString &word : arguments.split(u' '))
            list.append(files.value(word, word));
        return runCli(list, {{u"XDG_DATA_HOME"_s, m_data.path()}});
    }

private Q_SLOTS:
    void initTestCase()
    {
        QImage ink(300, 100, QImage::Format_ARGB32_Premultiplied);
        ink.fill(Qt::transparent);
        QPainter(&ink).fillRect(20, 30, 260, 40, Qt::black);
        QVERIFY(SignatureStore(m_data.filePath(u"Quirebook/Signatures"_s)).save(ink));
    }

    // A photo in blue, a text and the date where asked on an upright page and
    // a page turned a quarter, and initials on every page.
    void signsPagesAsSeen()
    {
        QTemporaryDir dir;
        DocSpec layout = numberedPages(2, u"Doc"_s);
        layout.pages[1].rotate = 90; // seen 792 × 612
        const QString source = writeFile(dir.filePath(u"Doc.pdf"_s), makePDF(layout));
        const QString photo =
            writeFile(dir.filePath(u"ink.png"_s), encode(signaturePhoto(), "PNG"));

        const auto result = sign(u"DOC --signature-photo INK --ink blue --page 2 --at 100,300 "
                                 "--text Approved --width 120 --at top-right --date --page 2 "
                                 "--at bottom-left --width 100 --signature 1 --page 1- "
                                 "--at 480,40 --width 90"_s,
                                 {{u"DOC"_s, source}, {u"INK"_s, photo}});
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QString signedPath = dir.filePath(u"Doc signed.pdf"_s);
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
    }
};

QTEST_GUILESS_MAIN(TestSignCli)
#include "tst_signcli.moc"
