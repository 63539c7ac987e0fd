#include "Rebuilder.h"

#include "JpegTables.h"

#include "ImagePlacements.h"
#include "ImageRecompressor.h"
#include "PDFError.h"
#include "PDFOps.h"
#include "QpdfSupport.h"

#include <qpdf/Buffer.hh>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFAnnotationObjectHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
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
            try {
                auto data = stream.getStreamData(qpdf_dl_generalized);
                pipeline->write(data->getBuffer(), data->getSize());
            } catch (...) {
            }
            pipeline->write(reinterpret_cast<const unsigned char *>("\n"), 1);
        }
        pipeline->finish();
    }

private:
    std::vector<QPDFObjectHandle> m_streams;
};

// ---------------------------------------------------------------------------
// Pictures: prepared here (qpdf, this thread), worked on by a pool of
// threads (Qt only), put back here. At most a few are in flight, so memory
// stays bounded however many pictures the document holds.

int componentsOf(QPDFObjectHandle colorSpace)
{
    if (colorSpace.isName()) {
        const std::string n = colorSpace.getName();
        if (n == "/DeviceGray" || n == "/CalGray" || n == "/G")
            return 1;
        if (n == "/DeviceRGB" || n == "/CalRGB" || n == "/RGB")
            return 3;
        return 0;
    }
    if (colorSpace.isArray() && colorSpace.getArrayNItems() >= 1) {
        auto family = colorSpace.getArrayItem(0);
        if (family.isNameAndEquals("/CalGray"))
            return 1;
        if (family.isNameAndEquals("/CalRGB"))
            return 3;
        if (family.isNameAndEquals("/ICCBased") && colorSpace.getArrayNItems() >= 2) {
            auto profile = colorSpace.getArrayItem(1);
            if (profile.isStream()) {
                auto n = profile.getDict().getKey("/N");
                if (n.isInteger() && (n.getIntValue() == 1 || n.getIntValue() == 3))
                    return int(n.getIntValue());
            }
        }
    }
    return 0;
}

std::vector<std::string> filtersOf(QPDFObjectHandle dict)
{
    std::vector<std::string> filters;
    auto f = dict.getKey("/Filter");
    if (f.isName())
        filters.push_back(f.getName());
    else if (f.isArray())
        for (int i = 0; i < f.getArrayNItems(); ++i)
            filters.push_back(f.getArrayItem(i).isName() ? f.getArrayItem(i).getName() : "?");
    return filters;
}

bool generalFilters(const std::vector<std::string> &filters)
{
    static const std::set<std::string> general{
        "/FlateDecode",    "/Fl",  "/LZWDecode",       "/LZW", "/ASCII85Decode", "/A85",
        "/ASCIIHexDecode", "/AHx", "/RunLengthDecode", "/RL"};
    for (auto &f : filters)
        if (!general.count(f))
            return false;
    return true;
}

qint64 storedLength(QPDFObjectHandle stream)
{
    auto length = stream.getDict().getKey("/Length");
    if (length.isInteger() && length.getIntValue() > 0)
        return length.getIntValue();
    try {
        return qint64(stream.getRawStreamData()->getSize());
    } catch (...) {
        return 0;
    }
}

QByteArray bytesOf(const std::shared_ptr<Buffer> &buffer)
{
    return QByteArray(reinterpret_cast<const char *>(buffer->getBuffer()),
                      qsizetype(buffer->getSize()));
}

class ImageJobs {
public:
    ImageJobs(const ImageFilter &filter, rebuilding::Carrier &carry)
        : m_filter(filter)
        , m_carry(carry)
    {
        m_pool.setMaxThreadCount(std::max(1, QThread::idealThreadCount()));
        m_maxJobs = std::max(2, m_pool.maxThreadCount() * 2);
    }
    ~ImageJobs() { abandon(); }

    rebuilding::ImageStats stats;

    void add(int page, QPDFObjectHandle image, double pointsPerPixel, bool maskShared)
    {
        ++stats.looked;
        auto input = prepare(image, pointsPerPixel, maskShared);
        if (!input)
            return;
        const qint64 bytes = input->data.size() + input->mask.size();
        while (!m_inFlight.empty() &&
               (int(m_inFlight.size()) >= m_maxJobs || m_inFlightBytes + bytes > kMaxBytes))
            collect(true);
        const int id = m_nextId++;
        m_inFlight[id] = {page, image, bytes};
        m_inFlightBytes += bytes;
        ++m_pendingOnPage[page];
        m_pool.start([this, id, in = std::move(*input)] {
            ImageRecompressor::Output out;
            if (!m_abort.load())
                out = ImageRecompressor::recompress(in);
            std::lock_guard lock(m_lock);
            m_finished.emplace_back(id, std::move(out));
            m_doneSignal.notify_one();
        });
    }

    // Puts back what the workers finished; with `block`, waits for one.
    void collect(bool block)
    {
        std::deque<std::pair<int, ImageRecompressor::Output>> finished;
        {
            std::unique_lock lock(m_lock);
            if (block && m_finished.empty() && !m_inFlight.empty())
                m_doneSignal.wait(lock, [this] { return !m_finished.empty(); });
            finished.swap(m_finished);
        }
        for (auto &[id, out] : finished) {
            auto job = m_inFlight.find(id);
            if (job == m_inFlight.end())
                continue;
            if (out.replaced)
                apply(job->second.source, out);
            m_inFlightBytes -= job->second.bytes;
            --m_pendingOnPage[job->second.page];
            m_inFlight.erase(job);
        }
    }

    void finish()
    {
        while (!m_inFlight.empty())
            collect(true);
    }

    void abandon()
    {
        m_abort.store(true);
        m_pool.waitForDone();
        std::lock_guard lock(m_lock);
        m_finished.clear();
        m_inFlight.clear();
    }

    bool pendingOn(int page) const
    {
        auto found = m_pendingOnPage.find(page);
        return found != m_pendingOnPage.end() && found->second > 0;
    }

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
                                                    bool maskShared)
    {
        using Input = ImageRecompressor::Input;
        try {
            auto dict = image.getDict();
            if (dict.getKey("/ImageMask").isBool() && dict.getKey("/ImageMask").getBoolValue())
                return std::nullopt;
            auto width = dict.getKey("/Width"), height = dict.getKey("/Height");
            auto bpc = dict.getKey("/BitsPerComponent");
            if (!width.isInteger() || !height.isInteger() || !bpc.isInteger() ||
                bpc.getIntValue() != 8 || width.getIntValue() < 1 || height.getIntValue() < 1)
                return std::nullopt;
            // Decode arrays, colour-key masks and masks inside JPEG 2000
            // change what the samples mean: leave those pictures alone.
            if (dict.hasKey("/Decode") || dict.getKey("/Mask").isArray() ||
                dict.hasKey("/SMaskInData"))
                return std::nullopt;
            const int components = componentsOf(dict.getKey("/ColorSpace"));
            if (components == 0)
                return std::nullopt;
            const QSize size(int(width.getIntValue()), int(height.getIntValue()));
            if (qint64(size.width()) * size.height() * components > kMaxDecoded)
                return std::nullopt;
            if (pointsPerPixel <= 0)
                return std::nullopt;
            const double scale = m_filter.dpi / 72.0 * pointsPerPixel;
            const QSize target = ImageRecompressor::targetSize(size, scale, m_filter.maxPixel);

            Input in;
            in.size = size;
            in.components = components;
            in.target = target;
            in.quality = m_filter.quality;
            in.storedBytes = storedLength(image);
            if (in.storedBytes < kMinStored)
                return std::nullopt;
            const auto filters = filtersOf(dict);
            if (filters.size() == 1 && (filters[0] == "/DCTDecode" || filters[0] == "/DCT")) {
                auto parms = dict.getKey("/DecodeParms");
                if (parms.isDictionary() && parms.hasKey("/ColorTransform"))
                    return std::nullopt;
                in.kind = Input::Kind::Jpeg;
                in.data = bytesOf(image.getRawStreamData());
            } else if (generalFilters(filters)) {
                in.kind = components == 1 ? Input::Kind::Gray8 : Input::Kind::Rgb8;
                in.data = bytesOf(image.getStreamData(qpdf_dl_generalized));
                if (in.data.size() < qint64(size.width()) * size.height() * components)
                    return std::nullopt;
                in.mayStayLossless = true;
            } else {
                return std::nullopt; // JPEG 2000, JBIG2, CCITT, ...
            }

            auto mask = dict.getKey("/SMask");
            if (mask.isStream()) {
                auto m = mask.getDict();
                if (m.hasKey("/Matte"))
                    return std::nullopt; // its samples are tied to the picture's size
                auto mw = m.getKey("/Width"), mh = m.getKey("/Height"),
                     mb = m.getKey("/BitsPerComponent");
                if (!maskShared && mw.isInteger() && mh.isInteger() && mb.isInteger() &&
                    mb.getIntValue() == 8 && !m.hasKey("/Decode") && generalFilters(filtersOf(m)) &&
                    qint64(mw.getIntValue()) * mh.getIntValue() <= kMaxDecoded) {
                    in.maskSize = QSize(int(mw.getIntValue()), int(mh.getIntValue()));
                    in.mask = bytesOf(mask.getStreamData(qpdf_dl_generalized));
                    if (in.mask.size() < qint64(in.maskSize.width()) * in.maskSize.height())
                        in.mask.clear();
                }
            }
            return in;
        } catch (...) {
            return std::nullopt;
        }
    }

    void apply(QPDFObjectHandle source, const ImageRecompressor::Output &out)
    {
        try {
            auto copy = m_carry(source);
            const std::string data(out.data.constData(), size_t(out.data.size()));
            copy.replaceStreamData(data, name(out.jpeg ? "/DCTDecode" : "/FlateDecode"),
                                   QPDFObjectHandle::newNull());
            auto dict = copy.getDict();
            dict.replaceKey("/Width", QPDFObjectHandle::newInteger(out.size.width()));
            dict.replaceKey("/Height", QPDFObjectHandle::newInteger(out.size.height()));
            dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
            stats.replaced += 1;
            stats.bytesBefore += storedLength(source);
            stats.bytesAfter += out.data.size();
            if (out.maskReplaced) {
                auto mask = dict.getKey("/SMask");
                if (mask.isStream()) {
                    const std::string samples(out.mask.constData(), size_t(out.mask.size()));
                    mask.replaceStreamData(samples, QPDFObjectHandle::newNull(),
                                           QPDFObjectHandle::newNull());
                    mask.getDict().replaceKey("/Width",
                                              QPDFObjectHandle::newInteger(out.maskSize.width()));
                    mask.getDict().replaceKey("/Height",
                                              QPDFObjectHandle::newInteger(out.maskSize.height()));
                }
            }
        } catch (...) {
            // The copy keeps the picture as it was.
        }
    }

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

// ---------------------------------------------------------------------------

// Whatever a page hook throws goes on to the caller unchanged.
struct HookError {
    std::exception_ptr error;
};

class Builder {
public:
    Builder(PDFDocument &doc, const rebuilding::Settings &settings,
            const rebuilding::Progress &progress, const rebuilding::Cancelled &isCancelled)
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

    rebuilding::ImageStats run(const QString &path)
    {
        try {
            m_sourcePages = QPDFPageDocumentHelper(m_src).getAllPages();
        } catch (...) {
            throw PDFError::unreadable(m_doc.name());
        }
        const int n = int(m_sourcePages.size());
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
                    try {
                        page.externalizeInlineImages(ImagePlacements::kLargeInline);
                    } catch (...) {
                    }
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
            m_jobs = std::make_unique<ImageJobs>(*m_settings.filter, m_carry);
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
        write(path);
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
        try {
            QPDFAcroFormDocumentHelper forms(m_src);
            if (forms.hasAcroForm() && forms.getNeedAppearances())
                forms.generateAppearancesIfNeeded();
        } catch (...) {
        }
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
        try {
            streams = page.getPageContents();
        } catch (...) {
        }
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
            try {
                streams = page.getPageContents();
            } catch (...) {
            }
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
            tightenJpegs(form.getDict().getKey("/Resources"));
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

    // Pictures stay pixel for pixel what they were; only the coding of
    // their JPEG data gets tighter. Done page by page as the pages are made,
    // so that it overlaps whatever the page hook waits for.
    void tightenJpegs(QPDFObjectHandle resources, int depth = 0)
    {
        if (!resources.isDictionary() || depth > 8)
            return;
        auto xobjects = resources.getKey("/XObject");
        if (!xobjects.isDictionary())
            return;
        for (const auto &key : xobjects.getKeys()) {
            auto object = xobjects.getKey(key);
            if (!object.isStream() || !m_tightened.insert(object.getObjGen()).second)
                continue;
            auto dict = object.getDict();
            if (dict.getKey("/Subtype").isNameAndEquals("/Form")) {
                tightenJpegs(dict.getKey("/Resources"), depth + 1);
                continue;
            }
            if (!dict.getKey("/Subtype").isNameAndEquals("/Image"))
                continue;
            auto filter = dict.getKey("/Filter");
            if (filter.isArray() && filter.getArrayNItems() == 1)
                filter = filter.getArrayItem(0);
            if (!filter.isNameAndEquals("/DCTDecode"))
                continue;
            try {
                const auto raw = object.getRawStreamData();
                const QByteArray data(reinterpret_cast<const char *>(raw->getBuffer()),
                                      qsizetype(raw->getSize()));
                auto parms = dict.getKey("/DecodeParms");
                if (parms.isArray())
                    parms = parms.getArrayNItems() == 1 ? parms.getArrayItem(0)
                                                        : QPDFObjectHandle::newNull();
                if (const auto tighter = tighterJpeg(data))
                    object.replaceStreamData(tighter->toStdString(),
                                             QPDFObjectHandle::newName("/DCTDecode"), parms);
            } catch (...) {
                // Left as it was.
            }
        }
    }

    void write(const QString &path)
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
            QPDFWriter writer(*m_target, QFile::encodeName(path).constData());
            writer.setObjectStreamMode(qpdf_o_generate);
            writer.setCompressStreams(true);
            writer.setDecodeLevel(qpdf_dl_generalized);
            writer.setRecompressFlate(best);
            try {
                writer.setMinimumPDFVersion(m_src.getVersionAsPDFVersion());
            } catch (...) {
            }
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
            const QStorageInfo storage(QFileInfo(path).absolutePath());
            if (storage.isValid() && storage.bytesAvailable() < 1024 * 1024)
                throw PDFError::failed(
                    tr("There isn't enough free space on the disk to write the file."));
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
    const rebuilding::Progress &m_progress;
    const rebuilding::Cancelled &m_isCancelled;
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
    std::unique_ptr<ImageJobs> m_jobs;
    int m_reported = 0;
};

} // namespace

namespace PDFOps {

RebuildPage::RebuildPage(QPDF &document, QPDFObjectHandle &resources)
    : m_document(&document)
    , m_resources(&resources)
{
}

QByteArray RebuildPage::addResource(const QByteArray &category, const QPDFObjectHandle &object)
{
    const std::string key = "/" + category.toStdString();
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
    if (object.isIndirect())
        return m_target.copyForeignObject(object);
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

ImageStats buildAndWrite(PDFDocument &doc, const QString &path, const Settings &settings,
                         const Progress &progress, const Cancelled &isCancelled)
{
    check(doc, QFileInfo(path).fileName());
    Builder builder(doc, settings, progress, isCancelled);
    try {
        return builder.run(path);
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
