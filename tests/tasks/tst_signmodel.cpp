#include "core/Workspace.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/TaskFixtures.h"
#include "tasks/Sign.h"
#include "tasks/SignModel.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Attempt::never;
using Attempt::noProgress;
using Fixtures::DocSpec;
using Fixtures::PageSpec;

class TestSignModel : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    std::unique_ptr<Workspace> m_ws;
    std::unique_ptr<SignModel> m_model;

    PDFFile file(const QString &name, const DocSpec &layout)
    {
        const QString path =
            Fixtures::writeFile(m_dir.filePath(name + u".pdf"_s), Fixtures::makePDF(layout));
        m_ws->add({path});
        for (const PDFFile &f : m_ws->files())
            if (f.path == path)
                return f;
        return {};
    }
    PDFFile contract() { return file(u"Contract"_s, Fixtures::numberedPages(3, "Contract")); }
    PDFFile onePage(QSizeF media, int rotate = 0, std::optional<QRectF> crop = std::nullopt)
    {
        const PageSpec page{.text = u"Hello"_s, .size = media, .rotate = rotate, .crop = crop};
        return file(u"One"_s, DocSpec{.pages = {page}, .outline = {}, .links = {}, .info = {}});
    }
    static QImage ink(int w, int h)
    {
        QImage image(w, h, QImage::Format_RGBA8888_Premultiplied);
        image.fill(QColor(20, 30, 120));
        return image;
    }

private Q_SLOTS:
    void init()
    {
        m_ws = std::make_unique<Workspace>();
        m_model = std::make_unique<SignModel>();
    }

    // The page as the reader sees it (crop box, rotation) and its preview,
    // 1100 pixels wide but never above 200 dpi.
    void preview_data()
    {
        QTest::addColumn<QSizeF>("media");
        QTest::addColumn<int>("rotate");
        QTest::addColumn<QSizeF>("seen");
        QTest::addColumn<QSize>("pixels");
        const QSizeF a4(595, 842);
        QTest::newRow("crop upright") << QSizeF(700, 900) << 0 << a4 << QSize(1100, 1557);
        QTest::newRow("crop 90") << QSizeF(700, 900) << 90 << a4.transposed() << QSize(1100, 777);
        QTest::newRow("crop -90") << QSizeF(700, 900) << -90 << a4.transposed() << QSize(1100, 777);
        QTest::newRow("crop 180") << QSizeF(700, 900) << 180 << a4 << QSize(1100, 1557);
        QTest::newRow("letter: 129.41 dpi")
            << QSizeF(612, 792) << 0 << QSizeF(612, 792) << QSize(1100, 1424);
        QTest::newRow("narrow: 200 dpi")
            << QSizeF(300, 400) << 0 << QSizeF(300, 400) << QSize(833, 1111);
    }
    void preview()
    {
        QFETCH(QSizeF, media);
        QFETCH(int, rotate);
        QFETCH(QSizeF, seen);
        QFETCH(QSize, pixels);
        const bool cropped = media.width() == 700;
        m_model->load(onePage(media, rotate,
                              cropped ? std::optional(QRectF(50, 30, 595, 842)) : std::nullopt));
        QCOMPARE(m_model->pageSize(), seen);
        if (cropped) // the engine already turns -90 into 270; the rule must too
            QCOMPARE(SignModel::seenSize(QSizeF(595, 842), rotate), seen);
        QVERIFY(m_model->pageImage());
        QCOMPARE(m_model->pageImage()->size(), pixels);
    }

    // A new stamp keeps its picture's proportions and sits in the middle.
    void add_data()
    {
        QTest::addColumn<QSize>("picture");
        QTest::newRow("wide") << QSize(600, 240);
        QTest::newRow("tall") << QSize(90, 270);
    }
    void add()
    {
        QFETCH(QSize, picture);
        m_model->load(onePage(QSizeF(100, 100)));
        const QUuid id = m_model->add(ink(picture.width(), picture.height()), 100);
        QCOMPARE(m_model->selected(), std::optional(id));
        const QRectF b = m_model->placements().constLast().bounds;
        QVERIFY(qAbs(b.height() / b.width() - double(picture.height()) / picture.width()) < 0.001);
        QVERIFY(qAbs(b.center().x() - 50) < 0.001);
        QVERIFY(qAbs(b.center().y() - 50) < 0.001);
    }

    void pageIndexIsClamped_data()
    {
        QTest::addColumn<int>("delta");
        QTest::addColumn<int>("shown");
        QTest::newRow("beyond the end") << 7 << 2;
        QTest::newRow("below the first") << -4 << 0;
    }
    void pageIndexIsClamped()
    {
        QFETCH(int, delta);
        QFETCH(int, shown);
        const PDFFile doc = contract();
        m_model->load(doc);
        m_model->showPage(doc, 1);
        m_model->add(ink(30, 10), 150);
        QSignalSpy changed(m_model.get(), &SignModel::changed);
        m_model->showPage(doc, delta);
        QCOMPARE(m_model->pageIndex(), shown);
        QCOMPARE(m_model->selected(), std::nullopt);
        QVERIFY(!changed.isEmpty());
        QCOMPARE(m_model->placements().size(), 1);
    }

    void placementsBelongToOneFile()
    {
        const PDFFile doc = contract();
        m_model->load(doc);
        m_model->showPage(doc, 2);
        m_model->add(ink(30, 10), 150);
        m_model->load(doc);
        QCOMPARE(m_model->placements().size(), 1);
        QCOMPARE(m_model->pageIndex(), 2);
        m_model->load(file(u"Other"_s, Fixtures::numberedPages(3)));
        QVERIFY(m_model->placements().isEmpty());
        QCOMPARE(m_model->pageIndex(), 0);
        QCOMPARE(m_model->selected(), std::nullopt);
    }

    void deleteTakesOnlyTheSelected()
    {
        const QUuid first = m_model->add(ink(30, 10), 150);
        m_model->add(ink(30, 10), 150);
        m_model->select(std::nullopt);
        QSignalSpy changed(m_model.get(), &SignModel::changed);
        m_model->deleteSelected();
        QCOMPARE(changed.size(), 0);
        QCOMPARE(m_model->placements().size(), 2);
        m_model->select(first);
        m_model->deleteSelected();
        QCOMPARE(m_model->placements().size(), 1);
        QVERIFY(m_model->placements().first().id != first);
        QCOMPARE(m_model->selected(), std::nullopt);
    }

    // Drags on a 612 × 792 page from a stamp at (100, 200, 150, 60).
    void drags_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QPointF>("translation");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QRectF>("expected");
        QTest::newRow("move at scale 2")
            << "move" << QPointF(40, 30) << 2.0 << QRectF(120, 185, 150, 60);
        QTest::newRow("shrink 1000 points")
            << "resize" << QPointF(-1000, 0) << 1.0 << QRectF(100, 252, 20, 8);
        QTest::newRow("grow far right")
            << "resize" << QPointF(5000, 0) << 1.0 << QRectF(100, 15.2, 612, 244.8);
        QTest::newRow("grow at scale 2, height ignored")
            << "resize" << QPointF(100, 300) << 2.0 << QRectF(100, 180, 200, 80);
        QTest::newRow("80% past the right edge")
            << "keep" << QPointF(482, 0) << 1.0 << QRectF(537, 200, 150, 60);
        QTest::newRow("below and left")
            << "keep" << QPointF(-500, 300) << 1.0 << QRectF(-75, -30, 150, 60);
    }
    void drags()
    {
        QFETCH(QString, rule);
        QFETCH(QPointF, translation);
        QFETCH(double, scale);
        QFETCH(QRectF, expected);
        const QRectF start(100, 200, 150, 60);
        const QSizeF page(612, 792);
        const QRectF result =
            rule == QLatin1String("move") ? SignModel::moved(start, translation, scale)
            : rule == QLatin1String("resize")
                ? SignModel::resized(start, translation, scale, page)
                : SignModel::keptOnPage(SignModel::moved(start, translation, scale), page);
        QCOMPARE(result, expected);
    }

    void signsACopy()
    {
        const PDFFile doc = contract();
        const QByteArray before = Fixtures::readFile(doc.path);
        m_model->load(doc);
        m_model->place(ink(600, 240), 0, QRectF(300, 300, 200, 80));
        const QString out = m_dir.filePath(u"Contract signed.pdf"_s);
        QCOMPARE(Sign::run(doc, {m_model->placements()}, out, noProgress, never),
                 (Outcome{u"Saved “Contract signed.pdf”"_s,
                          u"Signatures are part of the pages, so they show in every PDF viewer."_s,
                          {out}}));

        const QByteArray written = Fixtures::readFile(out);
        QCOMPARE(Fixtures::popplerPageTexts(written),
                 (QStringList{"Contract 1", "Contract 2", "Contract 3"}));
        // Rendered at 72 dpi, y down: the stamp covers x 300…500, y 412…492.
        for (int page = 1; page <= 3; ++page) {
            const QImage shown = Fixtures::popplerRender(written, page, 72);
            QCOMPARE(qGray(shown.pixel(400, 452)) < 100, page == 1);
            QCOMPARE(qGray(shown.pixel(303, 415)) < 100, page == 1);
            QVERIFY(qGray(shown.pixel(295, 452)) > 200);
            QVERIFY(qGray(shown.pixel(400, 497)) > 200);
        }
        QCOMPARE(Fixtures::readFile(doc.path), before);
        QCOMPARE(Fixtures::temporaryFiles(m_dir.path()), QStringList());
    }

    void refusals()
    {
        const PDFFile doc = contract();
        const QString out = m_dir.filePath(u"refused.pdf"_s);
        QCOMPARE(Attempt::errorOf([&] { Sign::run(doc, {}, out, noProgress, never); }),
                 u"Place a signature, some text or a picture first."_s);
        m_model->place(ink(30, 10), 0, QRectF(10, 10, 30, 10));
        QVERIFY(QFile::remove(doc.path));
        QCOMPARE(Attempt::errorOf(
                     [&] { Sign::run(doc, {m_model->placements()}, out, noProgress, never); }),
                 u"“Contract.pdf” couldn't be read as a PDF."_s);
        QVERIFY(!QFileInfo::exists(out));
    }

    // Day, month in full and year in the locale's order, without the weekday.
    void today_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("format");
        QTest::newRow("en_US") << "en_US"
                               << "MMMM d, yyyy";
        QTest::newRow("de_DE") << "de_DE"
                               << "d. MMMM yyyy";
    }
    void today()
    {
        QFETCH(QString, locale);
        QFETCH(QString, format);
        const QLocale previous;
        QLocale::setDefault(QLocale(locale));
        const QString shown = Sign::today();
        QLocale::setDefault(previous);
        QCOMPARE(shown, QLocale(locale).toString(QDate::currentDate(), format));
    }
};

QTEST_GUILESS_MAIN(TestSignModel)
#include "tst_signmodel.moc"
