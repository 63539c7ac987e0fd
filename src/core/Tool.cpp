#include "core/Tool.h"

#include <QCoreApplication>

namespace Tools {

QString rawValue(Tool tool)
{
    switch (tool) {
    case Tool::Merge: return QStringLiteral("merge");
    case Tool::Pages: return QStringLiteral("pages");
    case Tool::Split: return QStringLiteral("split");
    case Tool::Compress: return QStringLiteral("compress");
    case Tool::Sign: return QStringLiteral("sign");
    case Tool::Searchable: return QStringLiteral("searchable");
    case Tool::Protect: return QStringLiteral("protect");
    case Tool::Convert: return QStringLiteral("convert");
    }
    return {};
}

std::optional<Tool> fromRawValue(const QString &raw)
{
    for (Tool tool : all)
        if (rawValue(tool) == raw)
            return tool;
    return std::nullopt;
}

QString title(Tool tool)
{
    switch (tool) {
    case Tool::Merge: return QCoreApplication::translate("Tool", "Merge");
    case Tool::Pages: return QCoreApplication::translate("Tool", "Pages");
    case Tool::Split: return QCoreApplication::translate("Tool", "Split");
    case Tool::Compress: return QCoreApplication::translate("Tool", "Compress");
    case Tool::Sign: return QCoreApplication::translate("Tool", "Sign & Stamp");
    case Tool::Searchable: return QCoreApplication::translate("Tool", "Make Searchable");
    case Tool::Protect: return QCoreApplication::translate("Tool", "Password");
    case Tool::Convert: return QCoreApplication::translate("Tool", "Convert");
    }
    return {};
}

QString subtitle(Tool tool)
{
    switch (tool) {
    case Tool::Merge:
        return QCoreApplication::translate("Tool", "Combine PDFs and pictures into one file.");
    case Tool::Pages:
        return QCoreApplication::translate("Tool", "Reorder, rotate, delete and add pages.");
    case Tool::Split: return QCoreApplication::translate("Tool", "Cut a PDF into several files.");
    case Tool::Compress:
        return QCoreApplication::translate("Tool", "Make big PDFs small enough to email.");
    case Tool::Sign:
        return QCoreApplication::translate("Tool", "Add your signature, a date or a stamp.");
    case Tool::Searchable:
        return QCoreApplication::translate("Tool", "Turn scans into text you can search and copy.");
    case Tool::Protect: return QCoreApplication::translate("Tool", "Add or remove a password.");
    case Tool::Convert:
        return QCoreApplication::translate("Tool", "Save pages as pictures, or pull out the text.");
    }
    return {};
}

} // namespace Tools
