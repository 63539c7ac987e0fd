#include "cli/Cli.h"

#include "cli/Terminal.h"
#include "core/Format.h"
#include "core/Intake.h"

#include <QCoreApplication>
#include <QFile>

#include <cerrno>
#include <cstdio>

#include <unistd.h>

namespace Cli {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Cli", text);
}

QList<Verb> &registry()
{
    static QList<Verb> list;
    return list;
}

void usage()
{
    out(tr("Usage: quirebook-cli VERB [options] FILE..."));
    out(QString());
    out(tr("Everyday work on PDF files and pictures. Everything happens on your computer."));
    out(QString());
    out(tr("Verbs:"));
    auto verbs = registry();
    std::sort(verbs.begin(), verbs.end(),
              [](const Verb &a, const Verb &b) { return a.name < b.name; });
    for (const auto &verb : verbs)
        out(QStringLiteral("  %1  %2").arg(verb.name, -10).arg(verb.summary));
    out(QString());
    out(tr("“quirebook-cli VERB --help” tells more about one verb. Each result is a new file\n"
           "beside its source (or where -o says); its path is printed on stdout, one a line.\n"
           "\n"
           "Exit status:\n"
           "  0    done\n"
           "  1    the operation failed (the reason is on stderr)\n"
           "  2    wrong usage\n"
           "  130  cancelled with Ctrl-C; no temporary file is left behind\n"
           "\n"
           "Environment:\n"
           "  QUIREBOOK_PASSWORD      the password of a locked PDF\n"
           "  QUIREBOOK_NEW_PASSWORD  the open password protect gives its copy"));
}

} // namespace

std::optional<QString> firstLine(const QString &path)
{
    if (path == QLatin1String("-")) {
        // One byte at a time, so the next "-" gets the next line.
        QByteArray line;
        char c = 0;
        ssize_t n = 0;
        while ((n = ::read(STDIN_FILENO, &c, 1)) == 1 || (n < 0 && errno == EINTR)) {
            if (n == 1 && c == '\n')
                break;
            if (n == 1)
                line += c;
        }
        if (n < 0 || (n == 0 && line.isEmpty()))
            return std::nullopt;
        if (line.endsWith('\r'))
            line.chop(1);
        return QString::fromUtf8(line);
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray line = file.readLine();
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return QString::fromUtf8(line);
}

Registration::Registration(Verb verb)
{
    registry().append(std::move(verb));
}

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

void complain(const QString &message)
{
    err(QStringLiteral("quirebook-cli: ") + message);
}

std::optional<int> parse(QCommandLineParser &parser, const QString &verb,
                         const QString &description, const QString &positionalHelp,
                         const QStringList &arguments)
{
    parser.setApplicationDescription(description);
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  tr("Show this help."));
    parser.addOption(help);
    if (!positionalHelp.isEmpty())
        parser.addPositionalArgument(QStringLiteral("FILE"), positionalHelp,
                                     QStringLiteral("FILE..."));
    if (!parser.parse(QStringList{QStringLiteral("quirebook-cli ") + verb} + arguments)) {
        complain(parser.errorText());
        err(tr("Try “quirebook-cli %1 --help”.").arg(verb));
        return Usage;
    }
    if (parser.isSet(help)) {
        // Qt names the program by its path and leaves the verb out.
        QString text = parser.helpText();
        const qsizetype options = text.indexOf(QLatin1String(" [options]"));
        if (text.startsWith(QLatin1String("Usage: ")) && options > 0)
            text.replace(7, options - 7, QStringLiteral("quirebook-cli ") + verb);
        std::fputs(text.toUtf8().constData(), stdout);
        return Done;
    }
    return std::nullopt;
}

std::optional<QString> CliDialogs::askSecret(const SecretPrompt &prompt)
{
    const bool owner = prompt.purpose == SecretPrompt::Purpose::OwnerPassword;
    const QStringList &given = owner ? m_owners : m_passwords;
    int &counter = owner ? m_restrictedFiles : m_lockedFiles;
    if (prompt.attempt == 1)
        ++counter;
    if (!given.isEmpty()) {
        // This file's own password first, then the others.
        QStringList order;
        const int own = std::min<int>(counter, int(given.size())) - 1;
        order << given[own];
        for (int i = 0; i < given.size(); ++i)
            if (i != own && !order.contains(given[i]))
                order << given[i];
        return prompt.attempt <= order.size() ? std::optional<QString>(order[prompt.attempt - 1])
                                              : std::nullopt;
    }
    if (!m_interactive || owner)
        return std::nullopt;
    const QString text = prompt.attempt == 1 ? tr("Password for “%1”: ").arg(prompt.fileName)
                                             : prompt.informative + QLatin1Char(' ');
    return Terminal::readSecret(text);
}

Sources::Sources()
    : m_password(QStringLiteral("password"), tr("Password that opens a locked PDF."), tr("PW"))
    , m_passwordFile(QStringLiteral("password-file"),
                     tr("Read the password from the first line of FILE (- for standard "
                        "input)."),
                     tr("FILE"))
    , m_ownerPassword(QStringLiteral("owner-password"),
                      tr("Owner password that lifts a PDF's restrictions."), tr("PW"))
    , m_ownerPasswordFile(QStringLiteral("owner-password-file"),
                          tr("Read the owner password from the first line of FILE."), tr("FILE"))
{
}

void Sources::addOptionsTo(QCommandLineParser &parser) const
{
    parser.addOptions({m_password, m_passwordFile, m_ownerPassword, m_ownerPasswordFile});
}

bool Sources::readPasswords(const QCommandLineParser &parser)
{
    auto pick = [&](const QCommandLineOption &direct, const QCommandLineOption &fromFile,
                    const char *environment, QStringList &into) {
        for (const QString &path : parser.values(fromFile)) {
            const auto line = firstLine(path);
            if (!line) {
                complain(path == QLatin1String("-")
                             ? tr("Couldn't read a password from standard input.")
                             : tr("Couldn't read the password file “%1”.").arg(path));
                return false;
            }
            into << *line;
        }
        into << parser.values(direct);
        if (into.isEmpty() && environment && qEnvironmentVariableIsSet(environment))
            into << qEnvironmentVariable(environment);
        return true;
    };
    if (!pick(m_password, m_passwordFile, "QUIREBOOK_PASSWORD", m_users) ||
        !pick(m_ownerPassword, m_ownerPasswordFile, nullptr, m_owners))
        return false;
    m_dialogs = std::make_unique<CliDialogs>(m_users, m_owners, Terminal::stdinIsInteractive());
    return true;
}

std::optional<PDFFile> Sources::open(const QString &path)
{
    auto opened = Intake::open(path, m_dialogs.get());
    if (const auto *refusal = std::get_if<QString>(&opened)) {
        complain(*refusal);
        return std::nullopt;
    }
    PDFFile &file = std::get<PDFFile>(opened);
    if (file.restricted() && !m_owners.isEmpty())
        Intake::liftRestrictions(file, m_dialogs.get());
    return file;
}

int run(const QStringList &arguments)
{
    if (arguments.isEmpty()) {
        usage();
        return Usage;
    }
    const QString first = arguments.first();
    if (first == QLatin1String("--help") || first == QLatin1String("-h") ||
        first == QLatin1String("help")) {
        usage();
        return Done;
    }
    if (first == QLatin1String("--version")) {
        std::fputs(Format::version(QStringLiteral("quirebook-cli")).toUtf8().constData(), stdout);
        return Done;
    }
    for (const auto &verb : registry())
        if (verb.name == first)
            return verb.run(arguments.mid(1));
    complain(tr("“%1” isn't a verb. Try “quirebook-cli --help”.").arg(first));
    return Usage;
}

} // namespace Cli
