#pragma once

#include "engine/PDFError.h"

// Work whose failure must not stop what the person asked for: qpdf throws
// on a damaged bookmark, info entry or resource, and the rest of the
// document is still worth having. The program's own errors (a cancel, a
// message for the person) still go through. Returns whether the work ran to
// its end.
template <typename Work> bool bestEffort(Work &&work)
{
    try {
        work();
        return true;
    } catch (const PDFError &) {
        throw;
    } catch (...) {
        return false;
    }
}
