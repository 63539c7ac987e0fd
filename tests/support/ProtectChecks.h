#pragma once

// Fixtures and independent checks for password protection: a document
// with a filled form field and an attachment, what poppler reports about
// a written file, and what qpdf's command line says about its encryption.

#include "engine/PDFDocument.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

namespace ProtectChecks {

// `pdf` with a text field "name" holding "Ana Lima" on page 1 and an
// attached file "notes.txt" (its bytes: attachmentBytes()), written with
// the given options (encryption included).
QByteArray withFormAndAttachment(const QByteArray &pdf, const WriteOptions &options = {});
QByteArray attachmentBytes();

// What poppler makes of a file opened with a password (or none).
struct PopplerView {
    bool opened = false; // read and unlocked
    bool locked = false; // read, but the password is missing or wrong
    bool encrypted = false;
    int pages = 0;
    QStringList texts;
    bool print = false, copy = false;
    QMap<QString, QByteArray> attachments; // name → bytes, the document's and the pages'
    QMap<QString, QString> textFields;     // fully qualified name → value
    QStringList outline;                   // titles, depth first
    int links = 0;
    QString title;
    QString author;
};
PopplerView poppler(const QString &path, const QString &password = {});

// `qpdf --show-encryption` (with --password when given): "R", "P",
// "stream encryption method", ... and "status" (the exit code); lines
// without a value ("Supplied password is owner password") are keys too.
QMap<QString, QString> qpdfEncryption(const QString &path, const QString &password = {});
// `qpdf --requires-password`: 0 when a password is needed, 2 when the file
// isn't encrypted, 3 when it is but opens without one.
int qpdfRequiresPassword(const QString &path);

} // namespace ProtectChecks
