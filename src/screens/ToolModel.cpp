#include "ToolModel.h"

#include "Workspace.h"

ToolModel::ToolModel(Workspace &workspace, QObject *parent) : QObject(parent), m_ws(workspace)
{
    if (const auto current = m_ws.current())
        m_fileID = current->id;
    connect(&m_job, &Job::stateChanged, this, &ToolModel::changed);
    connect(&m_ws, &Workspace::selectionChanged, this, &ToolModel::followSelection);
    connect(&m_ws, &Workspace::filesChanged, this, &ToolModel::followSelection);
}

void ToolModel::followSelection()
{
    const auto current = m_ws.current();
    const std::optional<QUuid> id = current ? std::optional(current->id) : std::nullopt;
    if (id != m_fileID) {
        m_fileID = id;
        m_job.reset();
    }
    Q_EMIT changed();
}
