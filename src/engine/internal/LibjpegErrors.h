#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// libjpeg reports a fatal error by calling error_exit, which must not
// return: it jumps back to the setjmp of the call that failed. Warnings are
// counted, never printed.

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>
// After jpeglib.h, which it needs.
#include <jerror.h>

namespace libjpeg {

struct Failure {
    jpeg_error_mgr manager;
    std::jmp_buf jump;
    int warnings = 0; // those that say the data is damaged
};

[[noreturn]] inline void fail(j_common_ptr info)
{
    std::longjmp(reinterpret_cast<Failure *>(info->err)->jump, 1);
}

inline void quiet(j_common_ptr info, int level)
{
    if (level >= 0)
        return;
    ++info->err->num_warnings;
    // Stray bytes between segments are common and harmless; anything else
    // means libjpeg patched the picture up.
    if (info->err->msg_code != JWRN_EXTRANEOUS_DATA)
        ++reinterpret_cast<Failure *>(info->err)->warnings;
}

// Sets `failure` up as the error manager of `info`.
inline jpeg_error_mgr *errors(Failure &failure)
{
    jpeg_error_mgr *manager = jpeg_std_error(&failure.manager);
    manager->error_exit = fail;
    manager->emit_message = quiet;
    return manager;
}

} // namespace libjpeg
