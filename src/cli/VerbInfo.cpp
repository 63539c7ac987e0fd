#include "cli/Cli.h"
#include "tasks/FileInfo.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbInfo", text);
}

int info(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption json(QStringLiteral("json"), tr("Print JSON instead of text."));
    parser.addOption(json);
    if (auto status = Cli::parse(parser, QStringLiteral("info"),
                                 tr("Tell what each file is: pages, page size, encryption, "
                                    "permissions, title and bookmarks."),
                                 tr("PDFs or pictures to describe."), arguments))
        return *status;
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty()) {
        Cli::complain(tr("Name at least one file. Try “quirebook-cli info --help”."));
        return Cli::Usage;
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    int status = Cli::Done;
    QJsonArray reports;
    for (const QString &path : paths) {
        const auto file = sources.open(path);
        if (!file) {
            status = Cli::Failed;
            continue;
        }
        const FileInfo report = FileInfo::describe(*file);
        if (parser.isSet(json)) {
            QJsonObject object = report.toJson();
            object.insert(QStringLiteral("path"), path);
            reports.append(object);
        } else {
            if (!reports.isEmpty())
                Cli::out(QString());
            Cli::out(report.toText());
            reports.append(QJsonValue(true)); // counts what was printed
        }
    }
    if (parser.isSet(json))
        Cli::out(
            QString::fromUtf8(QJsonDocument(reports).toJson(QJsonDocument::Indented)).trimmed());
    return status;
}

const Cli::Registration registration{
    {QStringLiteral("info"), QCoreApplication::translate("VerbInfo", "Describe PDFs and pictures."),
     info}};

} // namespace
