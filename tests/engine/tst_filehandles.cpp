// With every file handle of the process in use, opening a source or
// writing a result says so, rather than blaming the file.
#include "engine/PDFDocument.h"
#include "engine/PDFError.h"
#include "engine/SafeWrite.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Fixtures;

namespace {

// Takes every file handle left under a low limit; gives them back after.
class AllHandlesTaken {
public:
    AllHandlesTaken()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit low = m_before;
        low.rlim_cur = 64;
        ::setrlimit(RLIMIT_NOFILE, &low);
        for (int fd; (fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
            m_taken.append(fd);
    }
    ~AllHandlesTaken()
    {
        for (const int fd : std::as_const(m_taken))
            ::close(fd);
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }

private:
    rlimit m_before{};
    QList<int> m_taken;
};

} // namespace

class TestFileHandles : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void saidInTheProgramsWords()
    {
#ifdef QUIREBOOK_SANITIZE
        // The first time UBSan meets a class it reads the vtable through a
        // pipe, which it can't make with every handle taken: a false report.
        QSKIP("the sanitizers need file handles of their own");
#endif
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("a.pdf")), textPDF(1));
        const QString destination = dir.filePath(QStringLiteral("b.pdf"));
        const auto write = [&] {
            SafeWrite::write(
                destination, [](SafeWrite::Target &out) { out.write(QByteArray("%PDF-1.7\n")); },
                QStringLiteral("Couldn't write the file."));
        };
        const QString tooMany = PDFError::tooManyFilesText();
        QCOMPARE(tooMany, QStringLiteral("Too many files are open at once. Close some programs and "
                                         "try again."));
        {
            AllHandlesTaken taken;
            QVERIFY(!PDFDocument::open(source));
            QCOMPARE(PDFError::notOpened(QStringLiteral("a.pdf")).description(), tooMany);
            QCOMPARE(Attempt::errorOf(write), tooMany);
        }
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"a.pdf"});
        // With handles to spare, an open failure is the file's again.
        QCOMPARE(PDFError::notOpened(QStringLiteral("a.pdf")).description(),
                 QStringLiteral("“a.pdf” couldn't be read as a PDF."));
        QCOMPARE(Attempt::errorOf(write), QStringLiteral("no error"));
    }
};

QTEST_GUILESS_MAIN(TestFileHandles)
#include "tst_filehandles.moc"
