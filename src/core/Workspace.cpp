#include "Workspace.h"

#include "PDFOps.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>

namespace {
QString tr(const char *text) { return QCoreApplication::translate("Workspace", text); }

QString quoted(const QString &name) { return QChar(0x201C) + name + QChar(0x201D); }

QString retryText(int attempt)
{
    return tr("That password didn't work. Try again (%1 of 3).").arg(attempt);
}
} // namespace

Workspace::Workspace(QObject *parent) : QObject(parent) {}

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

Workspace::FileType Workspace::typeOf(const QString &path)
{
    static const QStringList pictures{QStringLiteral("jpg"),  QStringLiteral("jpeg"),
                                      QStringLiteral("png"),  QStringLiteral("heic"),
                                      QStringLiteral("heif"), QStringLiteral("gif"),
                                      QStringLiteral("bmp"),  QStringLiteral("tif"),
                                      QStringLiteral("tiff"), QStringLiteral("webp")};
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("pdf"))
        return FileType::Pdf;
    if (pictures.contains(extension))
        return FileType::Picture;
    return FileType::Other;
}

qint64 Workspace::bytes(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() ? info.size() : 0;
}

std::optional<QString> Workspace::askOpenPassword(PDFDocument &doc, const QString &fileName)
{
    if (!m_dialogs)
        return std::nullopt;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        SecretPrompt prompt;
        prompt.purpose = SecretPrompt::Purpose::OpenPassword;
        prompt.fileName = fileName;
        prompt.attempt = attempt;
        prompt.message = tr("This PDF is password-protected");
        prompt.informative = attempt == 1
                                 ? tr("Type the password to open %1.").arg(quoted(fileName))
                                 : retryText(attempt);
        prompt.acceptTitle = tr("Open");
        const auto typed = m_dialogs->askSecret(prompt);
        if (!typed)
            return std::nullopt;
        if (doc.unlock(*typed))
            return typed;
    }
    return std::nullopt;
}

void Workspace::add(const QStringList &paths)
{
    QStringList refusals;
    bool filesChangedFlag = false, selectionChangedFlag = false;
    for (const QString &path : paths) {
        const QString fileName = QFileInfo(path).fileName();
        switch (typeOf(path)) {
        case FileType::Pdf: {
            auto doc = PDFDocument::open(path);
            if (!doc) {
                refusals << tr("%1 couldn't be read as a PDF.").arg(quoted(fileName));
                break;
            }
            std::optional<QString> password;
            if (doc->isLocked()) {
                password = askOpenPassword(*doc, fileName);
                if (!password) {
                    refusals << tr("%1 stayed locked.").arg(quoted(fileName));
                    break;
                }
            }
            if (doc->pageCount() < 1) {
                refusals << tr("%1 has no pages.").arg(quoted(fileName));
                break;
            }
            PDFFile entry;
            entry.id = QUuid::createUuid();
            entry.path = path;
            entry.kind = PDFFile::Kind::Pdf;
            entry.doc = doc;
            entry.password = password;
            entry.bytes = bytes(path);
            m_files.append(entry);
            filesChangedFlag = true;
            if (!m_selectedID || pdfs().size() == 1) {
                m_selectedID = entry.id;
                selectionChangedFlag = true;
            }
            break;
        }
        case FileType::Picture: {
            const auto image = PDFOps::loadImage(path, kPictureMaxPixel);
            auto doc = image ? PDFOps::page(*image) : nullptr;
            if (!doc) {
                refusals << tr("%1 couldn't be read as a picture.").arg(quoted(fileName));
                break;
            }
            PDFFile entry;
            entry.id = QUuid::createUuid();
            entry.path = path;
            entry.kind = PDFFile::Kind::Image;
            entry.doc = doc;
            entry.pictureDocument = doc->toBytes();
            entry.bytes = bytes(path);
            m_files.append(entry);
            filesChangedFlag = true;
            break;
        }
        case FileType::Other:
            refusals << tr("%1 isn't a PDF or a picture.").arg(quoted(fileName));
            break;
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
    qsizetype index = -1;
    for (qsizetype i = 0; i < m_files.size(); ++i)
        if (m_files[i].id == id)
            index = i;
    if (index < 0 || !m_dialogs)
        return;
    const QString fileName = m_files[index].fileName();
    for (int attempt = 1; attempt <= 3; ++attempt) {
        SecretPrompt prompt;
        prompt.purpose = SecretPrompt::Purpose::OwnerPassword;
        prompt.fileName = fileName;
        prompt.attempt = attempt;
        prompt.message = tr("Owner password needed");
        prompt.informative =
            attempt == 1 ? tr("%1 limits what can be done with it (such as copying or editing). "
                              "Enter its owner password to continue.")
                               .arg(quoted(fileName))
                         : retryText(attempt);
        prompt.acceptTitle = tr("OK");
        const auto typed = m_dialogs->askSecret(prompt);
        if (!typed)
            return;
        auto doc = PDFDocument::open(m_files[index].path);
        if (!doc)
            return;
        if (doc->unlock(*typed) && !PDFOps::isRestricted(*doc)) {
            m_files[index].doc = doc;
            m_files[index].password = typed;
            Q_EMIT filesChanged();
            return;
        }
    }
    setNotice(tr("The owner password wasn't accepted, so the file stays as it is."));
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
