#include "engine/internal/RebuildImages.h"

#include "engine/internal/JpegTables.h"

#include <qpdf/Buffer.hh>

#include <QThread>

namespace {

QPDFObjectHandle name(const char *n)
{
    return QPDFObjectHandle::newName(n);
}

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

} // namespace

namespace rebuilding {

ImageJobs::ImageJobs(const ImageFilter &filter, rebuilding::Carrier &carry)
    : m_filter(filter)
    , m_carry(carry)
{
    m_pool.setMaxThreadCount(std::max(1, QThread::idealThreadCount()));
    m_maxJobs = std::max(2, m_pool.maxThreadCount() * 2);
}

void ImageJobs::add(int page, QPDFObjectHandle image, double pointsPerPixel, bool maskShared)
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

void ImageJobs::collect(bool block)
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

void ImageJobs::finish()
{
    while (!m_inFlight.empty())
        collect(true);
}

void ImageJobs::abandon()
{
    m_abort.store(true);
    m_pool.waitForDone();
    std::lock_guard lock(m_lock);
    m_finished.clear();
    m_inFlight.clear();
}

bool ImageJobs::pendingOn(int page) const
{
    auto found = m_pendingOnPage.find(page);
    return found != m_pendingOnPage.end() && found->second > 0;
}

std::optional<ImageRecompressor::Input> ImageJobs::prepare(QPDFObjectHandle image,
                                                           double pointsPerPixel, bool maskShared)
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
        if (dict.hasKey("/Decode") || dict.getKey("/Mask").isArray() || dict.hasKey("/SMaskInData"))
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

void ImageJobs::apply(QPDFObjectHandle source, const ImageRecompressor::Output &out)
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

// Pictures stay pixel for pixel what they were; only the coding of
// their JPEG data gets tighter. Done page by page as the pages are made,
// so that it overlaps whatever the page hook waits for.
void tightenJpegs(QPDFObjectHandle resources, std::set<QPDFObjGen> &seen, int depth)
{
    if (!resources.isDictionary() || depth > 8)
        return;
    auto xobjects = resources.getKey("/XObject");
    if (!xobjects.isDictionary())
        return;
    for (const auto &key : xobjects.getKeys()) {
        auto object = xobjects.getKey(key);
        if (!object.isStream() || !seen.insert(object.getObjGen()).second)
            continue;
        auto dict = object.getDict();
        if (dict.getKey("/Subtype").isNameAndEquals("/Form")) {
            tightenJpegs(dict.getKey("/Resources"), seen, depth + 1);
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

} // namespace rebuilding
