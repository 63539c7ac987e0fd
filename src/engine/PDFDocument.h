#pragma once

#include "engine/SafeWrite.h"

#include <QByteArray>
#include <QList>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

class QPDF;

// Where a page sits: its boxes in default user space and its rotation,
// plus the size it has once turned upright (the crop box, sides exchanged
// for 90 and 270 degrees).
struct PageGeometry {
    QRectF mediaBox;
    QRectF cropBox;
    int rotation = 0; // 0, 90, 180 or 270
    QSizeF uprightSize() const;
};

struct DocumentInfo {
    QString title;
    QString author;
    QString subject;
    QString keywords;
    QString creator;
    QString producer;
};

struct OutlineEntry {
    QString title;
    int pageIndex = -1; // -1 when the destination doesn't lead to a page
    QList<OutlineEntry> children;
};

// What a written copy carries: no encryption, or AES-256 with passwords
// and the permissions granted to whoever opens it with the user password.
struct WriteOptions {
    bool encrypt = false;
    QString userPassword;
    QString ownerPassword;
    bool allowPrinting = true;
    bool allowCopying = true;
    bool allowChanges = true; // assembly, annotations, forms and other changes
    bool compact = true;      // object streams and recompressed streams
};

// One PDF document, shared by reference. It is opened with qpdf; a
// document that needs a password stays locked (with no structure) until
// unlock() is given a password that works. Nothing thrown by qpdf leaves
// this class: failures are PDFErrors or empty results.
//
// Not thread-safe: a document is used by one thread at a time.
class PDFDocument {
public:
    ~PDFDocument();
    PDFDocument(const PDFDocument &) = delete;
    PDFDocument &operator=(const PDFDocument &) = delete;

    // Opens a file. Returns null when it isn't a PDF that can be read; a
    // document that needs a password comes back locked.
    static std::shared_ptr<PDFDocument> open(const QString &path);
    // The same for a PDF held in memory; `name` is used in messages.
    static std::shared_ptr<PDFDocument> fromBytes(const QByteArray &bytes, const QString &name);
    // A new document with no pages, to build into.
    static std::shared_ptr<PDFDocument> createEmpty();

    bool isLocked() const;
    bool isEncrypted() const;
    // True for an unencrypted document, or when the owner password opened it.
    bool hasOwnerRights() const;
    // The three permissions the program respects (owner rights allow all).
    bool allowsCopying() const;
    bool allowsAssembly() const;
    bool allowsChanges() const;
    bool allowsPrinting() const;
    // "AES-256", "AES-128", "RC4 128-bit", "RC4 40-bit"; empty when not encrypted.
    QString encryptionMethod() const;

    // Tries the password (as typed: UTF-8, with the usual fallbacks for
    // older encryption). On success the document is reopened with it and
    // true is returned; on failure nothing changes.
    bool unlock(const QString &password);
    // The password that opened the document, if one was needed or given.
    std::optional<QString> password() const { return m_password; }

    int pageCount() const;
    std::optional<PageGeometry> page(int index) const;
    DocumentInfo info() const;
    // Replaces the document info with the non-empty fields given.
    void setInfo(const DocumentInfo &info);
    QList<OutlineEntry> outline() const;
    int outlineCount() const; // every entry, nested ones included

    // Writes the document to `destination` through the safe write (never
    // half a file there). Throws PDFError: `failureMessage` (by default
    // "Couldn't write the file.") or the disk-full sentence.
    void write(const QString &destination, const WriteOptions &options = {},
               const QString &failureMessage = {}) const;
    // The same short of the last step: the whole file under its hidden
    // temporary name beside `destination`, put in place by commit().
    SafeWrite::Pending writePending(const QString &destination, const WriteOptions &options = {},
                                    const QString &failureMessage = {}) const;
    QByteArray toBytes(const WriteOptions &options = {}) const;

    // For the engine's own operations; null while locked.
    QPDF *qpdf() const { return m_qpdf.get(); }
    // Another reading of the same file or bytes, unlocked with the same
    // password, for another thread to work on. Null for a document made in
    // memory or one that can't be read again. Only what the document was
    // opened from is read, so this may run while another thread uses it.
    std::shared_ptr<PDFDocument> reopen() const;
    // The file the document came from; empty for documents made in memory.
    const QString &path() const { return m_path; }
    const QString &name() const { return m_name; }
    // Call after changing the page tree through qpdf().
    void pagesChanged();
    // Keeps a document alive for as long as this one: pages copied from it
    // read their stream data from it when this document is written.
    void retain(std::shared_ptr<const PDFDocument> source)
    {
        m_retained.push_back(std::move(source));
    }

private:
    PDFDocument() = default;
    bool load(const QByteArray &passwordBytes);

    QString m_path;
    QString m_name;
    QByteArray m_bytes; // source of an in-memory document
    std::shared_ptr<QPDF> m_qpdf;
    bool m_locked = false;
    std::optional<QString> m_password;
    int m_pageCount = 0;
    std::vector<std::shared_ptr<const PDFDocument>> m_retained;
};
