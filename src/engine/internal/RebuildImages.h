#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// Engine-internal: the pictures of a rebuild. Compression re-encodes them on
// a pool of threads; every rebuild may store JPEG data more tightly.

#include "engine/internal/ImageRecompressor.h"
#include "engine/internal/Rebuilder.h"

#include <qpdf/QPDFObjectHandle.hh>

#include <QThreadPool>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>

namespace rebuilding {

// Pictures to compress: prepared on the rebuilding thread (qpdf), worked on
// by a pool of threads (Qt only), put back on the rebuilding thread. At most
// a few are in flight, so memory stays bounded however many pictures the
// document holds.
class ImageJobs {
public:
    ImageJobs(const ImageFilter &filter, rebuilding::Carrier &carry);
    ~ImageJobs() { abandon(); }

    rebuilding::ImageStats stats;

    void add(int page, QPDFObjectHandle image, double pointsPerPixel, bool maskShared);

    // Puts back what the workers finished; with `block`, waits for one.
    void collect(bool block);

    void finish();

    void abandon();

    bool pendingOn(int page) const;

private:
    static constexpr qint64 kMaxBytes = 256LL * 1024 * 1024;
    // Decoded pictures bigger than this are left alone.
    static constexpr qint64 kMaxDecoded = 512LL * 1024 * 1024;
    // Pictures this small aren't worth it (icons, rules, bullets).
    static constexpr qint64 kMinStored = 2048;

    struct InFlight {
        int page = 0;
        QPDFObjectHandle source;
        qint64 bytes = 0;
    };

    std::optional<ImageRecompressor::Input> prepare(QPDFObjectHandle image, double pointsPerPixel,
                                                    bool maskShared);

    void apply(QPDFObjectHandle source, const ImageRecompressor::Output &out);

    const ImageFilter m_filter;
    rebuilding::Carrier &m_carry;
    QThreadPool m_pool;
    int m_maxJobs = 2;
    std::mutex m_lock;
    std::condition_variable m_doneSignal;
    std::deque<std::pair<int, ImageRecompressor::Output>> m_finished;
    std::map<int, InFlight> m_inFlight;
    std::map<int, int> m_pendingOnPage;
    qint64 m_inFlightBytes = 0;
    int m_nextId = 0;
    std::atomic<bool> m_abort{false};
};

// Stores the JPEG pictures reachable from `resources` (forms followed) with
// tighter coding, pixel for pixel the same; `seen` remembers those done.
void tightenJpegs(QPDFObjectHandle resources, std::set<QPDFObjGen> &seen, int depth = 0);

} // namespace rebuilding
