#include "tasks/Sign.h"

#include "engine/PDFError.h"

#include <QCoreApplication>
#include <QDate>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("Sign", text);
}

// The locale's long date format with the weekday taken out, so the order
// and punctuation of day, month and year stay the locale's own.
QString dateFormatWithoutWeekday(const QLocale &locale)
{
    QString format = locale.dateFormat(QLocale::LongFormat);
    static const QRegularExpression weekday(QStringLiteral("d{3,4}[,\\.]?\\s*"));
    format.remove(weekday);
    static const QRegularExpression trailing(QStringLiteral("[,\\s]+$"));
    format.remove(trailing);
    const bool complete = format.contains(QLatin1Char('d')) &&
                          format.contains(QLatin1String("MMMM")) &&
                          format.contains(QLatin1Char('y'));
    return complete ? format : QStringLiteral("d MMMM yyyy");
}
} // namespace

namespace Sign {

std::optional<QString> Request::validate() const
{
    if (placements.isEmpty())
        return tr("Place a signature, some text or a picture first.");
    return std::nullopt;
}

Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled)
{
    if (const auto problem = request.validate())
        throw PDFError::failed(*problem);
    const auto doc = file.freshForWork();
    PDFOps::flatten(*doc, request.placements, destination, progress, isCancelled);
    Outcome outcome;
    outcome.title = tr("Saved “%1”").arg(QFileInfo(destination).fileName());
    outcome.detail = tr("Signatures are part of the pages, so they show in every PDF viewer.");
    outcome.urls = {destination};
    return outcome;
}

QString today()
{
    const QLocale locale;
    return locale.toString(QDate::currentDate(), dateFormatWithoutWeekday(locale));
}

QString suffix()
{
    return QStringLiteral("signed");
}

QString jobTitle()
{
    return tr("Signing");
}

} // namespace Sign
