// The Compress screen: the size, the three cards and which one is chosen,
// the note, when "Compress" can be pressed, and runs through the screen
// down to the smaller copy on disk and the words of the outcome.
#include "CompressModel.h"
#include "CompressScreen.h"
#include "EmptyDrop.h"
#include "Fixtures.h"
#include "Format.h"
#include "PDFError.h"
#include "PictureFixtures.h"
#include "Reveal.h"
#include "Symbols.h"
#include "Workspace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

Q_DECLARE_METATYPE(CompressionLevel)

namespace {
QWidget *panel(QWidget *screen)
{
    for (QWidget *p : screen->findChildren<QWidget *>(QStringLiteral("compressPanel")))
        if (!p->isHidden())
            return p;
    return nullptr;
}

QString labelText(QWidget *parent, const char *name)
{
    auto *label = parent ? parent->findChild<QLabel *>(QLatin1String(name)) : nullptr;
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

QPushButton *button(QWidget *screen, const char *name)
{
    QWidget *p = panel(screen);
    return p ? p->findChild<QPushButton *>(QLatin1String(name)) : nullptr;
}

QList<QWidget *> cards(QWidget *screen)
{
    return panel(screen)->findChildren<QWidget *>(QStringLiteral("compressLevel"));
}

// The levels of the cards drawn as chosen.
QList<int> chosen(QWidget *screen)
{
    QList<int> levels;
    for (QWidget *card : cards(screen))
        if (card->property("chosen").toBool())
            levels << card->property("level").toInt();
    return levels;
}

QWidget *card(QWidget *screen, CompressionLevel level)
{
    for (QWidget *c : cards(screen))
        if (c->property("level").toInt() == int(level))
            return c;
    return nullptr;
}

bool finish(CompressScreen &screen)
{
    return QTest::qWaitFor([&] { return !screen.model().job().isRunning(); }, 120000);
}
} // namespace

class TestCompressScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QByteArray m_photos;

private Q_SLOTS:
    void initTestCase()
    {
        Symbols::installTheme();
        m_photos = photoPDF(2, QSize(1600, 1200), 95);
    }

    void noFileShowsThePrompt()
    {
        Workspace ws;
        CompressScreen screen(ws);
        screen.show();
        QCOMPARE(labelText(&screen, "pageTitle"), QStringLiteral("Compress"));
        QCOMPARE(labelText(&screen, "pageSubtitle"), QStringLiteral("Make big PDFs small enough to email."));
        QVERIFY(screen.findChild<EmptyDrop *>());
        QVERIFY(!panel(&screen));
    }

    void screenForAFile()
    {
        const QString file = writeFile(m_dir.filePath(QStringLiteral("Shown.pdf")), m_photos);
        Workspace ws;
        ws.add({file});
        CompressScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QCOMPARE(labelText(panel(&screen), "compressSize"),
                 QStringLiteral("Current size: ") + Format::bytes(QFileInfo(file).size()));
        QStringList titles, descriptions;
        for (QWidget *c : cards(&screen)) {
            titles << labelText(c, "levelTitle");
            descriptions << labelText(c, "levelDescription");
        }
        QCOMPARE(titles, (QStringList{"Smallest", "Balanced", "High quality"}));
        QCOMPARE(descriptions, (QStringList{"Photos at screen quality. Best for emailing.",
                                            "Good for reading and sharing.",
                                            "Keeps photos sharp. Best for printing."}));
        // Side by side, smallest on the left.
        const auto shown = cards(&screen);
        QVERIFY(shown[0]->x() < shown[1]->x() && shown[1]->x() < shown[2]->x());
        QCOMPARE(shown[0]->y(), shown[2]->y());
        QCOMPARE(chosen(&screen), QList<int>{int(CompressionLevel::Balanced)});
        QCOMPARE(labelText(panel(&screen), "compressNote"),
                 QStringLiteral("Pictures are shrunk; text stays sharp and searchable. Links, bookmarks "
                                "and the title are kept. Your original is never changed."));
        QCOMPARE(button(&screen, "compressButton")->text(), QStringLiteral("Compress"));
        QVERIFY(button(&screen, "compressButton")->isEnabled());
        QVERIFY(!screen.findChild<QWidget *>(QStringLiteral("jobBar"))->isVisible());
    }

    void clickingACardChoosesIt_data()
    {
        QTest::addColumn<CompressionLevel>("level");
        QTest::newRow("smallest") << CompressionLevel::Small;
        QTest::newRow("balanced") << CompressionLevel::Balanced;
        QTest::newRow("high") << CompressionLevel::High;
    }
    void clickingACardChoosesIt()
    {
        QFETCH(CompressionLevel, level);
        Workspace ws;
        ws.add({writeFile(m_dir.filePath(QStringLiteral("A.pdf")), textPDF(2)),
                writeFile(m_dir.filePath(QStringLiteral("B.pdf")), textPDF(3))});
        ws.select(ws.files().first().id);
        CompressScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        // Start elsewhere so every row is a real change.
        QTest::mouseClick(card(&screen, level == CompressionLevel::High ? CompressionLevel::Small
                                                                         : CompressionLevel::High),
                          Qt::LeftButton);
        QTest::mouseClick(card(&screen, level), Qt::LeftButton);
        QCOMPARE(screen.model().level(), level);
        QCOMPARE(chosen(&screen), QList<int>{int(level)});
        // Another file keeps the level; the screen for it shows it chosen.
        ws.select(ws.files().last().id);
        QCOMPARE(screen.model().level(), level);
        QCOMPARE(chosen(&screen), QList<int>{int(level)});
        QCOMPARE(labelText(panel(&screen), "compressSize"),
                 QStringLiteral("Current size: ") + Format::bytes(ws.files().last().bytes));
        // The keyboard chooses too.
        QWidget *small = card(&screen, CompressionLevel::Small);
        QTest::keyClick(small, Qt::Key_Space);
        QCOMPARE(chosen(&screen), QList<int>{int(CompressionLevel::Small)});
    }

    void compressThroughTheScreen()
    {
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Photos.pdf")), m_photos);
        Workspace ws;
        ws.add({source});
        CompressScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QPushButton *compress = button(&screen, "compressButton");

        const QList<std::pair<CompressionLevel, QString>> runs{
            {CompressionLevel::Small, QStringLiteral("Photos compressed.pdf")},
            {CompressionLevel::High, QStringLiteral("Photos compressed 2.pdf")}};
        QList<qint64> sizes;
        for (const auto &[level, name] : runs) {
            QTest::mouseClick(card(&screen, level), Qt::LeftButton);
            QTest::mouseClick(compress, Qt::LeftButton);
            QVERIFY(!compress->isEnabled()); // while it runs
            QCOMPARE(labelText(panel(&screen), "jobText"), QStringLiteral("Compressing…"));
            QVERIFY(finish(screen));
            QVERIFY(compress->isEnabled());
            const QString result = dir.filePath(name);
            QVERIFY2(QFileInfo::exists(result), qPrintable(name));
            const qint64 before = QFileInfo(source).size(), after = QFileInfo(result).size();
            QVERIFY(after < before);
            const int percent = int(100 - (after * 100) / before);
            QString title = labelText(panel(&screen), "jobTitle");
            const QString expected = Format::bytes(before) + QStringLiteral(" → ") + Format::bytes(after) +
                                     QStringLiteral("  (");
            QVERIFY2(title.startsWith(expected), qPrintable(title));
            QVERIFY2(title.endsWith(QStringLiteral("% smaller)")), qPrintable(title));
            const int shownPercent = title.mid(expected.size()).section(u'%', 0, 0).toInt();
            QVERIFY2(std::abs(shownPercent - percent) <= 1, qPrintable(title));
            QCOMPARE(labelText(panel(&screen), "jobDetail"), name);
            QCOMPARE(popplerPageCount(result), 2);
            sizes << after;

            QStringList revealed;
            Reveal::setHandler([&revealed](const QStringList &p) { revealed = p; });
            QTest::mouseClick(button(&screen, "jobShow"), Qt::LeftButton);
            Reveal::setHandler({});
            QCOMPARE(revealed, QStringList{result});
        }
        // The chosen level reached the work: the smallest is smaller.
        QVERIFY2(sizes[0] < sizes[1], qPrintable(QStringLiteral("%1 vs %2").arg(sizes[0]).arg(sizes[1])));
        QCOMPARE(readFile(source), m_photos);
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }

    void alreadySmallStillMakesTheCopy()
    {
        // Our own output can't be made smaller again.
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Plain.pdf")), textPDF(3, QStringLiteral("Plain")));
        Workspace ws;
        ws.add({source});
        CompressScreen screen(ws);
        screen.show();
        QTest::mouseClick(button(&screen, "compressButton"), Qt::LeftButton);
        QVERIFY(finish(screen));
        const QString once = dir.filePath(QStringLiteral("Plain compressed.pdf"));
        QCOMPARE(labelText(panel(&screen), "jobDetail"), QStringLiteral("Plain compressed.pdf"));
        const QByteArray smaller = readFile(once);
        QVERIFY(!smaller.isEmpty());

        // Choosing the copy clears the outcome.
        ws.add({once});
        ws.select(ws.files().last().id);
        QCOMPARE(ws.current()->path, once);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(!panel(&screen)->findChild<QWidget *>(QStringLiteral("jobBar"))->isVisible());

        QTest::mouseClick(button(&screen, "compressButton"), Qt::LeftButton);
        QVERIFY(finish(screen));
        QCOMPARE(labelText(panel(&screen), "jobTitle"), QStringLiteral("Already as small as it gets"));
        QCOMPARE(labelText(panel(&screen), "jobDetail"),
                 QStringLiteral("Compressing wouldn't make “Plain compressed.pdf” smaller, so the copy "
                                "is unchanged (%1).")
                     .arg(Format::bytes(smaller.size())));
        QCOMPARE(readFile(dir.filePath(QStringLiteral("Plain compressed compressed.pdf"))), smaller);
        QCOMPARE(readFile(once), smaller);
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }

    void unwritableFolderAsksWhereToSave_data()
    {
        QTest::addColumn<bool>("answer");
        QTest::newRow("panel cancelled") << false;
        QTest::newRow("panel answered") << true;
    }
    void unwritableFolderAsksWhereToSave()
    {
        QFETCH(bool, answer);
        QTemporaryDir dir;
        const QString sub = dir.filePath(QStringLiteral("gone"));
        QVERIFY(QDir().mkdir(sub));
        const QString source = writeFile(sub + QStringLiteral("/Report.pdf"), textPDF(2));
        const QString destination = dir.filePath(QStringLiteral("Elsewhere.pdf"));
        Workspace ws;
        ScriptedDialogs dialogs;
        if (answer)
            dialogs.saveAnswers = {destination};
        ws.setDialogs(&dialogs);
        ws.add({source});
        CompressScreen screen(ws);
        screen.show();
        QVERIFY(QDir(sub).removeRecursively()); // its folder went away after opening
        QTest::mouseClick(button(&screen, "compressButton"), Qt::LeftButton);
        QCOMPARE(dialogs.saveProposals, QStringList{QStringLiteral("|Report compressed.pdf")});
        if (!answer) {
            QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
            return;
        }
        QVERIFY(finish(screen));
        // The source itself went with its folder: the job says so.
        QCOMPARE(labelText(panel(&screen), "jobTitle"), PDFError::unreadable(QStringLiteral("Report.pdf")).description());
        QVERIFY(!QFileInfo::exists(destination));
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }
};

QTEST_MAIN(TestCompressScreen)
#include "tst_compressscreen.moc"
