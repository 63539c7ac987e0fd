#pragma once

#include <QString>

#include <exception>
#include <string>

// The one error type of the program's own operations. Its description is
// shown to the user as it stands, so every text is a finished sentence.
class PDFError : public std::exception {
public:
    enum class Kind { Unreadable, Failed, Restricted, Cancelled };

    static PDFError unreadable(const QString &fileName);
    static PDFError failed(const QString &sentence);
    static PDFError restricted();
    static PDFError cancelled();
    // Why a file couldn't be opened: unreadable(fileName), unless the
    // process has no file handle left, which says nothing about the file:
    // then failed(tooManyFilesText()).
    static PDFError notOpened(const QString &fileName);

    Kind kind() const { return m_kind; }
    // The file name for Unreadable, the sentence for Failed, empty otherwise.
    const QString &value() const { return m_value; }
    bool isCancelled() const { return m_kind == Kind::Cancelled; }

    QString description() const;
    const char *what() const noexcept override { return m_utf8.c_str(); }

    bool operator==(const PDFError &other) const
    {
        return m_kind == other.m_kind && m_value == other.m_value;
    }

    // The texts other layers raise with `failed`.
    static QString lockedText();
    // "Too many files are open at once. Close some programs and try again."
    static QString tooManyFilesText();
    // True for the errno of an open that failed for want of a file handle
    // (EMFILE, ENFILE).
    static bool outOfFileHandles(int error);
    // True when the process can't open another file right now.
    static bool outOfFileHandles();

private:
    PDFError(Kind kind, QString value);

    Kind m_kind;
    QString m_value;
    std::string m_utf8;
};
