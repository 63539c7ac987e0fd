#include "tasks/MakeSearchable.h"

#include "engine/PDFError.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>
#include <QSettings>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Searchable", text);
}

const char *const kLanguagesKey = "searchable/languages";
const QString kEnglish = QStringLiteral("eng");

// "3,412": grouped the same whatever the user's locale, like the other
// figures the program prints.
QString count(int n)
{
    QString digits = QString::number(n);
    for (qsizetype at = digits.size() - 3; at > (n < 0 ? 1 : 0); at -= 3)
        digits.insert(at, u',');
    return digits;
}

// The window's settings, also from quirebook-cli (which has no organisation
// of its own), so that both read with the languages chosen last.
std::unique_ptr<QSettings> settings()
{
    if (QCoreApplication::organizationName().isEmpty())
        return std::make_unique<QSettings>(QStringLiteral("Quirebook"),
                                           QStringLiteral("Quirebook"));
    return std::make_unique<QSettings>();
}

} // namespace

namespace MakeSearchable {

QString explanation()
{
    return tr("Quirebook reads each scanned page with on-device text recognition (on your "
              "computer, nothing is uploaded) and hides the words behind the picture. The page "
              "looks exactly the same, but you can search it, select text and copy it.");
}

QString skipToggle()
{
    return tr("Skip pages that already have text");
}
QString button()
{
    return tr("Make Searchable");
}
QString jobTitle()
{
    return tr("Reading");
}
QString suffix()
{
    return QStringLiteral("searchable");
}

QString detail(const Searchable::Stats &stats)
{
    QString detail = (stats.pagesRead == 1 ? tr("Read %1 page, found %2 words.")
                                           : tr("Read %1 pages, found %2 words."))
                         .arg(count(stats.pagesRead), count(stats.words));
    if (stats.pagesSkipped >= 1)
        detail += u' ' + tr("%1 already had text.").arg(count(stats.pagesSkipped));
    if (stats.pagesRead >= 1 && stats.words == 0)
        detail += u' ' + tr("No text was recognised — the pages may be blank or too blurry.");
    return detail;
}

QString summary(const Searchable::Stats &stats)
{
    return (stats.pagesRead == 1 ? tr("Read %1 page, found %2 words; skipped %3")
                                 : tr("Read %1 pages, found %2 words; skipped %3"))
        .arg(count(stats.pagesRead), count(stats.words), count(stats.pagesSkipped));
}

QStringList installedLanguages()
{
    QStringList codes = Searchable::installedLanguages();
    if (codes.removeAll(kEnglish) > 0)
        codes.prepend(kEnglish);
    return codes;
}

QString languageName(const QString &code)
{
    // tesseract's codes are ISO 639-2 with a variant after an underscore
    // ("chi_sim", "deu_latf").
    const QString base = code.section(u'_', 0, 0);
    const QLocale::Language language = QLocale::codeToLanguage(base, QLocale::ISO639Part2);
    if (language == QLocale::AnyLanguage || language == QLocale::C)
        return code;
    QString name = QLocale::languageToString(language);
    const QString variant = code.section(u'_', 1);
    if (variant == QLatin1String("sim"))
        name += tr(" (Simplified)");
    else if (variant == QLatin1String("tra"))
        name += tr(" (Traditional)");
    else if (variant == QLatin1String("vert"))
        name += tr(" (vertical)");
    else if (!variant.isEmpty())
        name += QStringLiteral(" (") + variant + u')';
    return name;
}

QStringList rememberedLanguages()
{
    QStringList codes = settings()->value(QLatin1String(kLanguagesKey)).toStringList();
    codes.removeAll(kEnglish);
    codes.removeDuplicates();
    return codes;
}

void rememberLanguages(const QStringList &extra)
{
    QStringList codes = extra;
    codes.removeAll(kEnglish);
    codes.removeDuplicates();
    settings()->setValue(QLatin1String(kLanguagesKey), codes);
}

QStringList languagesFor(const std::optional<QStringList> &chosen)
{
    QStringList codes;
    if (chosen) {
        for (const QString &part : *chosen)
            for (const QString &code : part.split(u'+', Qt::SkipEmptyParts))
                codes << code.trimmed();
    } else {
        // English, and whatever else the user asked for last, where it is
        // still installed.
        codes << kEnglish;
        const QStringList installed = Searchable::installedLanguages();
        for (const QString &code : rememberedLanguages())
            if (installed.contains(code))
                codes << code;
    }
    codes.removeAll(QString());
    codes.removeDuplicates();
    if (codes.isEmpty())
        codes << kEnglish;
    return codes;
}

std::optional<QString> missingLanguage(const QStringList &codes)
{
    const QStringList installed = Searchable::installedLanguages();
    for (const QString &code : codes)
        if (!installed.contains(code))
            return installed.isEmpty()
                       ? tr("No text recognition languages are installed. Install "
                            "tesseract-ocr-eng (and others you need) and try again.")
                       : tr("The language “%1” isn't installed for text recognition. Installed: "
                            "%2.")
                             .arg(code, installed.join(QStringLiteral(", ")));
    return std::nullopt;
}

QString resolutionRefusal(const QString &typed)
{
    return tr("“%1” isn't a resolution Quirebook reads at. Use a whole number of dots per inch "
              "from %2 to %3.")
        .arg(typed)
        .arg(Request::kMinDpi)
        .arg(Request::kMaxDpi);
}

std::optional<QString> Request::validate() const
{
    if (dpi < kMinDpi || dpi > kMaxDpi)
        return resolutionRefusal(QString::number(dpi));
    if (languages)
        return missingLanguage(*languages);
    return std::nullopt;
}

Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled,
            const std::shared_ptr<Searchable::Stats> &stats)
{
    if (const auto problem = request.validate())
        throw PDFError::failed(*problem);
    const QStringList languages = languagesFor(request.languages);
    if (const auto missing = missingLanguage(languages))
        throw PDFError::failed(*missing);
    const auto doc = file.fresh();
    if (!doc)
        throw PDFError::notOpened(file.fileName());
    Searchable::Options recognition;
    recognition.dpi = request.dpi;
    recognition.skipPagesWithText = request.skipPagesWithText;
    recognition.languages = languages;
    const Searchable::Stats result =
        Searchable::make(*doc, destination, recognition, progress, isCancelled);
    if (stats)
        *stats = result;
    return {tr("Saved “%1”").arg(QFileInfo(destination).fileName()), detail(result), {destination}};
}

} // namespace MakeSearchable
