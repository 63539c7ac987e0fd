// The Debian package as a person installs it: built by CPack from this build
// folder, its files where the desktop looks for them, its launcher, AppStream
// data, manual pages and completion checked by the tools that read them,
// lintian without errors, and the programs run from an install elsewhere.
#include "support/Fixtures.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

using namespace Fixtures;

namespace {
const QString appId = QStringLiteral(QUIREBOOK_APP_ID);

QString tool(const QString &name)
{
    return QStandardPaths::findExecutable(name);
}

QStringList lines(const QString &text)
{
    return text.split(u'\n', Qt::SkipEmptyParts);
}

// The verbs and their summaries as `quirebook-cli --help` lists them.
QMap<QString, QString> verbsOf(const QString &help)
{
    QMap<QString, QString> verbs;
    static const QRegularExpression line(u"^  ([a-z]+)  +(.+)$"_s,
                                         QRegularExpression::MultilineOption);
    const qsizetype start = help.indexOf(QLatin1String("\nVerbs:\n"));
    const qsizetype end = help.indexOf(QLatin1String("\n\n"), start + 1);
    for (const auto &match : line.globalMatch(help.mid(start, end - start)))
        verbs.insert(match.captured(1), match.captured(2));
    return verbs;
}

// Every option a verb's --help lists, short and long.
QStringList optionsOf(const QString &help)
{
    QStringList options;
    static const QRegularExpression line(u"^  (?:(-[a-z]), )?(--[a-z-]+)"_s,
                                         QRegularExpression::MultilineOption);
    for (const auto &match : line.globalMatch(help)) {
        if (match.hasCaptured(1))
            options << match.captured(1);
        options << match.captured(2);
    }
    options.sort();
    return options;
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}
} // namespace

class TestPackage : public QObject {
    Q_OBJECT
    QTemporaryDir m_work;
    QString m_deb;
    QString m_root; // the package's files, unpacked
    QMap<QString, QString> m_verbs;
    QString m_version;

    QString installed(const QString &path) const { return m_root + u'/' + path; }

private Q_SLOTS:
    void initTestCase()
    {
        const auto help = runCli({u"--help"_s});
        m_verbs = verbsOf(help.out);
        QVERIFY2(m_verbs.size() >= 11, qPrintable(help.out));
        m_version = runCli({u"--version"_s}).out.section(u'\n', 0, 0).section(u' ', 1);
        QVERIFY(!m_version.isEmpty());
        if (tool(u"dpkg-deb"_s).isEmpty() || tool(u"dpkg-shlibdeps"_s).isEmpty())
            QSKIP("dpkg-dev is not installed");

        const QString out = m_work.filePath(u"deb"_s);
        const auto cpack =
            runProgram(QStringLiteral(QUIREBOOK_CPACK),
                       {u"-G"_s, u"DEB"_s, u"--config"_s,
                        QStringLiteral(QUIREBOOK_BUILD_DIR "/CPackConfig.cmake"), u"-B"_s, out},
                       {}, 600000);
        QVERIFY2(cpack.exitCode == 0, qPrintable(cpack.out + cpack.err));
        const QStringList debs = QDir(out).entryList({u"quirebook_*.deb"_s});
        QCOMPARE(debs.size(), 1);
        m_deb = QDir(out).filePath(debs.first());
        QVERIFY(debs.first().startsWith(u"quirebook_%1_"_s.arg(m_version)));
        m_root = m_work.filePath(u"root"_s);
        const auto unpack = runProgram(u"dpkg-deb"_s, {u"-x"_s, m_deb, m_root});
        QVERIFY2(unpack.exitCode == 0, qPrintable(unpack.err));
    }

    // Depends come from the binaries (dpkg-shlibdeps) plus the data the
    // programs read; the version, also the changelog's newest, is the
    // programs' own. (Icons, permissions and stripping are lintian's.)
    void control()
    {
        const auto changelog =
            runProgram(u"gzip"_s, {u"-dc"_s, installed(u"usr/share/doc/quirebook/changelog.gz"_s)});
        QVERIFY2(changelog.out.startsWith(u"quirebook (%1) "_s.arg(m_version)),
                 qPrintable(changelog.out));
        const auto fields = runProgram(
            u"dpkg-deb"_s, {u"-f"_s, m_deb, u"Version"_s, u"Depends"_s, u"Recommends"_s});
        QCOMPARE(fields.exitCode, 0);
        QVERIFY(fields.out.contains(u"Version: "_s + m_version + u'\n'));
        const QString depends = fields.out.section(u"Depends: "_s, 1).section(u'\n', 0, 0);
        for (const char *package :
             {"libqt6widgets6", "libqpdf", "libpoppler-qt6", "libtesseract", "libheif",
              "tesseract-ocr-eng", "tesseract-ocr-osd", "poppler-data", "adwaita-icon-theme"})
            QVERIFY2(depends.contains(QLatin1String(package)),
                     qPrintable(depends + u' ' + package));
        const QString recommends = fields.out.section(u"Recommends: "_s, 1);
        QVERIFY(recommends.contains(QLatin1String("qt6-wayland")));
        QVERIFY(recommends.contains(QLatin1String("qt6-gtk-platformtheme")));
    }

    // The launcher and the AppStream data pass their validators and agree:
    // one id, the icon the package carries, the same file types, the
    // programs' version as the newest release.
    void desktopAndAppStream()
    {
        const QString desktop = installed(u"usr/share/applications/"_s + appId + u".desktop"_s);
        const QString metainfo = installed(u"usr/share/metainfo/"_s + appId + u".metainfo.xml"_s);
        if (tool(u"desktop-file-validate"_s).isEmpty() || tool(u"appstreamcli"_s).isEmpty())
            QSKIP("desktop-file-utils or appstream is not installed");
        const auto desktopCheck = runProgram(u"desktop-file-validate"_s, {desktop});
        QVERIFY2(desktopCheck.exitCode == 0 && desktopCheck.out.isEmpty(),
                 qPrintable(desktopCheck.out + desktopCheck.err));
        const auto appstream =
            runProgram(u"appstreamcli"_s, {u"validate"_s, u"--no-net"_s, u"--explain"_s, metainfo});
        QVERIFY2(appstream.exitCode == 0, qPrintable(appstream.out + appstream.err));

        QMap<QString, QString> entry;
        for (const QByteArray &line : readFile(desktop).split('\n'))
            if (line.contains('='))
                entry.insert(QString::fromUtf8(line.left(line.indexOf('='))),
                             QString::fromUtf8(line.mid(line.indexOf('=') + 1)));
        QCOMPARE(entry.value(u"Icon"_s), appId);
        QCOMPARE(entry.value(u"Exec"_s), u"quirebook %F"_s);
        for (const QString size : {"scalable", "48x48"})
            QVERIFY(QFileInfo::exists(
                installed(u"usr/share/icons/hicolor/"_s + size + u"/apps/"_s + appId +
                          (size == QLatin1String("scalable") ? u".svg"_s : u".png"_s))));
        const QStringList desktopTypes = entry.value(u"MimeType"_s).split(u';', Qt::SkipEmptyParts);

        QFile file(metainfo);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QXmlStreamReader xml(&file);
        QString id, launchable, newest;
        QStringList types;
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            if (xml.name() == QLatin1String("id"))
                id = xml.readElementText();
            else if (xml.name() == QLatin1String("launchable"))
                launchable = xml.readElementText();
            else if (xml.name() == QLatin1String("mediatype"))
                types << xml.readElementText();
            else if (xml.name() == QLatin1String("release") && newest.isEmpty())
                newest = xml.attributes().value(u"version"_s).toString();
        }
        QVERIFY(!xml.hasError());
        QCOMPARE(id, appId);
        QCOMPARE(launchable, appId + u".desktop"_s);
        QCOMPARE(sorted(types), sorted(desktopTypes));
        QCOMPARE(newest, m_version);
    }

    // One page per program and per verb; each renders without a warning and
    // says what --help says.
    void manPages()
    {
        if (tool(u"man"_s).isEmpty())
            QSKIP("man is not installed");
        const QDir man1(installed(u"usr/share/man/man1"_s));
        QStringList expected{u"quirebook.1.gz"_s, u"quirebook-cli.1.gz"_s};
        for (const QString &verb : m_verbs.keys())
            expected << u"quirebook-cli-%1.1.gz"_s.arg(verb);
        QCOMPARE(sorted(man1.entryList(QDir::Files)), sorted(expected));

        const QMap<QString, QString> env{{u"MANWIDTH"_s, u"200"_s}, {u"LC_ALL"_s, u"C.UTF-8"_s}};
        QMap<QString, QString> text;
        for (const QString &page : expected) {
            const auto shown =
                runProgram(u"man"_s, {u"--warnings"_s, u"-l"_s, man1.filePath(page)}, env);
            QVERIFY2(shown.exitCode == 0 && shown.err.isEmpty(), qPrintable(page + shown.err));
            text.insert(page, shown.out.simplified());
        }
        const QString cli = text.value(u"quirebook-cli.1.gz"_s);
        QVERIFY(cli.contains(QLatin1String("Exit status:")));
        for (auto it = m_verbs.begin(); it != m_verbs.end(); ++it) {
            QVERIFY2(cli.contains(it.key() + u' ' + it.value()), qPrintable(it.key()));
            const QString page = text.value(u"quirebook-cli-%1.1.gz"_s.arg(it.key()));
            QVERIFY(page.contains(u"quirebook-cli %1 [options]"_s.arg(it.key())));
            QVERIFY2(page.contains(it.value().chopped(1)), qPrintable(page));
        }
        QVERIFY(text.value(u"quirebook.1.gz"_s).contains(QLatin1String("--selftest")));
    }

    // The installed completion offers every verb of --help and, after a
    // verb, exactly the options of that verb's --help.
    void completion()
    {
        const QString framework = u"/usr/share/bash-completion/bash_completion"_s;
        if (!QFileInfo::exists(framework))
            QSKIP("bash-completion is not installed");
        const QString script =
            u". \"$1\"; . \"$2\"; shift 2\n"
            "fn=$(complete -p quirebook-cli | sed -n 's/.*-F \\([^ ]*\\).*/\\1/p')\n"
            "offer() { COMP_WORDS=(quirebook-cli \"$@\"); COMP_CWORD=$#;\n"
            "  COMP_LINE=\"${COMP_WORDS[*]}\"; COMP_POINT=${#COMP_LINE}; COMPREPLY=();\n"
            "  \"$fn\" quirebook-cli \"${COMP_WORDS[$#]}\" \"${COMP_WORDS[$# - 1]}\";\n"
            "  echo \"${COMPREPLY[*]}\"; }\n"
            "offer ''\n"
            "for verb; do offer \"$verb\" -; done\n"_s;
        const QStringList verbs = m_verbs.keys();
        const auto result = runProgram(
            u"bash"_s,
            QStringList{u"-c"_s, script, u"bash"_s, framework,
                        installed(u"usr/share/bash-completion/completions/quirebook-cli"_s)} +
                verbs);
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QStringList offered = result.out.split(u'\n');
        QVERIFY(offered.size() > verbs.size());
        QStringList first = offered[0].split(u' ', Qt::SkipEmptyParts);
        QVERIFY(first.removeOne(u"--help"_s) && first.removeOne(u"--version"_s));
        QCOMPARE(sorted(first), verbs);
        for (int i = 0; i < verbs.size(); ++i) {
            const auto help = runCli({verbs[i], u"--help"_s});
            // Joined, so a difference names its verb.
            QCOMPARE(verbs[i] + u':' +
                         sorted(offered[i + 1].split(u' ', Qt::SkipEmptyParts)).join(u' '),
                     verbs[i] + u':' + optionsOf(help.out).join(u' '));
        }
    }

    void lintian()
    {
        if (tool(u"lintian"_s).isEmpty())
            QSKIP("lintian is not installed");
        const auto result =
            runProgram(u"lintian"_s, {u"--no-tag-display-limit"_s, m_deb}, {}, 600000);
        const QStringList errors = lines(result.out).filter(QRegularExpression(u"^E: "_s));
        QVERIFY2(errors.isEmpty(), qPrintable(result.out));
        QVERIFY2(result.exitCode == 0, qPrintable(result.out + result.err));
        if (!result.out.isEmpty())
            qInfo().noquote() << result.out;
    }

    // An install into DESTDIR under another prefix has everything under
    // both, and its programs run there, away from this build folder.
    void destdirInstall()
    {
        const QString destdir = m_work.filePath(u"destdir"_s);
        const auto install = runProgram(QStringLiteral(QUIREBOOK_CMAKE),
                                        {u"--install"_s, QStringLiteral(QUIREBOOK_BUILD_DIR),
                                         u"--prefix"_s, u"/opt/quirebook"_s},
                                        {{u"DESTDIR"_s, destdir}}, 300000);
        QVERIFY2(install.exitCode == 0, qPrintable(install.out + install.err));
        QCOMPARE(QDir(destdir).entryList(QDir::Dirs | QDir::NoDotAndDotDot), QStringList{u"opt"_s});
        const QString prefix = destdir + u"/opt/quirebook"_s;
        QVERIFY(QFileInfo::exists(prefix + u"/share/man/man1/quirebook.1.gz"_s));
        QVERIFY(QFileInfo::exists(prefix + u"/share/applications/"_s + appId + u".desktop"_s));

        QTemporaryDir elsewhere;
        auto program = [&](const QString &name, const QStringList &arguments) {
            QProcess process;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            for (const QString &key : env.keys())
                if (key.startsWith(QLatin1String("QUIREBOOK_")))
                    env.remove(key);
            env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
            process.setProcessEnvironment(env);
            process.setWorkingDirectory(elsewhere.path());
            process.start(prefix + u"/bin/"_s + name, arguments);
            process.waitForFinished(300000);
            return std::pair(process.exitCode(),
                             QString::fromUtf8(process.readAllStandardOutput()));
        };
        const auto [versionStatus, version] = program(u"quirebook-cli"_s, {u"--version"_s});
        QCOMPARE(versionStatus, 0);
        QCOMPARE(version.section(u'\n', 0, 0), u"quirebook-cli "_s + m_version);
        const auto [checkStatus, check] = program(u"quirebook"_s, {u"--selftest"_s});
        QVERIFY2(checkStatus == 0, qPrintable(check));
        QVERIFY(check.endsWith(QLatin1String("ALL PASSED\n")));
    }
};

QTEST_GUILESS_MAIN(TestPackage)
#include "tst_package.moc"
