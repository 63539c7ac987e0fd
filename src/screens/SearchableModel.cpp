#include "SearchableModel.h"

#include "Output.h"
#include "SearchableTask.h"
#include "Workspace.h"

#include <QCoreApplication>

namespace {
const QString kEnglish = QStringLiteral("eng");

QString joined(const QStringList &extra)
{
    QString label = Tasks::languageName(kEnglish);
    for (const QString &code : extra)
        label = QCoreApplication::translate("SearchableModel", "%1 and %2").arg(label, Tasks::languageName(code));
    return label;
}
} // namespace

SearchableModel::SearchableModel(Workspace &workspace, QObject *parent) : ToolModel(workspace, parent)
{
    m_languages.append({joined({}), {}});
    for (const QString &code : Tasks::searchableLanguages())
        if (code != kEnglish)
            m_languages.append({joined({code}), {code}});
    // The run reads English plus the remembered languages still installed,
    // so the picker shows exactly those, even a combination it doesn't
    // offer itself.
    QStringList remembered = Tasks::languagesFor(std::nullopt);
    remembered.removeAll(kEnglish);
    m_languageIndex = -1;
    for (qsizetype i = 0; i < m_languages.size(); ++i)
        if (m_languages[i].extra == remembered)
            m_languageIndex = int(i);
    if (m_languageIndex < 0) {
        m_languages.append({joined(remembered), remembered});
        m_languageIndex = int(m_languages.size() - 1);
    }
}

void SearchableModel::setSkip(bool skip)
{
    if (skip == m_skip)
        return;
    m_skip = skip;
    Q_EMIT changed();
}

void SearchableModel::setLanguageIndex(int index)
{
    if (index < 0 || index >= m_languages.size() || index == m_languageIndex)
        return;
    m_languageIndex = index;
    Tasks::rememberLanguages(m_languages[index].extra);
    Q_EMIT changed();
}

bool SearchableModel::canStart() const { return !m_job.isRunning() && m_ws.current().has_value(); }

void SearchableModel::start()
{
    const auto file = m_ws.current();
    if (!file || !canStart())
        return;
    const auto destination = Output::pdfURL(*file, Tasks::searchableSuffix(), m_ws.dialogs());
    if (!destination)
        return;
    const PDFFile source = *file;
    Tasks::SearchableOptions options;
    options.skipPagesWithText = m_skip;
    // Settled here, where the picker was read, not later on the worker.
    options.languages = Tasks::languagesFor(std::nullopt);
    const QString target = *destination;
    m_job.run(Tasks::searchableJobTitle(), [source, options, target](const Progress &progress,
                                                                   const IsCancelled &isCancelled) {
        return Tasks::makeSearchable(source, options, target, progress, isCancelled);
    });
}
