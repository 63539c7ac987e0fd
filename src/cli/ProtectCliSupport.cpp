#include "ProtectCliSupport.h"

#include "Cli.h"
#include "Output.h"
#include "PDFOps.h"
#include "Terminal.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace ProtectCli {

namespace {
QString tr(const char *text) { return QCoreApplication::translate("ProtectCli", text); }
} // namespace

QCommandLineOption outputOption()
{
    return QCommandLineOption({QStringLiteral("o"), QStringLiteral("output")},
                              tr("Write the result into FOLDER, or as the file FOLDER names "
                                 "(numbered if it exists)."),
                              tr("FOLDER"));
}

std::optional<int> checkOutput(const QString &output, qsizetype sourceCount, const QString &verb)
{
    if (output.isEmpty() || sourceCount < 2 || QFileInfo(output).isDir())
        return std::nullopt;
    Cli::complain(tr("With several files, -o must name an existing folder."));
    Cli::err(tr("Try “quirebook-cli %1 --help”.").arg(verb));
    return Cli::Usage;
}

std::optional<QString> destination(const PDFFile &file, const QString &suffix,
                                   const QString &output)
{
    const QString base = file.name() + u' ' + suffix;
    if (output.isEmpty()) {
        if (auto place = Output::pdfURL(file, suffix, nullptr))
            return place;
        Cli::complain(tr("Quirebook can't write next to “%1”. Choose another place with -o.")
                          .arg(file.fileName()));
        return std::nullopt;
    }
    const QFileInfo info(output);
    if (info.isDir())
        return PDFOps::uniqueURL(info.absoluteFilePath(), base, QStringLiteral("pdf"));
    // A file name: kept as given, numbered rather than overwriting.
    QString name = info.fileName();
    QString extension;
    if (name.endsWith(QLatin1String(".pdf"), Qt::CaseInsensitive)) {
        extension = name.right(3);
        name.chop(4);
    }
    return PDFOps::uniqueURL(info.absolutePath(), name, extension);
}

int runAndReport(const QString &label, const Work &work, bool quiet)
{
    const auto result = Cli::execute(label, work, quiet);
    if (const int *status = std::get_if<int>(&result))
        return *status;
    const Outcome &outcome = std::get<Outcome>(result);
    for (const QString &url : outcome.urls)
        Cli::out(QDir::toNativeSeparators(url));
    if (!quiet && Terminal::stderrIsInteractive())
        Cli::err(outcome.title + QStringLiteral(". ") + outcome.detail);
    return Cli::Done;
}

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

} // namespace ProtectCli
