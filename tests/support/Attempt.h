#pragma once

// Running engine work in a test: no progress wanted, never cancelled, and
// what it throws.

#include "engine/PDFError.h"
#include "engine/Progress.h"

#include <QString>

namespace Attempt {

inline const Progress noProgress = [](int, int) {};
inline const IsCancelled never = [] { return false; };

// The description of the PDFError `work` throws, "cancelled" for a cancel,
// "no error" when it throws nothing.
template <typename F> QString errorOf(F &&work)
{
    try {
        work();
    } catch (const PDFError &e) {
        return e.isCancelled() ? QStringLiteral("cancelled") : e.description();
    }
    return QStringLiteral("no error");
}

} // namespace Attempt
