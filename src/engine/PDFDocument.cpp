#include "engine/PDFDocument.h"

#include "engine/BestEffort.h"
#include "engine/PDFError.h"
#include "engine/PDFOpsProtect.h"
#include "engine/internal/Bookmarks.h"
#include "engine/internal/QpdfSupport.h"

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>
#include <qpdf/QUtil.hh>

#include <QCoreApplication>
#include <QFileInfo>

#include <cmath>
#include <functional>
#include <set>

QSizeF PageGeometry::uprightSize() const
{
    const QSizeF size(std::abs(cropBox.width()), std::abs(cropBox.height()));
    return (rotation == 90 || rotation == 270) ? size.transposed() : size;
}

PDFDocument::~PDFDocument() = default;

std::shared_ptr<PDFDocument> PDFDocument::open(const QString &path)
{
    QFileInfo fileInfo(path);
    if (!fileInfo.isFile() || !fileInfo.isReadable())
        return nullptr;
    std::shared_ptr<PDFDocument> doc(new PDFDocument);
    doc->m_path = path;
    doc->m_name = fileInfo.fileName();
    return doc->load({}) ? doc : nullptr;
}

std::shared_ptr<PDFDocument> PDFDocument::fromBytes(const QByteArray &bytes, const QString &name)
{
    std::shared_ptr<PDFDocument> doc(new PDFDocument);
    doc->m_bytes = bytes;
    doc->m_name = name;
    return doc->load({}) ? doc : nullptr;
}

std::shared_ptr<PDFDocument> PDFDocument::createEmpty()
{
    std::shared_ptr<PDFDocument> doc(new PDFDocument);
    doc->m_qpdf = qpdfsupport::newQPDF();
    doc->m_qpdf->emptyPDF();
    return doc;
}

// Opens the source with the given password bytes. Returns false when the
// source isn't a readable PDF; a wrong password leaves the document locked.
bool PDFDocument::load(const QByteArray &passwordBytes)
{
    auto q = qpdfsupport::newQPDF();
    try {
        const QByteArray pw = passwordBytes;
        if (m_path.isEmpty()) {
            q->processMemoryFile(m_name.toStdString().c_str(), m_bytes.constData(),
                                 size_t(m_bytes.size()), pw.constData());
        } else {
            q->processFile(QFile::encodeName(m_path).constData(), pw.constData());
        }
        // Walk the page tree now, so that a file that can't be paged is
        // refused at the door rather than in the middle of a job.
        const int count = qpdfsupport::countPagesMendingTree(*q);
        m_qpdf = std::move(q);
        m_pageCount = count;
        m_locked = false;
        return true;
    } catch (const QPDFExc &e) {
        if (e.getErrorCode() == qpdf_e_password) {
            if (!m_qpdf)
                m_locked = true;
            return true;
        }
    } catch (...) {
        return false; // not a PDF qpdf can read
    }
    return false;
}

std::shared_ptr<PDFDocument> PDFDocument::reopen() const
{
    auto again = !m_path.isEmpty()    ? open(m_path)
                 : !m_bytes.isEmpty() ? fromBytes(m_bytes, m_name)
                                      : nullptr;
    if (again && m_password && !again->unlock(*m_password))
        return nullptr;
    if (!again || again->isLocked() || again->pageCount() != pageCount())
        return nullptr;
    return again;
}

bool PDFDocument::unlock(const QString &password)
{
    if (m_path.isEmpty() && m_bytes.isEmpty())
        return false; // made in memory: nothing to unlock
    const std::string utf8 = password.toStdString();
    std::vector<std::string> candidates{utf8, PDFOps::preparedPassword(password).toStdString()};
    bool has8bit = false, validUtf8 = false, utf16 = false;
    QUtil::analyze_encoding(utf8, has8bit, validUtf8, utf16);
    if (has8bit) {
        // Older encryption takes the password in a one-byte encoding.
        std::string converted;
        if (QUtil::utf8_to_pdf_doc(utf8, converted))
            candidates.push_back(converted);
        if (QUtil::utf8_to_win_ansi(utf8, converted))
            candidates.push_back(converted);
        for (auto &alternative : QUtil::possible_repaired_encodings(utf8))
            candidates.push_back(alternative);
    }
    std::set<std::string> tried;
    for (const auto &candidate : candidates) {
        if (!tried.insert(candidate).second)
            continue;
        auto before = m_qpdf;
        const bool wasLocked = m_locked;
        m_qpdf.reset();
        m_locked = false;
        const QByteArray bytes = QByteArray::fromStdString(candidate);
        if (load(bytes) && !m_locked && m_qpdf) {
            m_password = password;
            return true;
        }
        m_qpdf = before;
        m_locked = wasLocked;
    }
    return false;
}

bool PDFDocument::isLocked() const
{
    return m_locked;
}

bool PDFDocument::isEncrypted() const
{
    if (m_locked)
        return true;
    try {
        return m_qpdf && m_qpdf->isEncrypted();
    } catch (...) {
        return false;
    }
}

bool PDFDocument::hasOwnerRights() const
{
    if (m_locked || !m_qpdf)
        return false;
    try {
        return !m_qpdf->isEncrypted() || m_qpdf->ownerPasswordMatched();
    } catch (...) {
        return false;
    }
}

namespace {
bool permission(const PDFDocument &doc, const std::function<bool(QPDF &)> &query)
{
    if (doc.isLocked() || !doc.qpdf())
        return false;
    if (doc.hasOwnerRights())
        return true;
    try {
        return query(*doc.qpdf());
    } catch (...) {
        return false;
    }
}
} // namespace

bool PDFDocument::allowsCopying() const
{
    return permission(*this, [](QPDF &q) { return q.allowExtractAll(); });
}

bool PDFDocument::allowsAssembly() const
{
    return permission(*this, [](QPDF &q) { return q.allowModifyAssembly(); });
}

bool PDFDocument::allowsChanges() const
{
    return permission(*this, [](QPDF &q) { return q.allowModifyOther(); });
}

bool PDFDocument::allowsPrinting() const
{
    return permission(*this, [](QPDF &q) { return q.allowPrintLowRes(); });
}

QString PDFDocument::encryptionMethod() const
{
    if (!m_qpdf)
        return {};
    try {
        int R = 0, P = 0, V = 0;
        using M = QPDF::encryption_method_e;
        M stream = QPDF::e_none, string = QPDF::e_none, file = QPDF::e_none;
        if (!m_qpdf->isEncrypted(R, P, V, stream, string, file))
            return {};
        if (R >= 5 || stream == QPDF::e_aesv3)
            return QStringLiteral("AES-256");
        if (V < 4)
            return R == 2 ? QStringLiteral("RC4 40-bit") : QStringLiteral("RC4 128-bit");
        if (stream == QPDF::e_aes || string == QPDF::e_aes)
            return QStringLiteral("AES-128");
        if (stream == QPDF::e_rc4 || string == QPDF::e_rc4)
            return QStringLiteral("RC4 128-bit");
        return QStringLiteral("unknown");
    } catch (...) {
        return {};
    }
}

int PDFDocument::pageCount() const
{
    return m_locked ? 0 : m_pageCount;
}

void PDFDocument::pagesChanged()
{
    if (!m_qpdf)
        return;
    try {
        m_qpdf->updateAllPagesCache();
        m_pageCount = int(QPDFPageDocumentHelper(*m_qpdf).getAllPages().size());
    } catch (...) {
        m_pageCount = 0;
    }
}

std::optional<PageGeometry> PDFDocument::page(int index) const
{
    if (!m_qpdf || index < 0 || index >= m_pageCount)
        return std::nullopt;
    try {
        auto pages = QPDFPageDocumentHelper(*m_qpdf).getAllPages();
        if (index >= int(pages.size()))
            return std::nullopt;
        return qpdfsupport::geometry(pages[size_t(index)]);
    } catch (...) {
        return std::nullopt;
    }
}

DocumentInfo PDFDocument::info() const
{
    DocumentInfo info;
    if (!m_qpdf)
        return info;
    bestEffort([&] {
        auto dict = m_qpdf->getTrailer().getKey("/Info");
        if (!dict.isDictionary())
            return;
        auto text = [&](const char *key) { return qpdfsupport::textOf(dict.getKey(key)); };
        info.title = text("/Title");
        info.author = text("/Author");
        info.subject = text("/Subject");
        info.keywords = text("/Keywords");
        info.creator = text("/Creator");
        info.producer = text("/Producer");
    });
    return info;
}

void PDFDocument::setInfo(const DocumentInfo &info)
{
    if (!m_qpdf)
        return;
    bestEffort([&] {
        auto dict = QPDFObjectHandle::newDictionary();
        auto set = [&](const char *key, const QString &value) {
            if (!value.isEmpty())
                dict.replaceKey(key, QPDFObjectHandle::newUnicodeString(value.toStdString()));
        };
        set("/Title", info.title);
        set("/Author", info.author);
        set("/Subject", info.subject);
        set("/Keywords", info.keywords);
        set("/Creator", info.creator);
        set("/Producer", info.producer);
        m_qpdf->getTrailer().replaceKey("/Info", m_qpdf->makeIndirectObject(dict));
    });
}

QList<OutlineEntry> PDFDocument::outline() const
{
    QList<OutlineEntry> items;
    if (!m_qpdf)
        return items;
    bestEffort([&] {
        const bookmarks::Destinations destinations(*m_qpdf);
        std::function<QList<OutlineEntry>(const std::vector<bookmarks::Mark> &)> entries =
            [&](const std::vector<bookmarks::Mark> &marks) {
                QList<OutlineEntry> out;
                for (const auto &mark : marks)
                    out.append({qpdfsupport::textOf(mark.title),
                                mark.target ? mark.target->page : -1, entries(mark.children)});
                return out;
            };
        items = entries(bookmarks::read(*m_qpdf, destinations));
    });
    return items;
}

int PDFDocument::outlineCount() const
{
    std::function<int(const QList<OutlineEntry> &)> count = [&](const QList<OutlineEntry> &level) {
        int n = 0;
        for (const auto &item : level)
            n += 1 + count(item.children);
        return n;
    };
    return count(outline());
}

namespace {
void configure(QPDFWriter &writer, const WriteOptions &options)
{
    writer.setPreserveEncryption(false);
    if (options.compact) {
        writer.setObjectStreamMode(qpdf_o_generate);
        writer.setCompressStreams(true);
        writer.setDecodeLevel(qpdf_dl_generalized);
        writer.setRecompressFlate(false);
    }
    if (options.encrypt) {
        const std::string user = options.userPassword.toStdString();
        const std::string owner = options.ownerPassword.toStdString();
        writer.setR6EncryptionParameters(user.c_str(), owner.c_str(),
                                         true,                 // accessibility
                                         options.allowCopying, // extract
                                         options.allowChanges, // assemble
                                         options.allowChanges, // annotate and form
                                         options.allowChanges, // form filling
                                         options.allowChanges, // other changes
                                         options.allowPrinting ? qpdf_r3p_full : qpdf_r3p_none,
                                         true);
    }
}
} // namespace

void PDFDocument::write(const QString &destination, const WriteOptions &options,
                        const QString &failureMessage) const
{
    writePending(destination, options, failureMessage).commit(destination);
}

SafeWrite::Pending PDFDocument::writePending(const QString &destination,
                                             const WriteOptions &options,
                                             const QString &failureMessage) const
{
    const QString sentence =
        failureMessage.isEmpty()
            ? QCoreApplication::translate("PDFDocument", "Couldn't write the file.")
            : failureMessage;
    if (!m_qpdf)
        throw PDFError::failed(PDFError::lockedText());
    return SafeWrite::Pending(
        destination,
        [&](SafeWrite::Target &out) {
            qpdfsupport::TargetPipeline pipeline(out);
            QPDFWriter writer(*m_qpdf);
            writer.setOutputPipeline(&pipeline);
            configure(writer, options);
            writer.write();
        },
        sentence);
}

QByteArray PDFDocument::toBytes(const WriteOptions &options) const
{
    if (!m_qpdf)
        throw PDFError::failed(PDFError::lockedText());
    try {
        QPDFWriter writer(*m_qpdf);
        writer.setOutputMemory();
        configure(writer, options);
        writer.write();
        auto buffer = writer.getBufferSharedPointer();
        return QByteArray(reinterpret_cast<const char *>(buffer->getBuffer()),
                          qsizetype(buffer->getSize()));
    } catch (...) {
        throw PDFError::failed(
            QCoreApplication::translate("PDFDocument", "Couldn't write the file."));
    }
}
