#include "SplitModel.h"

#include "Output.h"
#include "PDFError.h"
#include "Workspace.h"

#include <algorithm>

SplitModel::SplitModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
}

void SplitModel::setMode(Split::Mode mode)
{
    if (mode == m_mode)
        return;
    m_mode = mode;
    Q_EMIT changed();
}

void SplitModel::setRangeText(const QString &text)
{
    if (text == m_rangeText)
        return;
    m_rangeText = text;
    Q_EMIT changed();
}

int SplitModel::every() const { return std::clamp(m_every, 1, everyMaximum()); }

void SplitModel::setEvery(int every)
{
    every = std::clamp(every, 1, everyMaximum());
    if (every == m_every)
        return;
    m_every = every;
    Q_EMIT changed();
}

int SplitModel::everyMaximum() const { return std::max(1, pageCount()); }

int SplitModel::pageCount() const
{
    const auto current = m_ws.current();
    return current ? current->pageCount() : 0;
}

PageRanges::Result SplitModel::groups() const
{
    return Split::groups(m_mode, m_rangeText, every(), pageCount());
}

QString SplitModel::preview() const
{
    const auto result = groups();
    const auto *list = std::get_if<PageRanges::Groups>(&result);
    return list && !list->isEmpty() ? Split::preview(*list) : QString();
}

QString SplitModel::error() const
{
    if (m_mode != Split::Mode::Ranges || m_rangeText.isEmpty())
        return {};
    const auto result = groups();
    const auto *failure = std::get_if<PageRanges::Failure>(&result);
    return failure ? failure->message() : QString();
}

bool SplitModel::canSplit() const
{
    if (m_job.isRunning() || !m_ws.current())
        return false;
    const auto result = groups();
    const auto *list = std::get_if<PageRanges::Groups>(&result);
    return list && !list->isEmpty();
}

void SplitModel::split()
{
    const auto file = m_ws.current();
    if (!file || !canSplit())
        return;
    const PageRanges::Groups groups = std::get<PageRanges::Groups>(this->groups());
    QString folder;
    try {
        folder = Output::newFolder(*file, QStringLiteral("split"));
    } catch (const PDFError &e) {
        m_job.fail(e.description());
        return;
    }
    const PDFFile source = *file;
    m_job.run(tr("Splitting"), [source, groups, folder](const Progress &progress,
                                                       const IsCancelled &isCancelled) {
        return Tasks::split(source, groups, folder, progress, isCancelled);
    });
}
