#include "tasks/Convert.h"

#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/PageWorkers.h"
#include "engine/SafeWrite.h"
#include "tasks/DrawingSource.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTextBoundaryFinder>

#include <memory>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Convert", text);
}

// Writes text as UTF-8 while trimming white space from both ends of the
// whole, counting its words and enough of its characters to tell a real
// text from a few stray marks, without holding it all in memory. Nothing
// is written before the text is known to be more than a few marks.
class TrimmedWriter {
public:
    explicit TrimmedWriter(const std::function<void(const QByteArray &)> &out)
        : m_out(out)
    {
    }

    void append(const QString &chunk)
    {
        for (const QChar c : chunk) {
            if (c.isSpace()) {
                if (m_started)
                    m_pending += c;
                m_inWord = false;
                continue;
            }
            m_started = true;
            if (!m_pending.isEmpty()) {
                put(m_pending);
                m_pending.clear();
            }
            m_buffer += c;
            ++m_written;
            if (m_prefix.size() < kPrefix)
                m_prefix += c;
            if (!m_inWord) {
                ++m_words;
                m_inWord = true;
            }
        }
        if (m_buffer.size() >= kFlushAt)
            flush();
    }

    // Writes what is buffered; trailing white space is dropped.
    void finish()
    {
        m_finished = true;
        flush();
    }

    qint64 words() const { return m_words; }

    // The number of characters as a person counts them, exact for short
    // texts (the only ones where it matters).
    qint64 characters() const
    {
        if (m_written >= kPrefix)
            return m_written;
        qint64 count = 0;
        QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, m_prefix);
        while (finder.toNextBoundary() >= 0)
            ++count;
        return count;
    }

private:
    static constexpr qsizetype kPrefix = 256;
    static constexpr qsizetype kFlushAt = 1 << 16;

    void put(const QString &text)
    {
        m_buffer += text;
        m_written += text.size();
        if (m_prefix.size() < kPrefix)
            m_prefix += text.left(kPrefix - m_prefix.size());
    }

    void flush()
    {
        if (m_buffer.isEmpty() || (!m_finished && m_written < kPrefix))
            return;
        m_out(m_buffer.toUtf8());
        m_buffer.clear();
    }

    const std::function<void(const QByteArray &)> &m_out;
    bool m_finished = false;
    QString m_buffer;
    QString m_pending;
    QString m_prefix;
    bool m_started = false;
    bool m_inWord = false;
    qint64 m_written = 0;
    qint64 m_words = 0;
};

} // namespace

namespace Convert {

qint64 extractText(const PDFFile &file, const std::function<void(const QByteArray &)> &write,
                   const Progress &progress, const IsCancelled &isCancelled)
{
    const DrawingSource drawing = drawingSourceFor(file);
    const int pageCount = drawing.pageCount;
    TrimmedWriter writer(write);
    const auto makeWorker = [&]() -> std::function<QString(int)> {
        std::shared_ptr<DrawingDocument> own = DrawingDocument::open(drawing.source);
        if (!own)
            throw PDFError::notOpened(file.fileName());
        return [own](int index) { return own->text(index); };
    };
    PageWorkers::run<QString>(
        pageCount, PageWorkers::defaultCount(), makeWorker,
        [&](int index, QString &&page) {
            // A form feed between pages, as plain-text tools expect.
            if (index > 0)
                writer.append(QStringLiteral("\n\f"));
            writer.append(page);
            progress(index + 1, pageCount);
        },
        isCancelled);
    if (writer.characters() < 4)
        throw PDFError::failed(noTextText());
    writer.finish();
    return writer.words();
}

Outcome text(const PDFFile &file, const QString &destination, const Progress &progress,
             const IsCancelled &isCancelled)
{
    // Something may have taken the name since it was chosen: never overwrite.
    QString target = destination;
    if (QFileInfo::exists(target) || QFileInfo(target).isSymLink()) {
        const QFileInfo info(destination);
        target = PDFOps::uniqueURL(info.absolutePath(), info.completeBaseName(), info.suffix());
    }
    const QString name = QFileInfo(target).fileName();

    qint64 words = 0;
    SafeWrite::write(
        target,
        [&](SafeWrite::Target &out) {
            words = extractText(
                file, [&out](const QByteArray &bytes) { out.write(bytes); }, progress, isCancelled);
        },
        tr("Couldn't save “%1”.").arg(name));

    return Outcome{tr("Saved “%1”").arg(name), tr("%1 words.").arg(words), {target}};
}

} // namespace Convert
