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

using namespace Qt::StringLiterals;

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
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(u"a.pdf"_s), textPDF(1));
        const QString destination = dir.filePath(u"b.pdf"_s);
        const auto write = [&] {
            SafeWrite::write(
                destination, [](SafeWrite::Target &out) { out.write(QByteArray("%PDF-1.7\n")); },
                u"Couldn't write the file."_s);
        };
        const QString tooMany = PDFError::tooManyFilesText();
        QCOMPARE(tooMany, u"Too many files are open at once. Close some programs and "
                          "try again."_s);
        {
            AllHandlesTaken taken;
            QVERIFY(!PDFDocument::open(source));
            QCOMPARE(PDFError::notOpened(u"a.pdf"_s).description(), tooMany);
            QCOMPARE(Attempt::errorOf(write), tooMany);
        }
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"a.pdf"});
        // With handles to spare, an open failure is the file's again.
        QCOMPARE(PDFError::notOpened(u"a.pdf"_s).description(),
                 u"“a.pdf” couldn't be read as a PDF."_s);
        QCOMPARE(Attempt::errorOf(write), u"no error"_s);
    }
};

QTEST_GUILESS_MAIN(TestFileHandles)
#include "tst_filehandles.moc"
