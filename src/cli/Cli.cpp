#include "Cli.h"

#include "FileInfo.h"
#include "Terminal.h"
#include "Workspace.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <functional>

namespace Cli {

namespace {

QString tr(const char *text) { return QCoreApplication::translate("Cli", text); }

void out(const QString &text)
{
    std::fputs(text.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void err(const QString &text)
{
    std::fputs(text.toUtf8().constData(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

struct Verb {
    QString name;
    QString summary;
    std::function<int(const QStringList &)> run;
};

// Options every verb that opens sources understands.
struct SourceOptions {
    QCommandLineOption password{QStringLiteral("password"),
                                tr("Password that opens a locked PDF."), tr("PW")};
    QCommandLineOption passwordFile{QStringLiteral("password-file"),
                                    tr("Read the password from the first line of FILE."),
                                    tr("FILE")};
    QCommandLineOption ownerPassword{QStringLiteral("owner-password"),
                                     tr("Owner password that lifts a PDF's restrictions."),
                                     tr("PW")};
    QCommandLineOption ownerPasswordFile{
        QStringLiteral("owner-password-file"),
        tr("Read the owner password from the first line of FILE."), tr("FILE")};

    void addTo(QCommandLineParser &parser) const
    {
        parser.addOptions({password, passwordFile, ownerPassword, ownerPasswordFile});
    }
};

// The first line of a file, without its line break.
std::optional<QString> firstLine(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray line = file.readLine();
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return QString::fromUtf8(line);
}

struct Passwords {
    std::optional<QString> user;
    std::optional<QString> owner;
};

// Reads the passwords from the options, the files they name, or the
// environment. Nothing on success; the message for the person otherwise.
std::optional<QString> readPasswords(const QCommandLineParser &parser, const SourceOptions &o,
                                     Passwords &passwords)
{
    auto pick = [&](const QCommandLineOption &direct, const QCommandLineOption &fromFile,
                    const char *environment, std::optional<QString> &into) -> std::optional<QString> {
        if (parser.isSet(fromFile)) {
            const QString path = parser.value(fromFile);
            into = firstLine(path);
            if (!into)
                return tr("Couldn't read the password file “%1”.").arg(path);
        } else if (parser.isSet(direct)) {
            into = parser.value(direct);
        } else if (environment && qEnvironmentVariableIsSet(environment)) {
            into = qEnvironmentVariable(environment);
        }
        return std::nullopt;
    };
    if (auto problem = pick(o.password, o.passwordFile, "QUIREBOOK_PASSWORD", passwords.user))
        return problem;
    return pick(o.ownerPassword, o.ownerPasswordFile, nullptr, passwords.owner);
}

// Parses a verb's arguments. Returns a status to end with, or nothing to go on.
std::optional<int> parse(QCommandLineParser &parser, const QString &verb,
                         const QString &description, const QString &positional,
                         const QStringList &arguments)
{
    parser.setApplicationDescription(description);
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  tr("Show this help."));
    parser.addOption(help);
    parser.addPositionalArgument(QStringLiteral("files"), positional, QStringLiteral("FILE..."));
    if (!parser.parse(QStringList{QStringLiteral("quirebook-cli ") + verb} + arguments)) {
        err(QStringLiteral("quirebook-cli %1: %2").arg(verb, parser.errorText()));
        err(tr("Try “quirebook-cli %1 --help”.").arg(verb));
        return Usage;
    }
    if (parser.isSet(help)) {
        QString text = parser.helpText();
        text.replace(QStringLiteral("quirebook-cli %1 [options]").arg(verb),
                     QStringLiteral("quirebook-cli %1 [options]").arg(verb));
        std::fputs(text.toUtf8().constData(), stdout);
        return Done;
    }
    return std::nullopt;
}

int info(const QStringList &arguments)
{
    QCommandLineParser parser;
    SourceOptions sources;
    sources.addTo(parser);
    const QCommandLineOption json(QStringLiteral("json"), tr("Print JSON instead of text."));
    parser.addOption(json);
    if (auto status = parse(parser, QStringLiteral("info"),
                            tr("Tell what each file is: pages, size, encryption, permissions, "
                               "title and bookmarks."),
                            tr("PDFs or pictures to describe."), arguments))
        return *status;
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty()) {
        err(tr("quirebook-cli info: name at least one file."));
        return Usage;
    }
    Passwords passwords;
    if (auto problem = readPasswords(parser, sources, passwords)) {
        err(QStringLiteral("quirebook-cli: ") + *problem);
        return Failed;
    }

    CliDialogs dialogs(passwords.user, passwords.owner, Terminal::stdinIsInteractive());
    Workspace workspace;
    workspace.setDialogs(&dialogs);
    int status = Done;
    QJsonArray reports;
    bool first = true;
    for (const QString &path : paths) {
        workspace.setNotice(std::nullopt);
        const auto before = workspace.files().size();
        workspace.add({path});
        if (workspace.files().size() == before) {
            err(QStringLiteral("quirebook-cli: ") + workspace.notice().value_or(QString()));
            status = Failed;
            continue;
        }
        PDFFile file = workspace.files().last();
        if (file.restricted() && passwords.owner) {
            workspace.unlockOwner(file.id);
            file = *workspace.file(file.id);
        }
        const FileInfo report = FileInfo::describe(file);
        if (parser.isSet(json)) {
            QJsonObject object = report.toJson();
            object.insert(QStringLiteral("path"), path);
            reports.append(object);
        } else {
            if (!first)
                out(QString());
            out(report.toText());
        }
        first = false;
    }
    if (parser.isSet(json))
        out(QString::fromUtf8(QJsonDocument(reports).toJson(QJsonDocument::Indented)).trimmed());
    return status;
}

const QList<Verb> &verbs()
{
    static const QList<Verb> list{
        {QStringLiteral("info"), tr("Describe PDFs and pictures."), info},
    };
    return list;
}

void usage()
{
    out(tr("Usage: quirebook-cli VERB [options] FILE..."));
    out(QString());
    out(tr("Everyday work on PDF files and pictures. Everything happens on your computer."));
    out(QString());
    out(tr("Verbs:"));
    for (const auto &verb : verbs())
        out(QStringLiteral("  %1  %2").arg(verb.name, -10).arg(verb.summary));
    out(QString());
    out(tr("“quirebook-cli VERB --help” tells more about one verb."));
}

} // namespace

std::optional<QString> CliDialogs::askSecret(const SecretPrompt &prompt)
{
    const bool owner = prompt.purpose == SecretPrompt::Purpose::OwnerPassword;
    const auto &given = owner ? m_owner : m_password;
    if (given)
        return prompt.attempt == 1 ? given : std::nullopt;
    if (!m_interactive || owner)
        return std::nullopt;
    const QString text = prompt.attempt == 1
                             ? tr("Password for “%1”: ").arg(prompt.fileName)
                             : prompt.informative + QLatin1Char(' ');
    return Terminal::readSecret(text);
}

int run(const QStringList &arguments)
{
    if (arguments.isEmpty()) {
        usage();
        return Usage;
    }
    const QString first = arguments.first();
    if (first == QLatin1String("--help") || first == QLatin1String("-h") || first == QLatin1String("help")) {
        usage();
        return Done;
    }
    if (first == QLatin1String("--version")) {
        out(QStringLiteral("quirebook-cli %1").arg(QStringLiteral(QUIREBOOK_VERSION)));
        return Done;
    }
    for (const auto &verb : verbs())
        if (verb.name == first)
            return verb.run(arguments.mid(1));
    err(tr("quirebook-cli: “%1” isn't a verb. Try “quirebook-cli --help”.").arg(first));
    return Usage;
}

} // namespace Cli
