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
    static const QRegularExpression line(QStringLiteral("^  ([a-z]+)  +(.+)$"),
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
    static const QRegularExpression line(QStringLiteral("^  (?:(-[a-z]), )?(--[a-z-]+)"),
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
        const auto help = runCli({QStringLiteral("--help")});
        m_verbs = verbsOf(help.out);
        QVERIFY2(m_verbs.size() >= 11, qPrintable(help.out));
        m_version = runCli({QStringLiteral("--version")}).out.section(u'\n', 0, 0).section(u' ', 1);
        QVERIFY(!m_version.isEmpty());
        if (tool(QStringLiteral("dpkg-deb")).isEmpty() ||
            tool(QStringLiteral("dpkg-shlibdeps")).isEmpty())
            QSKIP("dpkg-dev is not installed");

        const QString out = m_work.filePath(QStringLiteral("deb"));
        const auto cpack = runProgram(
            QStringLiteral(QUIREBOOK_CPACK),
            {QStringLiteral("-G"), QStringLiteral("DEB"), QStringLiteral("--config"),
             QStringLiteral(QUIREBOOK_BUILD_DIR "/CPackConfig.cmake"), QStringLiteral("-B"), out},
            {}, 600000);
        QVERIFY2(cpack.exitCode == 0, qPrintable(cpack.out + cpack.err));
        const QStringList debs = QDir(out).entryList({QStringLiteral("quirebook_*.deb")});
        QCOMPARE(debs.size(), 1);
        m_deb = QDir(out).filePath(debs.first());
        QVERIFY(debs.first().startsWith(QStringLiteral("quirebook_%1_").arg(m_version)));
        m_root = m_work.filePath(QStringLiteral("root"));
        const auto unpack =
            runProgram(QStringLiteral("dpkg-deb"), {QStringLiteral("-x"), m_deb, m_root});
        QVERIFY2(unpack.exitCode == 0, qPrintable(unpack.err));
    }

    // Depends come from the binaries (dpkg-shlibdeps) plus the data the
    // programs read; the version, also the changelog's newest, is the
    // programs' own. (Icons, permissions and stripping are lintian's.)
    void control()
    {
        const auto changelog =
            runProgram(QStringLiteral("gzip"),
                       {QStringLiteral("-dc"),
                        installed(QStringLiteral("usr/share/doc/quirebook/changelog.gz"))});
        QVERIFY2(changelog.out.startsWith(QStringLiteral("quirebook (%1) ").arg(m_version)),
                 qPrintable(changelog.out));
        const auto fields = runProgram(QStringLiteral("dpkg-deb"),
                                       {QStringLiteral("-f"), m_deb, QStringLiteral("Version"),
                                        QStringLiteral("Depends"), QStringLiteral("Recommends")});
        QCOMPARE(fields.exitCode, 0);
        QVERIFY(fields.out.contains(QStringLiteral("Version: ") + m_version + u'\n'));
        const QString depends =
            fields.out.section(QStringLiteral("Depends: "), 1).section(u'\n', 0, 0);
        for (const char *package :
             {"libqt6widgets6", "libqpdf", "libpoppler-qt6", "libtesseract", "libheif",
              "tesseract-ocr-eng", "tesseract-ocr-osd", "poppler-data", "adwaita-icon-theme"})
            QVERIFY2(depends.contains(QLatin1String(package)),
                     qPrintable(depends + u' ' + package));
        const QString recommends = fields.out.section(QStringLiteral("Recommends: "), 1);
        QVERIFY(recommends.contains(QLatin1String("qt6-wayland")));
        QVERIFY(recommends.contains(QLatin1String("qt6-gtk-platformtheme")));
    }

    // The launcher and the AppStream data pass their validators and agree:
    // one id, the icon the package carries, the same file types, the
    // programs' version as the newest release.
    void desktopAndAppStream()
    {
        const QString desktop = installed(QStringLiteral("usr/share/applications/") + appId +
                                          QStringLiteral(".desktop"));
        const QString metainfo = installed(QStringLiteral("usr/share/metainfo/") + appId +
                                           QStringLiteral(".metainfo.xml"));
        if (tool(QStringLiteral("desktop-file-validate")).isEmpty() ||
            tool(QStringLiteral("appstreamcli")).isEmpty())
            QSKIP("desktop-file-utils or appstream is not installed");
        const auto desktopCheck = runProgram(QStringLiteral("desktop-file-validate"), {desktop});
        QVERIFY2(desktopCheck.exitCode == 0 && desktopCheck.out.isEmpty(),
                 qPrintable(desktopCheck.out + desktopCheck.err));
        const auto appstream = runProgram(QStringLiteral("appstreamcli"),
                                          {QStringLiteral("validate"), QStringLiteral("--no-net"),
                                           QStringLiteral("--explain"), metainfo});
        QVERIFY2(appstream.exitCode == 0, qPrintable(appstream.out + appstream.err));

        QMap<QString, QString> entry;
        for (const QByteArray &line : readFile(desktop).split('\n'))
            if (line.contains('='))
                entry.insert(QString::fromUtf8(line.left(line.indexOf('='))),
                             QString::fromUtf8(line.mid(line.indexOf('=') + 1)));
        QCOMPARE(entry.value(QStringLiteral("Icon")), appId);
        QCOMPARE(entry.value(QStringLiteral("Exec")), QStringLiteral("quirebook %F"));
        for (const QString size : {"scalable", "48x48"})
            QVERIFY(QFileInfo::exists(
                installed(QStringLiteral("usr/share/icons/hicolor/") + size +
                          QStringLiteral("/apps/") + appId +
                          (size == QLatin1String("scalable") ? QStringLiteral(".svg")
                                                             : QStringLiteral(".png")))));
        const QStringList desktopTypes =
            entry.value(QStringLiteral("MimeType")).split(u';', Qt::SkipEmptyParts);

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
                newest = xml.attributes().value(QStringLiteral("version")).toString();
        }
        QVERIFY(!xml.hasError());
        QCOMPARE(id, appId);
        QCOMPARE(launchable, appId + QStringLiteral(".desktop"));
        QCOMPARE(sorted(types), sorted(desktopTypes));
        QCOMPARE(newest, m_version);
    }

    // One page per program and per verb; each renders without a warning and
    // says what --help says.
    void manPages()
    {
        if (tool(QStringLiteral("man")).isEmpty())
            QSKIP("man is not installed");
        const QDir man1(installed(QStringLiteral("usr/share/man/man1")));
        QStringList expected{QStringLiteral("quirebook.1.gz"),
                             QStringLiteral("quirebook-cli.1.gz")};
        for (const QString &verb : m_verbs.keys())
            expected << QStringLiteral("quirebook-cli-%1.1.gz").arg(verb);
        QCOMPARE(sorted(man1.entryList(QDir::Files)), sorted(expected));

        const QMap<QString, QString> env{{QStringLiteral("MANWIDTH"), QStringLiteral("200")},
                                         {QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8")}};
        QMap<QString, QString> text;
        for (const QString &page : expected) {
            const auto shown = runProgram(
                QStringLiteral("man"),
                {QStringLiteral("--warnings"), QStringLiteral("-l"), man1.filePath(page)}, env);
            QVERIFY2(shown.exitCode == 0 && shown.err.isEmpty(), qPrintable(page + shown.err));
            text.insert(page, shown.out.simplified());
        }
        const QString cli = text.value(QStringLiteral("quirebook-cli.1.gz"));
        QVERIFY(cli.contains(QLatin1String("Exit status:")));
        for (auto it = m_verbs.begin(); it != m_verbs.end(); ++it) {
            QVERIFY2(cli.contains(it.key() + u' ' + it.value()), qPrintable(it.key()));
            const QString page = text.value(QStringLiteral("quirebook-cli-%1.1.gz").arg(it.key()));
            QVERIFY(page.contains(QStringLiteral("quirebook-cli %1 [options]").arg(it.key())));
            QVERIFY2(page.contains(it.value().chopped(1)), qPrintable(page));
        }
        QVERIFY(text.value(QStringLiteral("quirebook.1.gz")).contains(QLatin1String("--selftest")));
    }

    // The installed completion offers every verb of --help and, after a
    // verb, exactly the options of that verb's --help.
    void completion()
    {
        const QString framework = QStringLiteral("/usr/share/bash-completion/bash_completion");
        if (!QFileInfo::exists(framework))
            QSKIP("bash-completion is not installed");
        const QString script = QStringLiteral(
            ". \"$1\"; . \"$2\"; shift 2\n"
            "fn=$(complete -p quirebook-cli | sed -n 's/.*-F \\([^ ]*\\).*/\\1/p')\n"
            "offer() { COMP_WORDS=(quirebook-cli \"$@\"); COMP_CWORD=$#;\n"
            "  COMP_LINE=\"${COMP_WORDS[*]}\"; COMP_POINT=${#COMP_LINE}; COMPREPLY=();\n"
            "  \"$fn\" quirebook-cli \"${COMP_WORDS[$#]}\" \"${COMP_WORDS[$# - 1]}\";\n"
            "  echo \"${COMPREPLY[*]}\"; }\n"
            "offer ''\n"
            "for verb; do offer \"$verb\" -; done\n");
        const QStringList verbs = m_verbs.keys();
        const auto result = runProgram(
            QStringLiteral("bash"),
            QStringList{
                QStringLiteral("-c"), script, QStringLiteral("bash"), framework,
                installed(QStringLiteral("usr/share/bash-completion/completions/quirebook-cli"))} +
                verbs);
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QStringList offered = result.out.split(u'\n');
        QVERIFY(offered.size() > verbs.size());
        QStringList first = offered[0].split(u' ', Qt::SkipEmptyParts);
        QVERIFY(first.removeOne(QStringLiteral("--help")) &&
                first.removeOne(QStringLiteral("--version")));
        QCOMPARE(sorted(first), verbs);
        for (int i = 0; i < verbs.size(); ++i) {
            const auto help = runCli({verbs[i], QStringLiteral("--help")});
            // Joined, so a difference names its verb.
            QCOMPARE(verbs[i] + u':' +
                         sorted(offered[i + 1].split(u' ', Qt::SkipEmptyParts)).join(u' '),
                     verbs[i] + u':' + optionsOf(help.out).join(u' '));
        }
    }

    void lintian()
    {
        if (tool(QStringLiteral("lintian")).isEmpty())
            QSKIP("lintian is not installed");
        const auto result =
            runProgram(QStringLiteral("lintian"), {QStringLiteral("--no-tag-display-limit"), m_deb},
                       {}, 600000);
        const QStringList errors =
            lines(result.out).filter(QRegularExpression(QStringLiteral("^E: ")));
        QVERIFY2(errors.isEmpty(), qPrintable(result.out));
        QVERIFY2(result.exitCode == 0, qPrintable(result.out + result.err));
        if (!result.out.isEmpty())
            qInfo().noquote() << result.out;
    }

    // An install into DESTDIR under another prefix has everything under
    // both, and its programs run there, away from this build folder.
    void destdirInstall()
    {
        const QString destdir = m_work.filePath(QStringLiteral("destdir"));
        const auto install =
            runProgram(QStringLiteral(QUIREBOOK_CMAKE),
                       {QStringLiteral("--install"), QStringLiteral(QUIREBOOK_BUILD_DIR),
                        QStringLiteral("--prefix"), QStringLiteral("/opt/quirebook")},
                       {{QStringLiteral("DESTDIR"), destdir}}, 300000);
        QVERIFY2(install.exitCode == 0, qPrintable(install.out + install.err));
        QCOMPARE(QDir(destdir).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
                 QStringList{QStringLiteral("opt")});
        const QString prefix = destdir + QStringLiteral("/opt/quirebook");
        QVERIFY(QFileInfo::exists(prefix + QStringLiteral("/share/man/man1/quirebook.1.gz")));
        QVERIFY(QFileInfo::exists(prefix + QStringLiteral("/share/applications/") + appId +
                                  QStringLiteral(".desktop")));

        QTemporaryDir elsewhere;
        auto program = [&](const QString &name, const QStringList &arguments) {
            QProcess process;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            for (const QString &key : env.keys())
                if (key.startsWith(QLatin1String("QUIREBOOK_")))
                    env.remove(key);
            env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
            process.setProcessEnvironment(env);
            process.setWorkingDirectory(elsewhere.path());
            process.start(prefix + QStringLiteral("/bin/") + name, arguments);
            process.waitForFinished(300000);
            return std::pair(process.exitCode(),
                             QString::fromUtf8(process.readAllStandardOutput()));
        };
        const auto [versionStatus, version] =
            program(QStringLiteral("quirebook-cli"), {QStringLiteral("--version")});
        QCOMPARE(versionStatus, 0);
        QCOMPARE(version.section(u'\n', 0, 0), QStringLiteral("quirebook-cli ") + m_version);
        const auto [checkStatus, check] =
            program(QStringLiteral("quirebook"), {QStringLiteral("--selftest")});
        QVERIFY2(checkStatus == 0, qPrintable(check));
        QVERIFY(check.endsWith(QLatin1String("ALL PASSED\n")));
    }
};

QTEST_GUILESS_MAIN(TestPackage)
#include "tst_package.moc"
