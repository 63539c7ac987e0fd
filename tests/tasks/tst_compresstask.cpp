#include "Compress.h"
#include "Fixtures.h"
#include "Output.h"
#include "PDFError.h"
#include "PictureFixtures.h"
#include "Workspace.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

Q_DECLARE_METATYPE(CompressionLevel)

namespace {

const Progress kNoProgress = [](int, int) {};
const IsCancelled kNotCancelled = [] { return false; };

bool finish(Job &job) { return QTest::qWaitFor([&] { return !job.isRunning(); }, 120000); }

} // namespace

class TestCompressTask : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // Opens a file through the window's intake.
    std::optional<PDFFile> intake(const QString &path, QList<std::optional<QString>> answers = {})
    {
        ScriptedDialogs dialogs(std::move(answers));
        Workspace workspace;
        workspace.setDialogs(&dialogs);
        workspace.add({path});
        return workspace.current();
    }

    QString folder(const QString &name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.filePath(name);
    }

private Q_SLOTS:
    void levelCards_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<CompressionLevel>("level");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("description");
        QTest::newRow("small") << 0 << CompressionLevel::Small << "Smallest"
                               << "Photos at screen quality. Best for emailing.";
        QTest::newRow("balanced") << 1 << CompressionLevel::Balanced << "Balanced"
                                  << "Good for reading and sharing.";
        QTest::newRow("high") << 2 << CompressionLevel::High << "High quality"
                              << "Keeps photos sharp. Best for printing.";
    }
    void levelCards()
    {
        QFETCH(int, index);
        QFETCH(CompressionLevel, level);
        QFETCH(QString, title);
        QFETCH(QString, description);
        const auto cards = Tasks::compressLevelCards();
        QCOMPARE(cards.size(), 3);
        QCOMPARE(cards[index].level, level);
        QCOMPARE(cards[index].title, title);
        QCOMPARE(cards[index].description, description);
    }

    void screenTexts()
    {
        QCOMPARE(Tasks::kDefaultCompressionLevel, CompressionLevel::Balanced);
        QCOMPARE(Tasks::compressCurrentSize(1'234'567), QStringLiteral("Current size: 1.2 MB"));
        QCOMPARE(Tasks::compressNote(),
                 QStringLiteral("Pictures are shrunk; text stays sharp and searchable. Links, "
                                "bookmarks and the title are kept. Your original is never changed."));
        QCOMPARE(Tasks::compressButton(), QStringLiteral("Compress"));
        QCOMPARE(Tasks::compressJobTitle(), QStringLiteral("Compressing"));
        QCOMPARE(Tasks::compressSuffix(), QStringLiteral("compressed"));
    }

    void outcomeTexts_data()
    {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("after");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("detail");
        QTest::newRow("smaller") << qint64(8'400'000) << qint64(1'200'000) << false
                                 << QStringLiteral("8.4 MB → 1.2 MB  (86% smaller)")
                                 << QStringLiteral("Report compressed.pdf");
        QTest::newRow("a little smaller") << qint64(1000) << qint64(999) << false
                                          << QStringLiteral("1.0 kB → 999 bytes  (0% smaller)")
                                          << QStringLiteral("Report compressed.pdf");
        QTest::newRow("kept") << qint64(12'609) << qint64(12'609) << true
                              << QStringLiteral("Already as small as it gets")
                              << QStringLiteral("Compressing wouldn't make “Report.pdf” smaller, so the "
                                                "copy is unchanged (12.6 kB).");
    }
    void outcomeTexts()
    {
        QFETCH(qint64, before);
        QFETCH(qint64, after);
        QFETCH(bool, kept);
        QFETCH(QString, title);
        QFETCH(QString, detail);
        PDFOps::CompressResult result;
        result.before = before;
        result.after = after;
        result.keptOriginal = kept;
        const QString destination = QStringLiteral("/somewhere/Report compressed.pdf");
        const Outcome outcome = Tasks::compressOutcome(result, QStringLiteral("Report.pdf"), destination);
        QCOMPARE(outcome.title, title);
        QCOMPARE(outcome.detail, detail);
        QCOMPARE(outcome.urls, QStringList{destination});
    }

    void compressingThroughAJob()
    {
        const QString dir = folder(QStringLiteral("job"));
        const QString source = writeFile(dir + QStringLiteral("/Report.pdf"), photoPDF(2, QSize(1600, 2000), 92));
        const QByteArray original = readFile(source);
        const auto file = intake(source);
        QVERIFY(file);
        QStringList destinations;
        for (int run = 0; run < 2; ++run) {
            const auto destination = Output::pdfURL(*file, Tasks::compressSuffix(), nullptr);
            QVERIFY(destination);
            destinations << QFileInfo(*destination).fileName();
            Job job;
            QList<Job::State> states;
            connect(&job, &Job::stateChanged, this, [&] { states << job.state(); });
            const PDFFile chosen = *file;
            const QString target = *destination;
            job.run(Tasks::compressJobTitle(), [chosen, target](const Progress &p, const IsCancelled &c) {
                return Tasks::compress(chosen, CompressionLevel::Balanced, target, p, c);
            });
            QCOMPARE(states.value(0), Job::State(Job::Running{0, 0, QStringLiteral("Compressing")}));
            QVERIFY(finish(job));
            const auto *done = std::get_if<Job::Done>(&job.state());
            QVERIFY(done);
            static const QRegularExpression sizes(
                QStringLiteral("^[0-9.]+ MB → [0-9.]+ kB  \\([0-9]+% smaller\\)$"));
            QVERIFY2(sizes.match(done->outcome.title).hasMatch(), qPrintable(done->outcome.title));
            QCOMPARE(done->outcome.detail, QFileInfo(*destination).fileName());
            QCOMPARE(done->outcome.urls, QStringList{*destination});
            QCOMPARE(popplerPageCount(*destination), 2);
            QVERIFY(states.contains(Job::State(Job::Running{2, 2, QStringLiteral("Compressing")})));
        }
        QCOMPARE(destinations, (QStringList{QStringLiteral("Report compressed.pdf"),
                                            QStringLiteral("Report compressed 2.pdf")}));
        QCOMPARE(readFile(source), original);
    }

    void aFileThatCantShrinkIsCopied()
    {
        const QString dir = folder(QStringLiteral("kept"));
        // Our own output can't be made smaller again.
        const QString first = writeFile(dir + QStringLiteral("/first.pdf"), textPDF(1));
        const auto firstFile = intake(first);
        const QString source = dir + QStringLiteral("/Letter.pdf");
        Tasks::compress(*firstFile, CompressionLevel::High, source, kNoProgress, kNotCancelled);
        const auto file = intake(source);
        QVERIFY(file);
        const QString destination = dir + QStringLiteral("/Letter compressed.pdf");
        const Outcome outcome =
            Tasks::compress(*file, CompressionLevel::High, destination, kNoProgress, kNotCancelled);
        QCOMPARE(outcome.title, QStringLiteral("Already as small as it gets"));
        QVERIFY2(outcome.detail.startsWith(QStringLiteral("Compressing wouldn't make “Letter.pdf” smaller, "
                                                          "so the copy is unchanged (")),
                 qPrintable(outcome.detail));
        QVERIFY(outcome.detail.endsWith(QStringLiteral(" bytes).")) || outcome.detail.endsWith(QStringLiteral(" kB).")));
        QCOMPARE(readFile(destination), readFile(source));
    }

    void failuresAreTheJobsMessage_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<QString>("message");
        QTest::newRow("deleted meanwhile") << "deleted" << "“Gone.pdf” couldn't be read as a PDF.";
        QTest::newRow("restricted") << "restricted" << PDFError::restricted().description();
    }
    void failuresAreTheJobsMessage()
    {
        QFETCH(QString, what);
        QFETCH(QString, message);
        const QString dir = folder(what);
        std::optional<PDFFile> file;
        if (what == QLatin1String("deleted")) {
            const QString source = writeFile(dir + QStringLiteral("/Gone.pdf"), textPDF(1));
            file = intake(source);
            QFile::remove(source);
        } else {
            WriteOptions options;
            options.encrypt = true;
            options.userPassword = QStringLiteral("u");
            options.ownerPassword = QStringLiteral("o");
            options.allowChanges = false;
            const QString source = writeFile(dir + QStringLiteral("/Owned.pdf"),
                                             makePDF(numberedPages(1), options));
            file = intake(source, {QStringLiteral("u")});
        }
        QVERIFY(file);
        const QString destination = dir + QStringLiteral("/out.pdf");
        Job job;
        const PDFFile chosen = *file;
        job.run(Tasks::compressJobTitle(), [chosen, destination](const Progress &p, const IsCancelled &c) {
            return Tasks::compress(chosen, CompressionLevel::Small, destination, p, c);
        });
        QVERIFY(finish(job));
        QCOMPARE(job.state(), Job::State(Job::Failed{message}));
        QVERIFY(!QFile::exists(destination));
        QCOMPARE(temporaryFiles(dir), QStringList());
    }

    void cancellingReturnsToIdle()
    {
        const QString dir = folder(QStringLiteral("cancel"));
        const QString source = writeFile(dir + QStringLiteral("/Album.pdf"), photoPDF(3, QSize(1200, 1600), 92));
        const auto file = intake(source);
        const QString destination = dir + QStringLiteral("/Album compressed.pdf");
        Job job;
        QSemaphore started, go;
        const PDFFile chosen = *file;
        job.run(Tasks::compressJobTitle(), [&, chosen, destination](const Progress &p, const IsCancelled &c) {
            started.release();
            go.acquire(); // hold on until the cancel has been given
            return Tasks::compress(chosen, CompressionLevel::Balanced, destination, p, c);
        });
        started.acquire();
        job.cancel();
        go.release();
        QVERIFY(finish(job));
        QCOMPARE(job.state(), Job::State(Job::Idle{}));
        QVERIFY(!QFile::exists(destination));
        QCOMPARE(temporaryFiles(dir), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestCompressTask)
#include "tst_compresstask.moc"
