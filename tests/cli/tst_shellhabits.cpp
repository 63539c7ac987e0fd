// quirebook-cli among other Unix programs: Ctrl-C in a shell loop and at
// the password prompt, -o folders, "-" for standard input and output, the
// progress line's width, and running out of file handles.
#include "support/Fixtures.h"
#include "support/FolderWatch.h"
#include "support/PictureFixtures.h"
#include "support/ScanFixtures.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using namespace Fixtures;

namespace {

const QString kCli = qEnvironmentVariable("QUIREBOOK_CLI");

QByteArray lockedPDF(const QString &password)
{
    return makePDF(numberedPages(2, u"Secret page"_s), lock(password, password));
}

// A pseudo-terminal that a child takes as its controlling terminal, as a
// program started from a terminal window has.
class Terminal {
public:
    explicit Terminal(unsigned short columns)
    {
        m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
            return;
        m_name = ::ptsname(m_master);
        // Ours stays open, so the terminal's settings can be read after the child ends.
        m_slave = ::open(m_name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        const winsize size{24, columns, 0, 0};
        ::ioctl(m_master, TIOCSWINSZ, &size);
    }
    ~Terminal()
    {
        if (m_pid > 0 && ::waitpid(m_pid, nullptr, WNOHANG) == 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        for (const int fd : {m_slave, m_master})
            if (fd >= 0)
                ::close(fd);
    }
    bool ready() const { return m_slave >= 0; }

    // Starts quirebook-cli with its standard input and error on the
    // terminal, standard output on /dev/null.
    bool start(const QStringList &arguments, const QMap<QString, QString> &env = {})
    {
        std::vector<std::string> args{kCli.toStdString()};
        for (const QString &argument : arguments)
            args.push_back(argument.toStdString());
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"QUIREBOOK_PASSWORD"_s);
        environment.remove(u"COLUMNS"_s);
        for (auto it = env.begin(); it != env.end(); ++it)
            environment.insert(it.key(), it.value());
        std::vector<std::string> vars;
        for (const QString &entry : environment.toStringList())
            vars.push_back(entry.toStdString());
        std::vector<char *> argv, envp;
        for (auto &a : args)
            argv.push_back(a.data());
        for (auto &v : vars)
            envp.push_back(v.data());
        argv.push_back(nullptr);
        envp.push_back(nullptr);
        const char *name = m_name.c_str();

        m_pid = ::fork();
        if (m_pid == 0) {
            ::setsid();
            const int tty = ::open(name, O_RDWR);
            ::ioctl(tty, TIOCSCTTY, 0);
            const int null = ::open("/dev/null", O_RDWR);
            ::dup2(tty, STDIN_FILENO);
            ::dup2(null, STDOUT_FILENO);
            ::dup2(tty, STDERR_FILENO);
            ::signal(SIGINT, SIG_DFL);
            ::execve(argv[0], argv.data(), envp.data());
            ::_exit(127);
        }
        return m_pid > 0;
    }

    // Reads what the child shows until `seen` is true of it or the child
    // has ended; then its wait status, or -1 while it still runs.
    int readUntil(const std::function<bool(const QByteArray &)> &seen)
    {
        for (;;) {
            pollfd fd{m_master, POLLIN, 0};
            if (::poll(&fd, 1, 200) > 0) {
                char buffer[4096];
                const ssize_t n = ::read(m_master, buffer, sizeof buffer);
                if (n > 0)
                    m_shown.append(buffer, n);
                continue; // everything there is first
            }
            if (seen && seen(m_shown))
                return -1;
            int status = 0;
            if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_pid = -1;
                return status;
            }
        }
    }
    int waitForEnd() { return readUntil({}); }

    void type(const QByteArray &keys)
    {
        QCOMPARE(::write(m_master, keys.constData(), size_t(keys.size())), keys.size());
    }
    bool echoes() const
    {
        termios settings{};
        return ::tcgetattr(m_slave, &settings) == 0 && (settings.c_lflag & ECHO);
    }
    const QByteArray &shown() const { return m_shown; }

private:
    int m_master = -1;
    int m_slave = -1;
    std::string m_name;
    pid_t m_pid = -1;
    QByteArray m_shown;
};

} // namespace

class TestShellHabits : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Ctrl-C in `for f in *.pdf; do quirebook-cli …; done` stops the loop
    // at once: the shell sees its command end by SIGINT (status 130), tries
    // no further file, and no temporary file is left.
    void ctrlCStopsAShellLoop()
    {
        QTemporaryDir dir;
        const QByteArray scanned = scanPDF({{scan({u"A page of words to read"_s}).image},
                                            {scan({u"Another page of words"_s}).image},
                                            {scan({u"A third page of words"_s}).image}});
        for (const char *name : {"a.pdf", "b.pdf", "c.pdf"})
            writeFile(dir.filePath(QLatin1String(name)), scanned);

        QProcess shell;
        shell.setWorkingDirectory(dir.path());
        shell.setStandardInputFile(QProcess::nullDevice());
        // Its own process group, as a terminal gives a command line.
        shell.setChildProcessModifier([] {
            ::setpgid(0, 0);
            ::signal(SIGINT, SIG_DFL);
        });
        FolderWatch watch;
        QVERIFY(watch.watch(dir.path()));
        shell.start(u"bash"_s,
                    {u"-c"_s, u"for f in *.pdf; do echo \"$f\" >> tried; \"%1\" searchable "
                              "\"$f\"; done"_s.arg(kCli)});
        QVERIFY(shell.waitForStarted() && watch.attach(shell.processId()));
        QVERIFY2(!watch.awaitEntry(dir.path(), u".quirebook-"_s).isEmpty(),
                 "the first file was never being written");
        ::kill(-pid_t(shell.processId()), SIGINT);
        QVERIFY(shell.waitForFinished(600000));

        QCOMPARE(shell.exitStatus(), QProcess::CrashExit);
        QCOMPARE(shell.exitCode(), SIGINT);
        QCOMPARE(readFile(dir.filePath(u"tried"_s)), QByteArray("a.pdf\n"));
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
        QCOMPARE(QDir(dir.path()).entryList({u"* searchable*"_s}), QStringList());
    }

    // Ctrl-C while the password is typed without echo puts the echo back
    // before the program ends by the signal.
    void ctrlCAtThePasswordPrompt()
    {
        QTemporaryDir dir;
        const QString locked = writeFile(dir.filePath(u"locked.pdf"_s), lockedPDF("s"));
        Terminal terminal(80);
        QVERIFY(terminal.ready());
        QVERIFY(terminal.echoes());
        QVERIFY(terminal.start({u"unlock"_s, locked}));
        QCOMPARE(terminal.readUntil([](const QByteArray &shown) {
            return shown.contains("Password for \xe2\x80\x9clocked.pdf\xe2\x80\x9d: ");
        }),
                 -1);
        QTRY_VERIFY_WITH_TIMEOUT(!terminal.echoes(), 60000);
        terminal.type("\x03"); // Ctrl-C, as the terminal turns it into SIGINT
        const int status = terminal.waitForEnd();
        QVERIFY2(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT, terminal.shown().constData());
        QVERIFY(terminal.echoes());
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"locked.pdf"});
    }

    // The progress line takes the terminal's width (else COLUMNS, else 80),
    // one column short of it, losing the middle of a long file name.
    void progressFitsTheTerminal_data()
    {
        QTest::addColumn<int>("terminalColumns");
        QTest::addColumn<QString>("columnsVariable");
        QTest::addColumn<int>("width");
        QTest::newRow("terminal") << 40 << u"100"_s << 40;
        QTest::newRow("COLUMNS") << 0 << u"52"_s << 52;
        QTest::newRow("neither") << 0 << QString() << 80;
    }
    void progressFitsTheTerminal()
    {
        QFETCH(int, terminalColumns);
        QFETCH(QString, columnsVariable);
        QFETCH(int, width);
        QTemporaryDir dir;
        const QString name = u"The minutes of every meeting of the committee for the "
                             "whole of the year, with appendices.pdf"_s;
        const QString source = writeFile(dir.filePath(name), textPDF(30));
        Terminal terminal(static_cast<ushort>(terminalColumns));
        QVERIFY(terminal.ready());
        QMap<QString, QString> env;
        if (!columnsVariable.isEmpty())
            env[u"COLUMNS"_s] = columnsVariable;
        QVERIFY(terminal.start({u"compress"_s, source}, env));
        const int status = terminal.waitForEnd();
        QVERIFY2(WIFEXITED(status) && WEXITSTATUS(status) == 0, terminal.shown().constData());

        const QString shown = QString::fromUtf8(terminal.shown());
        QStringList lines = shown.split(QRegularExpression(u"[\r\n]"_s));
        lines.removeAll(QString());
        // The lines drawn over each other, then the size line after the last.
        const QStringList drawn = lines.filter(u"Compressing"_s);
        QVERIFY2(drawn.size() >= 2, qPrintable(shown));
        for (const QString &line : drawn) {
            QVERIFY2(line.size() <= width - 1, qPrintable(line));
            QVERIFY2(line.startsWith(u"Compressing The"_s) && line.contains(QChar(0x2026)) &&
                         !line.contains(u"committee"_s),
                     qPrintable(line));
        }
        QVERIFY2(drawn.last().trimmed().endsWith(u"] 30/30"_s), qPrintable(drawn.last()));
    }

    // Several sources into a folder named with a trailing "/" that isn't
    // there yet: it is made, and each result goes in under its usual name.
    void outputIntoANewFolder()
    {
        QTemporaryDir dir;
        const QString a = writeFile(dir.filePath(u"a.pdf"_s), textPDF(2));
        const QString b = writeFile(dir.filePath(u"b.pdf"_s), textPDF(3));
        const QString out = dir.filePath(u"out"_s);
        const auto run = runCli({u"compress"_s, u"-o"_s, out + u'/', a, b});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QCOMPARE(run.out, u"%1/a compressed.pdf\n%1/b compressed.pdf\n"_s.arg(out));
    }

    // "-": the text alone on standard output, the password from standard input.
    void standardInputAndOutput()
    {
        QTemporaryDir dir;
        const QString locked = writeFile(dir.filePath(u"locked.pdf"_s), lockedPDF("pw 1"));
        QProcess cli;
        cli.start(kCli, {u"text"_s, u"--password-file"_s, u"-"_s, u"-o"_s, u"-"_s, locked});
        QVERIFY(cli.waitForStarted());
        cli.write("pw 1\nnot read\n");
        cli.closeWriteChannel();
        QVERIFY(cli.waitForFinished(120000));
        const QByteArray err = cli.readAllStandardError();
        QVERIFY2(cli.exitStatus() == QProcess::NormalExit && cli.exitCode() == 0, err.constData());
        const QByteArray text = cli.readAllStandardOutput();
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"locked.pdf"});
        // What the text file would hold, and a line break to end it.
        const auto saved = runCli({u"text"_s, locked}, {{u"QUIREBOOK_PASSWORD"_s, u"pw 1"_s}});
        QVERIFY2(saved.exitCode == 0, qPrintable(saved.err));
        QCOMPARE(text, readFile(saved.out.trimmed()) + '\n');
        QVERIFY(text.startsWith("Secret page 1"));

        // A PDF can't go there.
        const auto refused = runCli({u"compress"_s, u"-o"_s, u"-"_s, dir.filePath(u"locked.pdf"_s)},
                                    {{u"QUIREBOOK_PASSWORD"_s, u"pw 1"_s}});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY2(refused.err.contains(u"Only text can go to standard output."_s),
                 qPrintable(refused.err));
        QCOMPARE(refused.out, QString());
    }

    // Merging keeps every source open. With the open-files limit low but a
    // higher hard limit, the program raises its own limit and succeeds;
    // without room to raise it, it says what is wrong in its own words.
    void outOfFileHandles_data()
    {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        QTest::addColumn<qulonglong>("hard");
        QTest::addColumn<bool>("merged");
        QTest::newRow("room to raise") << qulonglong(limit.rlim_max) << true;
        QTest::newRow("no room") << qulonglong(32) << false;
    }
    void outOfFileHandles()
    {
        QFETCH(qulonglong, hard);
        QFETCH(bool, merged);
#ifdef QUIREBOOK_SANITIZE
        // UBSan reads a vtable through a pipe the first time it meets a
        // class, and can't with every handle taken: a false report.
        if (!merged)
            QSKIP("the sanitizers need file handles of their own");
#endif
        QTemporaryDir dir;
        const QByteArray pdf = textPDF(1);
        QStringList arguments{u"merge"_s, u"-o"_s, dir.filePath(u"all.pdf"_s)};
        for (int i = 1; i <= 60; ++i)
            arguments << writeFile(dir.filePath(u"%1.pdf"_s.arg(i)), pdf);
        QProcess cli;
        cli.setStandardInputFile(QProcess::nullDevice());
        cli.setChildProcessModifier([hard] {
            const rlimit low{32, rlim_t(hard)};
            ::setrlimit(RLIMIT_NOFILE, &low);
        });
        cli.start(kCli, arguments);
        QVERIFY(cli.waitForFinished(120000));
        const QString err = QString::fromUtf8(cli.readAllStandardError());
        QCOMPARE(cli.exitStatus(), QProcess::NormalExit);
        if (merged) {
            QVERIFY2(cli.exitCode() == 0, qPrintable(err));
            QCOMPARE(popplerPageCount(dir.filePath(u"all.pdf"_s)), 60);
        } else {
            QCOMPARE(cli.exitCode(), 1);
            QCOMPARE(err, u"quirebook-cli: Too many files are open at once. Close "
                          "some programs and try again.\n"_s);
            QVERIFY(!QFileInfo::exists(dir.filePath(u"all.pdf"_s)));
        }
    }
};

QTEST_MAIN(TestShellHabits)
#include "tst_shellhabits.moc"
