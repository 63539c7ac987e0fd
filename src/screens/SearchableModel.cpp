#include "screens/SearchableModel.h"

#include "core/Workspace.h"
#include "tasks/MakeSearchable.h"

#include <QCoreApplication>

namespace {
const QString kEnglish = QStringLiteral("eng");

QString joined(const QStringList &extra)
{
    QString label = MakeSearchable::languageName(kEnglish);
    for (const QString &code : extra)
        label = QCoreApplication::translate("SearchableModel", "%1 and %2")
                    .arg(label, MakeSearchable::languageName(code));
    return label;
}
} // namespace

SearchableModel::SearchableModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
    m_languages.append({joined({}), {}});
    for (const QString &code : MakeSearchable::installedLanguages())
        if (code != kEnglish)
            m_languages.append({joined({code}), {code}});
    // The run reads English plus the remembered languages still installed,
    // so the picker shows exactly those, even a combination it doesn't
    // offer itself.
    QStringList remembered = MakeSearchable::languagesFor(std::nullopt);
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
    if (skip == m_request.skipPagesWithText)
        return;
    m_request.skipPagesWithText = skip;
    Q_EMIT changed();
}

void SearchableModel::setLanguageIndex(int index)
{
    if (index < 0 || index >= m_languages.size() || index == m_languageIndex)
        return;
    m_languageIndex = index;
    MakeSearchable::rememberLanguages(m_languages[index].extra);
    Q_EMIT changed();
}

bool SearchableModel::canStart() const
{
    return !m_job.isRunning() && m_ws.current().has_value();
}

void SearchableModel::start()
{
    if (!canStart())
        return;
    MakeSearchable::Request request = m_request;
    // Settled here, where the picker was read, not later on the worker.
    request.languages = MakeSearchable::languagesFor(std::nullopt);
    startTowardsPDF(MakeSearchable::suffix(), MakeSearchable::jobTitle(),
                    [request](const PDFFile &file, const QString &to, const Progress &progress,
                              const IsCancelled &isCancelled) {
                        return MakeSearchable::run(file, request, to, progress, isCancelled);
                    });
}
