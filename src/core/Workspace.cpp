#include "core/Workspace.h"

#include "core/Intake.h"

#include <QFileInfo>

#include <algorithm>

Workspace::Workspace(QObject *parent)
    : QObject(parent)
{
}

QList<PDFFile> Workspace::pdfs() const
{
    QList<PDFFile> result;
    for (const auto &f : m_files)
        if (f.kind == PDFFile::Kind::Pdf)
            result.append(f);
    return result;
}

std::optional<PDFFile> Workspace::current() const
{
    const auto list = pdfs();
    if (list.isEmpty())
        return std::nullopt;
    if (m_selectedID)
        for (const auto &f : list)
            if (f.id == *m_selectedID)
                return f;
    return list.first();
}

std::optional<PDFFile> Workspace::file(const QUuid &id) const
{
    for (const auto &f : m_files)
        if (f.id == id)
            return f;
    return std::nullopt;
}

qint64 Workspace::bytes(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() ? info.size() : 0;
}

void Workspace::add(const QStringList &paths)
{
    QStringList refusals;
    bool filesChangedFlag = false, selectionChangedFlag = false;
    for (const QString &path : paths) {
        auto opened = Intake::open(path, m_dialogs);
        if (const auto *refusal = std::get_if<QString>(&opened)) {
            refusals << *refusal;
            continue;
        }
        const PDFFile &entry = std::get<PDFFile>(opened);
        m_files.append(entry);
        filesChangedFlag = true;
        if (entry.kind == PDFFile::Kind::Pdf && (!m_selectedID || pdfs().size() == 1)) {
            m_selectedID = entry.id;
            selectionChangedFlag = true;
        }
    }
    if (filesChangedFlag)
        Q_EMIT filesChanged();
    if (selectionChangedFlag)
        Q_EMIT selectionChanged();
    if (!refusals.isEmpty())
        setNotice(refusals.join(u'\n'));
}

void Workspace::remove(const QUuid &id)
{
    const auto before = m_files.size();
    m_files.removeIf([&](const PDFFile &f) { return f.id == id; });
    if (m_files.size() == before)
        return;
    Q_EMIT filesChanged();
    if (m_selectedID == id) {
        const auto list = pdfs();
        m_selectedID = list.isEmpty() ? std::nullopt : std::optional<QUuid>(list.first().id);
        Q_EMIT selectionChanged();
    }
}

void Workspace::move(const QList<qsizetype> &offsets, qsizetype destination)
{
    QList<qsizetype> sorted;
    for (qsizetype offset : offsets)
        if (offset >= 0 && offset < m_files.size() && !sorted.contains(offset))
            sorted.append(offset);
    if (sorted.isEmpty())
        return;
    std::sort(sorted.begin(), sorted.end());
    destination = std::clamp<qsizetype>(destination, 0, m_files.size());
    QList<PDFFile> moving, staying;
    qsizetype before = 0; // staying entries that end up ahead of the moved ones
    for (qsizetype i = 0; i < m_files.size(); ++i) {
        if (sorted.contains(i)) {
            moving.append(m_files[i]);
        } else {
            staying.append(m_files[i]);
            if (i < destination)
                ++before;
        }
    }
    QList<PDFFile> result = staying.mid(0, before);
    result += moving;
    result += staying.mid(before);
    bool same = true;
    for (qsizetype i = 0; i < result.size(); ++i)
        same = same && result[i].id == m_files[i].id;
    if (same)
        return;
    m_files = result;
    Q_EMIT filesChanged();
}

void Workspace::unlockOwner(const QUuid &id)
{
    for (PDFFile &file : m_files) {
        if (file.id != id)
            continue;
        switch (Intake::liftRestrictions(file, m_dialogs)) {
        case Intake::Password::Accepted: Q_EMIT filesChanged(); break;
        case Intake::Password::Refused:
            setNotice(tr("The owner password wasn't accepted, so the file stays as it is."));
            break;
        case Intake::Password::Cancelled: break;
        }
        return;
    }
}

void Workspace::select(const QUuid &id)
{
    if (m_selectedID == id)
        return;
    m_selectedID = id;
    Q_EMIT selectionChanged();
}

void Workspace::setTool(Tool tool)
{
    if (m_tool == tool)
        return;
    m_tool = tool;
    Q_EMIT toolChanged();
}

void Workspace::setNotice(const std::optional<QString> &notice)
{
    if (m_notice == notice)
        return;
    m_notice = notice;
    Q_EMIT noticeChanged();
}
