#include "engine/internal/Rebuilder.h"

#include "engine/BestEffort.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/internal/ImagePlacements.h"
#include "engine/internal/QpdfSupport.h"
#include "engine/internal/RebuildImages.h"

#include <qpdf/Buffer.hh>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFAnnotationObjectHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <QCoreApplication>
#include <QThread>
#include <QThreadPool>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <set>
#include <zlib.h>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("PDFOps", text);
}

QPDFObjectHandle name(const char *n)
{
    return QPDFObjectHandle::newName(n);
}

std::string num(double v)
{
    return qpdfsupport::number(v);
}

QPDFObjectHandle rectangle(double x0, double y0, double x1, double y1)
{
    return QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(x0, y0, x1, y1));
}

// The content of a page with several content streams, joined when the new
// document is written. A stream that can't be decoded is left out rather
// than failing the whole file.
class JoinedContent : public QPDFObjectHandle::StreamDataProvider {
public:
    explicit JoinedContent(std::vector<QPDFObjectHandle> streams)
        : m_streams(std::move(streams))
    {
    }
    void provideStreamData(QPDFObjGen const &, Pipeline *pipeline) override
    {
        for (auto &stream : m_streams) {
            bestEffort([&] {
                auto data = stream.getStreamData(qpdf_dl_generalized);
                pipeline->write(data->getBuffer(), data->getSize());
            });
            pipeline->write(reinterpret_cast<const unsigned char *>("\n"), 1);
        }
        pipeline->finish();
    }

private:
    std::vector<QPDFObjectHandle> m_streams;
};

// ---------------------------------------------------------------------------

// Whatever a page hook throws goes on to the caller unchanged.
struct HookError {
    std::exception_ptr error;
};

class Builder {
public:
    Builder(PDFDocument &doc, const rebuilding::Settings &settings, const Progress &progress,
            const IsCancelled &isCancelled)
        : m_doc(doc)
        , m_src(*doc.qpdf())
        , m_settings(settings)
        , m_progress(progress)
        , m_isCancelled(isCancelled)
        , m_target(qpdfsupport::newQPDF())
        , m_carry(m_src, *m_target)
    {
        m_target->emptyPDF();
    }

    rebuilding::ImageStats run(SafeWrite::Target &out)
    {
        try {
            m_sourcePages = QPDFPageDocumentHelper(m_src).getAllPages();
        } catch (...) {
            throw PDFError::unreadable(m_doc.name());
        }
        const int n = int(m_sourcePages.size());
        qpdfsupport::mendPageResources(m_src);
        prepareForms();

        std::vector<std::vector<QPDFObjectHandle>> picturesByPage{size_t(n)};
        std::map<QPDFObjGen, double> pointsPerPixel;
        std::set<QPDFObjGen> sharedMasks;
        if (m_settings.filter) {
            ImagePlacements placements;
            for (int i = 0; i < n; ++i) {
                askCancelled();
                flattenAnnotations(i);
                auto page = m_sourcePages[size_t(i)];
                if (!placements.scanPage(page, i)) {
                    bestEffort(
                        [&] { page.externalizeInlineImages(ImagePlacements::kLargeInline); });
                    placements.scanPage(page, i);
                }
            }
            std::map<QPDFObjGen, int> maskUsers;
            for (const auto &[og, image] : placements.images())
                if (auto m = QPDFObjectHandle(image.stream).getDict().getKey("/SMask");
                    m.isStream())
                    ++maskUsers[m.getObjGen()];
            for (const auto &[og, users] : maskUsers)
                if (users > 1)
                    sharedMasks.insert(og);
            for (const auto &[og, image] : placements.images()) {
                if (image.unmeasured || image.firstPage < 0 || placements.masks().count(og))
                    continue;
                picturesByPage[size_t(image.firstPage)].push_back(image.stream);
                pointsPerPixel[og] = image.pointsPerPixel;
            }
            m_jobs = std::make_unique<rebuilding::ImageJobs>(*m_settings.filter, m_carry);
        }

        auto pagesHelper = QPDFPageDocumentHelper(*m_target);
        for (int i = 0; i < n; ++i) {
            askCancelled();
            if (!m_settings.filter)
                flattenAnnotations(i);
            auto page = buildPage(i, n);
            pagesHelper.addPage(QPDFPageObjectHelper(page), false);
            m_newPages.push_back(page);
            if (m_jobs) {
                for (auto &image : picturesByPage[size_t(i)]) {
                    auto mask = image.getDict().getKey("/SMask");
                    m_jobs->add(i, image, pointsPerPixel[image.getObjGen()],
                                mask.isStream() && sharedMasks.count(mask.getObjGen()));
                }
                m_jobs->collect(false);
            }
            reportReady();
        }
        rebuilding::ImageStats stats;
        if (m_jobs) {
            m_jobs->finish();
            stats = m_jobs->stats;
        }
        reportReady();

        rebuilding::restoreStructure(m_src, *m_target, m_sourcePages, m_newPages, m_toFrame,
                                     m_carry);
        write(out);
        return stats;
    }

private:
    void askCancelled()
    {
        if (m_isCancelled && m_isCancelled())
            throw PDFError::cancelled();
    }

    // Progress runs behind the pictures: a page counts as done once its
    // pictures are back.
    void reportReady()
    {
        while (m_reported < int(m_newPages.size()) && !(m_jobs && m_jobs->pendingOn(m_reported))) {
            ++m_reported;
            if (m_progress)
                m_progress(m_reported, int(m_sourcePages.size()));
        }
    }

    // Form fields whose look the file leaves to the reader get one now, so
    // that the filled values are drawn into the pages.
    void prepareForms()
    {
        bestEffort([&] {
            QPDFAcroFormDocumentHelper forms(m_src);
            if (forms.hasAcroForm() && forms.getNeedAppearances())
                forms.generateAppearancesIfNeeded();
        });
    }

    // Draws what every annotation but links shows into the page content:
    // a rebuilt page carries no annotations except links.
    void flattenAnnotations(int index)
    {
        auto page = m_sourcePages[size_t(index)];
        try {
            std::string content;
            QPDFObjectHandle xobjects;
            QPDFObjectHandle resources;
            int suffix = 1;
            const int rotation = qpdfsupport::normalisedRotation(page);
            for (auto &annotation : page.getAnnotations()) {
                auto handle = annotation.getObjectHandle();
                auto subtype = handle.getKey("/Subtype");
                if (subtype.isNameAndEquals("/Link") || subtype.isNameAndEquals("/Popup"))
                    continue;
                auto appearance = annotation.getAppearanceStream("/N");
                if (!appearance.isStream())
                    continue;
                if (!resources.isDictionary()) {
                    // A copy of the page's own resources, so that pages which
                    // share them don't all get this page's annotations.
                    auto own = page.getAttribute("/Resources", false);
                    resources =
                        own.isDictionary() ? own.shallowCopy() : QPDFObjectHandle::newDictionary();
                    auto x = resources.getKey("/XObject");
                    xobjects =
                        x.isDictionary() ? x.shallowCopy() : QPDFObjectHandle::newDictionary();
                    resources.replaceKey("/XObject", xobjects);
                }
                const std::string resourceName = resources.getUniqueResourceName("/QbA", suffix);
                const std::string piece = annotation.getPageContentForAppearance(
                    resourceName, rotation, 0, an_invisible | an_hidden | an_no_view);
                if (piece.empty())
                    continue;
                QPDFObjectHandle form;
                try {
                    form = drawable(appearance);
                } catch (...) {
                    continue; // an appearance that can't be read shows nothing anyway
                }
                xobjects.replaceKey(resourceName, form);
                content += piece;
            }
            if (content.empty())
                return;
            page.getObjectHandle().replaceKey("/Resources", resources);
            if (!m_saveState.isStream())
                m_saveState = QPDFObjectHandle::newStream(&m_src, "q\n");
            page.addPageContents(m_saveState, true);
            page.addPageContents(QPDFObjectHandle::newStream(&m_src, "\nQ\n" + content), false);
            m_flattened.insert(index);
        } catch (...) {
            // The page keeps what it had; its annotations just won't show.
        }
    }

    // An appearance as a form XObject of its own. Appearances that qpdf
    // generated for form fields live in token filters, which a copy into
    // another document would lose, so the stream is read out here.
    QPDFObjectHandle drawable(QPDFObjectHandle appearance)
    {
        auto data = appearance.getStreamData(qpdf_dl_generalized);
        auto form = QPDFObjectHandle::newStream(
            &m_src,
            std::string(reinterpret_cast<const char *>(data->getBuffer()), data->getSize()));
        auto from = appearance.getDict();
        auto dict = form.getDict();
        for (auto &key : from.getKeys())
            if (key != "/Length" && key != "/Filter" && key != "/DecodeParms")
                dict.replaceKey(key, from.getKey(key));
        dict.replaceKey("/Type", name("/XObject"));
        dict.replaceKey("/Subtype", name("/Form"));
        return form;
    }

    // The source page as a form XObject in the new document. A page with a
    // single content stream lends that stream itself (nothing is copied
    // until the file is written); otherwise the streams are joined.
    QPDFObjectHandle formFor(QPDFPageObjectHelper page, const PageGeometry &geometry)
    {
        const QRectF crop = geometry.cropBox;
        auto bbox = rectangle(crop.left(), crop.top(), crop.right(), crop.bottom());
        auto resources = page.getAttribute("/Resources", false);
        if (!resources.isDictionary())
            resources = QPDFObjectHandle::newDictionary();
        auto group = page.getObjectHandle().getKey("/Group");
        std::vector<QPDFObjectHandle> streams;
        bestEffort([&] { streams = page.getPageContents(); });
        const std::string key =
            QString::asprintf("%g %g %g %g", crop.left(), crop.top(), crop.right(), crop.bottom())
                .toStdString();
        if (streams.size() == 1 && streams[0].isIndirect()) {
            auto stream = streams[0];
            const QPDFObjGen og = stream.getObjGen();
            const QPDFObjGen resourcesOG =
                resources.isIndirect() ? resources.getObjGen() : QPDFObjGen();
            auto lent = m_lentStreams.find(og);
            if (lent == m_lentStreams.end() && !m_usedAsContent.count(og)) {
                auto dict = stream.getDict();
                dict.replaceKey("/Type", name("/XObject"));
                dict.replaceKey("/Subtype", name("/Form"));
                dict.replaceKey("/BBox", bbox);
                dict.removeKey("/Matrix");
                dict.replaceKey("/Resources", resources);
                if (group.isDictionary())
                    dict.replaceKey("/Group", group);
                else
                    dict.removeKey("/Group");
                m_lentStreams[og] = {resourcesOG, key, group.isDictionary()};
                return m_carry(stream);
            }
            if (lent != m_lentStreams.end() && resourcesOG.isIndirect() &&
                lent->second.resources == resourcesOG && lent->second.box == key &&
                !group.isDictionary() && !lent->second.group)
                return m_carry(stream); // the same page drawn again
        }
        auto form = QPDFObjectHandle::newStream(m_target.get());
        form.replaceStreamData(std::make_shared<JoinedContent>(streams),
                               QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
        auto dict = form.getDict();
        dict.replaceKey("/Type", name("/XObject"));
        dict.replaceKey("/Subtype", name("/Form"));
        dict.replaceKey("/BBox", bbox);
        dict.replaceKey("/Resources", m_carry(resources));
        if (group.isDictionary())
            dict.replaceKey("/Group", m_carry(group));
        return form;
    }

    QPDFObjectHandle buildPage(int index, int count)
    {
        auto page = m_sourcePages[size_t(index)];
        const PageGeometry geometry = qpdfsupport::geometry(page);
        const QSizeF frame = geometry.uprightSize();
        const QTransform toFrame = rebuilding::uprightTransform(geometry);
        m_toFrame.push_back(toFrame);

        auto dict = QPDFObjectHandle::newDictionary();
        dict.replaceKey("/Type", name("/Page"));
        dict.replaceKey("/MediaBox", rectangle(0, 0, frame.width(), frame.height()));
        auto group = page.getObjectHandle().getKey("/Group");
        if (group.isDictionary())
            dict.replaceKey("/Group", m_carry(group));

        // A page that is already upright at the origin keeps its content as
        // it is: no form, no transform, nothing added to the file.
        const bool asItIs = !m_settings.hook && geometry.rotation == 0 &&
                            geometry.cropBox.topLeft() == QPointF(0, 0);
        if (asItIs) {
            auto resources = page.getAttribute("/Resources", false);
            dict.replaceKey("/Resources", resources.isDictionary()
                                              ? m_carry(resources)
                                              : QPDFObjectHandle::newDictionary());
            auto contents = page.getObjectHandle().getKey("/Contents");
            auto carried = QPDFObjectHandle::newArray();
            std::vector<QPDFObjectHandle> streams;
            bestEffort([&] { streams = page.getPageContents(); });
            for (auto &stream : streams) {
                if (!stream.isIndirect())
                    continue;
                m_usedAsContent.insert(stream.getObjGen());
                carried.appendItem(m_carry(stream));
            }
            if (carried.getArrayNItems() == 1)
                dict.replaceKey("/Contents", carried.getArrayItem(0));
            else if (carried.getArrayNItems() > 1)
                dict.replaceKey("/Contents", carried);
            return m_target->makeIndirectObject(dict);
        }

        auto form = formFor(page, geometry);
        auto resources = QPDFObjectHandle::newDictionary();
        auto xobjects = QPDFObjectHandle::newDictionary();
        xobjects.replaceKey("/Fx", form);
        resources.replaceKey("/XObject", xobjects);
        const std::string placement = "q " + num(toFrame.m11()) + " " + num(toFrame.m12()) + " " +
                                      num(toFrame.m21()) + " " + num(toFrame.m22()) + " " +
                                      num(toFrame.dx()) + " " + num(toFrame.dy()) +
                                      " cm /Fx Do Q\n";
        if (m_settings.tighterJpegs)
            rebuilding::tightenJpegs(form.getDict().getKey("/Resources"), m_tightened);
        QPDFObjectHandle contents;
        if (m_settings.hook) {
            PDFOps::RebuildPage context(*m_target, resources);
            context.index = index;
            context.count = count;
            context.frame = frame;
            context.source = geometry;
            context.toFrame = toFrame;
            try {
                m_settings.hook(context);
            } catch (...) {
                throw HookError{std::current_exception()};
            }
            contents = QPDFObjectHandle::newStream(m_target.get(),
                                                   placement + context.content().toStdString());
        } else {
            // Pages of one size and rotation share one tiny content stream.
            auto &shared = m_placements[placement];
            if (!shared.isStream())
                shared = QPDFObjectHandle::newStream(m_target.get(), placement);
            contents = shared;
        }
        dict.replaceKey("/Resources", resources);
        dict.replaceKey("/Contents", contents);
        return m_target->makeIndirectObject(dict);
    }

    void write(SafeWrite::Target &out)
    {
        auto info = m_target->getTrailer().getKey("/Info");
        if (!info.isDictionary()) {
            info = m_target->makeIndirectObject(QPDFObjectHandle::newDictionary());
            m_target->getTrailer().replaceKey("/Info", info);
        }
        info.replaceKey("/Creator", QPDFObjectHandle::newUnicodeString("Quirebook"));
        info.replaceKey("/Producer", QPDFObjectHandle::newUnicodeString("Quirebook"));

        const bool best = m_settings.bestCompression;
        try {
            qpdfsupport::TargetPipeline pipeline(out);
            QPDFWriter writer(*m_target);
            writer.setOutputPipeline(&pipeline);
            writer.setObjectStreamMode(qpdf_o_generate);
            writer.setCompressStreams(true);
            writer.setDecodeLevel(qpdf_dl_generalized);
            writer.setRecompressFlate(best);
            bestEffort([&] { writer.setMinimumPDFVersion(m_src.getVersionAsPDFVersion()); });
            // The level is global in qpdf; another writer running at the
            // same moment merely compresses harder.
            if (best)
                Pl_Flate::setCompressionLevel(Z_BEST_COMPRESSION);
            writer.write();
            if (best)
                Pl_Flate::setCompressionLevel(Z_DEFAULT_COMPRESSION);
        } catch (const PDFError &) {
            if (best)
                Pl_Flate::setCompressionLevel(Z_DEFAULT_COMPRESSION);
            throw;
        } catch (...) {
            if (best)
                Pl_Flate::setCompressionLevel(Z_DEFAULT_COMPRESSION);
            throw PDFError::failed(tr("Couldn't write the file."));
        }
    }

    struct Lent {
        QPDFObjGen resources;
        std::string box;
        bool group = false;
    };

    PDFDocument &m_doc;
    QPDF &m_src;
    const rebuilding::Settings &m_settings;
    const Progress &m_progress;
    const IsCancelled &m_isCancelled;
    std::shared_ptr<QPDF> m_target;
    rebuilding::Carrier m_carry;
    std::vector<QPDFPageObjectHelper> m_sourcePages;
    std::vector<QPDFObjectHandle> m_newPages;
    std::vector<QTransform> m_toFrame;
    std::map<QPDFObjGen, Lent> m_lentStreams;
    std::set<QPDFObjGen> m_usedAsContent;
    std::set<QPDFObjGen> m_tightened;
    std::map<std::string, QPDFObjectHandle> m_placements;
    std::set<int> m_flattened;
    QPDFObjectHandle m_saveState;
    std::unique_ptr<rebuilding::ImageJobs> m_jobs;
    int m_reported = 0;
};

} // namespace

namespace PDFOps {

RebuildPage::RebuildPage(QPDF &document, QPDFObjectHandle &resources)
    : m_document(&document)
    , m_resources(&resources)
{
}

QByteArray RebuildPage::number(double value)
{
    return QByteArray::fromStdString(qpdfsupport::number(value));
}

QByteArray RebuildPage::addResource(const QByteArray &category, const QPDFObjectHandle &object)
{
    // Appended rather than `"/" + …`, which gcc 12 at -O3 wrongly calls an
    // overlapping copy.
    std::string key = "/";
    key += category.toStdString();
    auto dict = m_resources->getKey(key);
    if (!dict.isDictionary()) {
        dict = QPDFObjectHandle::newDictionary();
        m_resources->replaceKey(key, dict);
    }
    const std::string resourceName = m_resources->getUniqueResourceName("/Qb", m_nextName);
    dict.replaceKey(resourceName, object);
    return QByteArray::fromStdString(resourceName);
}

} // namespace PDFOps

namespace rebuilding {

QTransform uprightTransform(const PageGeometry &geometry)
{
    const double x0 = geometry.cropBox.left(), y0 = geometry.cropBox.top();
    const double w = geometry.cropBox.width(), h = geometry.cropBox.height();
    switch (geometry.rotation) {
    case 90: return QTransform(0, -1, 1, 0, -y0, x0 + w);
    case 180: return QTransform(-1, 0, 0, -1, x0 + w, y0 + h);
    case 270: return QTransform(0, 1, -1, 0, y0 + h, -x0);
    default: return QTransform(1, 0, 0, 1, -x0, -y0);
    }
}

QPDFObjectHandle Carrier::operator()(QPDFObjectHandle object, int depth)
{
    if (object.isIndirect()) {
        // Asked for a /Pages node, qpdf's copy hands back an empty handle
        // (and keeps it for every later reference to that node), which
        // brings the new document down. The source's page tree and catalog
        // have no place in it anyway.
        if (qpdfsupport::isDocumentNode(object))
            return QPDFObjectHandle::newNull();
        return m_target.copyForeignObject(object);
    }
    if (depth > 64)
        return QPDFObjectHandle::newNull();
    if (object.isArray()) {
        auto copy = QPDFObjectHandle::newArray();
        for (int i = 0; i < object.getArrayNItems(); ++i)
            copy.appendItem((*this)(object.getArrayItem(i), depth + 1));
        return copy;
    }
    if (object.isDictionary()) {
        auto copy = QPDFObjectHandle::newDictionary();
        for (auto &key : object.getKeys())
            copy.replaceKey(key, (*this)(object.getKey(key), depth + 1));
        return copy;
    }
    (void)m_source;
    return object.isStream() ? QPDFObjectHandle::newNull() : object.shallowCopy();
}

void check(const PDFDocument &doc, const QString &destinationName)
{
    PDFOps::requireRewritable(doc);
    if (doc.pageCount() < 1)
        throw PDFError::unreadable(destinationName);
}

ImageStats buildAndWrite(PDFDocument &doc, SafeWrite::Target &out, const Settings &settings,
                         const Progress &progress, const IsCancelled &isCancelled)
{
    Builder builder(doc, settings, progress, isCancelled);
    try {
        return builder.run(out);
    } catch (const PDFError &) {
        throw;
    } catch (const HookError &hook) {
        std::rethrow_exception(hook.error);
    } catch (const std::bad_alloc &) {
        throw PDFError::failed(tr("There isn't enough memory to rebuild this PDF."));
    } catch (...) {
        throw PDFError::failed(tr("Couldn't rebuild this PDF: part of it can't be read."));
    }
}

} // namespace rebuilding
