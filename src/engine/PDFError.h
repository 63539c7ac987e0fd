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

private:
    PDFError(Kind kind, QString value);

    Kind m_kind;
    QString m_value;
    std::string m_utf8;
};
