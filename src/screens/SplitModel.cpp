#include "screens/SplitModel.h"

#include "core/Workspace.h"

#include <algorithm>

SplitModel::SplitModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
}

void SplitModel::setMode(Split::Mode mode)
{
    if (mode == m_request.mode)
        return;
    m_request.mode = mode;
    Q_EMIT changed();
}

void SplitModel::setRangeText(const QString &text)
{
    if (text == m_request.ranges)
        return;
    m_request.ranges = text;
    Q_EMIT changed();
}

int SplitModel::every() const
{
    return std::clamp(m_request.every, 1, everyMaximum());
}

void SplitModel::setEvery(int every)
{
    every = std::clamp(every, 1, everyMaximum());
    if (every == m_request.every)
        return;
    m_request.every = every;
    Q_EMIT changed();
}

int SplitModel::everyMaximum() const
{
    return std::max(1, pageCount());
}

int SplitModel::pageCount() const
{
    const auto current = m_ws.current();
    return current ? current->pageCount() : 0;
}

PageRanges::Result SplitModel::groups() const
{
    // The part size as the chosen file allows it.
    Split::Request request = m_request;
    request.every = every();
    return request.groups(pageCount());
}

QString SplitModel::preview() const
{
    const auto result = groups();
    const auto *list = std::get_if<PageRanges::Groups>(&result);
    return list && !list->isEmpty() ? Split::preview(*list) : QString();
}

QString SplitModel::error() const
{
    if (m_request.mode != Split::Mode::Ranges || m_request.ranges.isEmpty())
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
    if (!canSplit())
        return;
    const PageRanges::Groups groups = std::get<PageRanges::Groups>(this->groups());
    startTowards(Split::destination, Split::jobTitle(),
                 [groups](const PDFFile &file, const QString &folder, const Progress &progress,
                          const IsCancelled &isCancelled) {
                     return Split::run(file, groups, folder, progress, isCancelled);
                 });
}
