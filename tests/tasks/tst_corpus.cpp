// Every real-world file of the corpus through the intake and every tool's
// work: each either does its job, checked by independent readers, or fails
// with a sentence of the program's own; nothing is left half-written, no
// source is touched, nothing crashes or hangs.
#include "engine/PDFDocument.h"
#include "engine/PDFOpsProtect.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ProtectChecks.h"
#include "support/TaskFixtures.h"
#include "tasks/Compress.h"
#include "tasks/Convert.h"
#include "tasks/MakeSearchable.h"
#include "tasks/Merge.h"
#include "tasks/Protect.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using namespace Attempt;

class TestCorpus : public QObject {
    Q_OBJECT
    QTemporaryDir m_out;
    int m_compressed = 0, m_protected = 0, m_unlocked = 0, m_converted = 0;

    // The work's error: none, or a sentence of its own with nothing left at `result`.
    template <typename Work> bool worked(const QString &result, Work &&work)
    {
        const QString error = errorOf(work);
        if (error == u"no error")
            return true;
        [&] { QVERIFY2(error.endsWith(u'.') && !QFileInfo::exists(result), qPrintable(error)); }();
        return false;
    }

private Q_SLOTS:
    void everyTool_data()
    {
        QTest::addColumn<QString>("name");
        if (corpusDir().isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        for (const QString &name : QDir(corpusDir()).entryList({u"*.pdf"_s}, QDir::Files))
            QTest::newRow(qPrintable(name)) << name;
    }
    void everyTool()
    {
        QFETCH(QString, name);
        const QString path = corpusDir() + u'/' + name;
        const QByteArray before = readFile(path);
        const auto known = corpusPasswords().value(name);
        PDFFile file = opened(path, {known.value(u"user_as_typed"_s, known.value(u"user"_s))});
        QVERIFY2(!file.path.isEmpty() || known.isEmpty(), "the password as typed opens it");
        if (file.path.isEmpty()) {
            // Refused at intake, with a sentence naming the file.
            const auto refusal = Intake::open(path, nullptr);
            QVERIFY(std::holds_alternative<QString>(refusal));
            QVERIFY2(std::get<QString>(refusal).contains(u'“' + name + u'”'),
                     qPrintable(std::get<QString>(refusal)));
            return;
        }
        // qpdf's page count, wherever qpdf can walk the pages.
        const auto walk = runProgram(u"qpdf"_s, {u"--show-pages"_s, path});
        if (walk.exitCode == 0 || walk.exitCode == 3)
            QCOMPARE(file.pageCount(),
                     runProgram(u"qpdf"_s, {u"--show-npages"_s, path}).out.trimmed().toInt());
        // A wrong password leaves it locked, the one stored opens it; the
        // owner's gives every right.
        if (const auto doc = PDFDocument::open(path); doc->isLocked()) {
            QVERIFY(!doc->unlock(u"definitely-not-it"_s) && doc->isLocked());
            QVERIFY(doc->unlock(known.value(u"user"_s)));
            QCOMPARE(doc->pageCount(), file.pageCount());
        }
        if (const auto doc = PDFDocument::open(path); known.contains(u"owner"_s))
            QVERIFY(doc->unlock(known.value(u"owner"_s)) && doc->hasOwnerRights());
        ScriptedDialogs owner({known.value(u"owner"_s)});
        if (file.restricted())
            Intake::liftRestrictions(file, &owner);
        const QString folder = m_out.filePath(QFileInfo(name).completeBaseName());
        QVERIFY(QDir().mkpath(folder));
        const QString base = folder + u'/' + QFileInfo(name).completeBaseName();

        // Never bigger: a smaller sound copy, or the source's own bytes.
        const QString small = base + u" compressed.pdf"_s;
        if (worked(small, [&] { Compress::run(file, {}, small, noProgress, never); })) {
            const QByteArray after = readFile(small);
            QVERIFY(after.size() <= before.size());
            if (after != before) {
                ++m_compressed;
                QString report;
                QVERIFY2(qpdfCheck(small, &report), qPrintable(report));
                QCOMPARE(popplerPageCount(small), file.pageCount());
            }
        }

        // A copy that opens only with its password; encrypted ones give
        // copies that open without one, with the same text.
        Protect::Request protect;
        protect.password = u"çorpus-пароль"_s;
        const QString locked = base + u" protected.pdf"_s;
        if (worked(locked, [&] { Protect::run(file, protect, locked, noProgress, never); })) {
            ++m_protected;
            QVERIFY(ProtectChecks::poppler(locked).locked);
            QCOMPARE(ProtectChecks::poppler(locked, protect.password).pages, file.pageCount());
        }
        if (file.doc->isEncrypted()) {
            Protect::Request remove;
            remove.mode = Protect::Mode::Remove;
            const QString plain = base + u" unlocked.pdf"_s;
            Protect::run(file, remove, plain, noProgress, never);
            ++m_unlocked;
            const auto view = ProtectChecks::poppler(plain);
            QVERIFY(view.opened && !view.encrypted);
            QCOMPARE(view.texts,
                     ProtectChecks::poppler(
                         path, PDFOps::preparedPassword(file.password.value_or(QString())))
                         .texts);
        }

        // Merged with itself: every page twice, links leading to pages that are there.
        const QString merged = base + u" merged.pdf"_s;
        if (worked(merged, [&] { Merge::run({file, file}, merged, noProgress, never); })) {
            const auto check = runProgram(u"qpdf"_s, {u"--check"_s, merged});
            QVERIFY2(check.exitCode == 0 || check.exitCode == 3, qPrintable(check.out));
            QCOMPARE(popplerPageCount(merged), 2 * file.pageCount());
            for (const auto &page : popplerLinkTargets(readFile(merged)))
                for (int target : page)
                    QVERIFY(target >= 1 && target <= 2 * file.pageCount());
        }

        // Pictures and text.
        Convert::Request pictures;
        pictures.dpi = 20;
        const QString pictureFolder = folder + u"/pictures"_s;
        QVERIFY(QDir().mkpath(pictureFolder));
        if (worked(pictureFolder + u"/none"_s,
                   [&] { Convert::pictures(file, pictureFolder, pictures, noProgress, never); }))
            ++m_converted;
        QCOMPARE(temporaryFiles(pictureFolder), QStringList());
        const QString text = base + u".txt"_s;
        worked(text, [&] { Convert::text(file, text, noProgress, never); });

        // A searchable copy with every page.
        MakeSearchable::Request read;
        read.dpi = 100;
        const QString searchable = base + u" searchable.pdf"_s;
        if (worked(searchable,
                   [&] { MakeSearchable::run(file, read, searchable, noProgress, never); })) {
            const auto check = runProgram(u"qpdf"_s, {u"--check"_s, searchable});
            QVERIFY2(check.exitCode == 0 || check.exitCode == 3, qPrintable(check.out));
            QCOMPARE(popplerPageCount(searchable), file.pageCount());
        }

        QCOMPARE(temporaryFiles(folder), QStringList());
        QVERIFY2(readFile(path) == before, "the source was changed");
    }

    void totals()
    {
        if (corpusDir().isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        QVERIFY(m_compressed > 10);
        QVERIFY(m_protected > 30);
        QCOMPARE(m_unlocked, 10); // every encrypted file with a password
        QVERIFY(m_converted > 30);
    }
};

QTEST_MAIN(TestCorpus)
#include "tst_corpus.moc"
