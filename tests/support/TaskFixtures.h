#pragma once

// For tests of the layers above the intake: a file taken in as the window
// and quirebook-cli take it, and outcomes that print when a comparison
// fails. Header only: the library every test links stops below core.

#include "core/Dialogs.h"
#include "core/Intake.h"
#include "core/Job.h"

#include <QList>
#include <QString>
#include <QTest>

#include <optional>

namespace Fixtures {

// `path` opened through the intake, its password questions answered from
// `answers`; an empty file (no path) when the intake refuses it.
inline PDFFile opened(const QString &path, QList<std::optional<QString>> answers = {})
{
    ScriptedDialogs dialogs(std::move(answers));
    auto file = Intake::open(path, &dialogs);
    return std::holds_alternative<PDFFile>(file) ? std::get<PDFFile>(file) : PDFFile{};
}

} // namespace Fixtures

inline char *toString(const Outcome &outcome)
{
    return QTest::toString(
        QStringList{outcome.title, outcome.detail, outcome.urls.join(u',')}.join(u'|'));
}
