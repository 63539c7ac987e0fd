#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// Where each picture of a document is drawn, and how large: the content
// of every page is followed with its current transformation, into form
// XObjects, so that a picture's largest placement is known before it is
// resampled. Engine-internal (qpdf types).

#include <qpdf/QPDFObjGen.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <QTransform>

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <vector>

class ImagePlacements {
public:
    struct Image {
        QPDFObjectHandle stream;
        // Largest placement, in points per pixel along the picture's own
        // axes: how many points one pixel covers where it is drawn biggest.
        double pointsPerPixel = 0;
        int firstPage = -1;
        // Also reached where its size can't be followed (patterns, Type 3
        // glyphs, soft-mask groups), or its page couldn't be read: leave it.
        bool unmeasured = false;
    };

    // Inline images at least this big (bytes) are worth turning into
    // XObjects so that they can be compressed too.
    static constexpr size_t kLargeInline = 4096;

    // Follows one page's content. Returns false when the page has an
    // inline image of at least kLargeInline bytes (the caller may turn
    // those into XObjects and scan again).
    bool scanPage(QPDFPageObjectHelper page, int pageIndex);

    // Pictures used as another picture's /SMask or /Mask; they travel with it.
    const std::set<QPDFObjGen> &masks() const { return m_masks; }
    const std::map<QPDFObjGen, Image> &images() const { return m_images; }

private:
    struct Use {
        QPDFObjectHandle image;
        QTransform matrix; // unit square → the space it was found in
    };
    struct FormScan {
        std::vector<Use> uses;
        bool largeInline = false;
        bool failed = false;
    };

    FormScan scanContent(QPDFObjectHandle content, QPDFObjectHandle resources, bool isPage,
                         int depth);
    const FormScan &scanForm(QPDFObjectHandle form, QPDFObjectHandle inheritedResources, int depth);
    void markHidden(QPDFObjectHandle resources);
    void markAllImagesUnder(QPDFObjectHandle object, int depth);
    void record(const Use &use, int pageIndex);

    std::map<QPDFObjGen, Image> m_images;
    std::set<QPDFObjGen> m_masks;
    std::map<QPDFObjGen, FormScan> m_forms;
    std::set<QPDFObjGen> m_formsInProgress;
    std::set<QPDFObjGen> m_hiddenSeen; // resources already looked through
    std::set<QPDFObjGen> m_marked;     // objects already marked, with all below them
    std::deque<FormScan> m_scratch;
    FormScan m_empty;
};
