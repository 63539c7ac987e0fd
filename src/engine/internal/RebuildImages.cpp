#include "engine/internal/RebuildImages.h"

#include "engine/internal/JpegTables.h"

#include <qpdf/Buffer.hh>

#include <QThread>

#include <limits>

namespace {

QPDFObjectHandle name(const char *n)
{
    return QPDFObjectHandle::newName(n);
}

QByteArray bytesOf(const std::shared_ptr<Buffer> &buffer)
{
    return QByteArray(reinterpret_cast<const char *>(buffer->getBuffer()),
                      qsizetype(buffer->getSize()));
}

// What the samples of a colour space are: how many components a pixel
// has (0: one we leave alone), whether each runs from 0 to 1 (so that a
// /Decode array can be applied), and for Indexed the palette.
struct Colours {
    int components = 0;
    bool plainRange = true;
    QByteArray palette; // the base colour of each index, `baseComponents` bytes each
    int baseComponents = 0;
};

Colours plainColours(QPDFObjectHandle space)
{
    Colours colours;
    if (space.isName()) {
        const std::string n = space.getName();
        if (n == "/DeviceGray" || n == "/CalGray" || n == "/G")
            colours.components = 1;
        else if (n == "/DeviceRGB" || n == "/CalRGB" || n == "/RGB")
            colours.components = 3;
        else if (n == "/DeviceCMYK" || n == "/CMYK")
            colours.components = 4;
        return colours;
    }
    if (!space.isArray() || space.getArrayNItems() < 1)
        return colours;
    auto family = space.getArrayItem(0);
    auto second = space.getArrayNItems() >= 2 ? space.getArrayItem(1) : QPDFObjectHandle();
    if (family.isNameAndEquals("/CalGray") || family.isNameAndEquals("/Separation")) {
        colours.components = 1;
    } else if (family.isNameAndEquals("/CalRGB")) {
        colours.components = 3;
    } else if (family.isNameAndEquals("/Lab")) {
        colours.components = 3;
        colours.plainRange = false;
    } else if (family.isNameAndEquals("/ICCBased") && second.isStream()) {
        auto n = second.getDict().getKey("/N");
        if (n.isInteger())
            colours.components = int(n.getIntValue());
        colours.plainRange = !second.getDict().hasKey("/Range");
    } else if (family.isNameAndEquals("/DeviceN") && second.isArray()) {
        colours.components = second.getArrayNItems();
    }
    if (colours.components != 1 && colours.components != 3 && colours.components != 4)
        colours.components = 0;
    return colours;
}

Colours coloursOf(QPDFObjectHandle space)
{
    if (!space.isArray() || space.getArrayNItems() != 4 ||
        !(space.getArrayItem(0).isNameAndEquals("/Indexed") ||
          space.getArrayItem(0).isNameAndEquals("/I")))
        return plainColours(space);
    Colours colours;
    const Colours base = plainColours(space.getArrayItem(1));
    auto last = space.getArrayItem(2), lookup = space.getArrayItem(3);
    if (base.components == 0 || !last.isInteger() || last.getIntValue() < 0 ||
        last.getIntValue() > 255)
        return colours;
    QByteArray table;
    if (lookup.isString())
        table = QByteArray::fromStdString(lookup.getStringValue());
    else if (lookup.isStream())
        table = bytesOf(lookup.getStreamData(qpdf_dl_generalized));
    const size_t needed = size_t(last.getIntValue() + 1) * size_t(base.components);
    if (size_t(table.size()) < needed)
        return colours;
    colours.components = 1;
    colours.palette = table.left(qsizetype(needed));
    colours.baseComponents = base.components;
    return colours;
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

// A picture's width or height: a positive integer an int holds, or none, so
// that sizes multiply without overflowing.
std::optional<int> sideOf(QPDFObjectHandle value)
{
    if (!value.isInteger() || value.getIntValue() < 1 ||
        value.getIntValue() > std::numeric_limits<int>::max())
        return std::nullopt;
    return int(value.getIntValue());
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
        const auto width = sideOf(dict.getKey("/Width")), height = sideOf(dict.getKey("/Height"));
        if (!width || !height || pointsPerPixel <= 0)
            return std::nullopt;
        // A colour-key mask picks pixels by their exact values: leave those.
        if (dict.getKey("/Mask").isArray())
            return std::nullopt;
        const auto filters = filtersOf(dict);
        const bool jpx = filters.size() == 1 && filters[0] == "/JPXDecode";
        const bool dct =
            filters.size() == 1 && (filters[0] == "/DCTDecode" || filters[0] == "/DCT");

        Input in;
        auto space = dict.getKey("/ColorSpace");
        const Colours colours = jpx && space.isNull() ? Colours{} : coloursOf(space);
        if (colours.components == 0 && !(jpx && space.isNull()))
            return std::nullopt;
        in.components = colours.components;
        in.palette = colours.palette;
        in.paletteComponents = colours.baseComponents;
        const bool indexed = !in.palette.isEmpty();
        if (jpx) {
            // The JPEG 2000 data says how deep it is; an alpha channel in it
            // is the soft mask when SMaskInData says so and no /SMask does.
            auto inData = dict.getKey("/SMaskInData");
            const int alpha = inData.isInteger() ? int(inData.getIntValue()) : 0;
            const bool ownMask = dict.getKey("/SMask").isStream();
            if (indexed || dict.hasKey("/Decode"))
                return std::nullopt;
            if (alpha == 2 && !ownMask)
                return std::nullopt; // premultiplied: its colours can't be had alone
            in.alphaAsMask = alpha == 1 && !ownMask;
        } else {
            // One-bit pictures (scans, stencils) are as small as they get.
            auto bpc = dict.getKey("/BitsPerComponent");
            if (!bpc.isInteger())
                return std::nullopt;
            in.bitsPerComponent = int(bpc.getIntValue());
            const std::set<int> depths = indexed ? std::set{2, 4, 8} : std::set{2, 4, 8, 16};
            if (!depths.count(in.bitsPerComponent) || (dct && in.bitsPerComponent != 8))
                return std::nullopt;
        }
        if (auto decode = dict.getKey("/Decode"); decode.isArray()) {
            if (decode.getArrayNItems() != 2 * in.components || (!indexed && !colours.plainRange))
                return std::nullopt;
            for (int i = 0; i < decode.getArrayNItems(); ++i) {
                if (!decode.getArrayItem(i).isNumber())
                    return std::nullopt;
                in.decode.append(decode.getArrayItem(i).getNumericValue());
            }
        }
        // CMYK JPEG data goes in inverted under an inverting /Decode, which
        // only means that where each component runs from 0 to 1.
        if (in.components == 4 && !colours.plainRange)
            return std::nullopt;

        in.size = QSize(*width, *height);
        if (qint64(in.size.width()) * in.size.height() *
                std::max({in.components, in.paletteComponents, 4}) >
            kMaxDecoded)
            return std::nullopt;
        const double scale = m_filter.dpi / 72.0 * pointsPerPixel;
        in.target = ImageRecompressor::targetSize(in.size, scale, m_filter.maxPixel);
        in.quality = m_filter.quality;
        in.storedBytes = storedLength(image);
        if (in.storedBytes < kMinStored)
            return std::nullopt;
        if (dct) {
            auto parms = dict.getKey("/DecodeParms");
            if (indexed || (parms.isDictionary() && parms.hasKey("/ColorTransform")))
                return std::nullopt;
            in.kind = Input::Kind::Jpeg;
            in.data = bytesOf(image.getRawStreamData());
        } else if (jpx) {
            in.kind = Input::Kind::Jpx;
            in.data = bytesOf(image.getRawStreamData());
        } else if (generalFilters(filters)) {
            in.kind = Input::Kind::Samples;
            in.data = bytesOf(image.getStreamData(qpdf_dl_generalized));
            in.mayStayLossless = true;
        } else {
            return std::nullopt; // JBIG2, CCITT, ...
        }

        auto mask = dict.getKey("/SMask");
        if (mask.isStream()) {
            auto m = mask.getDict();
            if (m.hasKey("/Matte"))
                return std::nullopt; // its samples are tied to the picture's size
            const auto mw = sideOf(m.getKey("/Width")), mh = sideOf(m.getKey("/Height"));
            auto mb = m.getKey("/BitsPerComponent");
            if (!maskShared && mw && mh && mb.isInteger() && mb.getIntValue() == 8 &&
                !m.hasKey("/Decode") && generalFilters(filtersOf(m)) &&
                qint64(*mw) * *mh <= kMaxDecoded) {
                in.maskSize = QSize(*mw, *mh);
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
    using Space = ImageRecompressor::Output::Space;
    const auto integer = [](int v) { return QPDFObjectHandle::newInteger(v); };
    const auto stream = [](QPDFObjectHandle from, const QByteArray &data) {
        return QPDFObjectHandle::newStream(from.getOwningQPDF(), data.toStdString());
    };
    try {
        auto copy = m_carry(source);
        auto dict = copy.getDict();
        // The new colour space first: nothing changes unless it can be had.
        QPDFObjectHandle space;
        switch (out.space) {
        case Space::Same: break;
        case Space::PaletteBase: {
            auto indexed = dict.getKey("/ColorSpace");
            if (!indexed.isArray() || indexed.getArrayNItems() < 2)
                return;
            space = indexed.getArrayItem(1);
            break;
        }
        case Space::Gray: space = name("/DeviceGray"); break;
        case Space::Rgb: space = name("/DeviceRGB"); break;
        case Space::Cmyk: space = name("/DeviceCMYK"); break;
        case Space::Icc: {
            auto profile = stream(copy, out.iccProfile);
            profile.getDict().replaceKey("/N", integer(out.components));
            space = QPDFObjectHandle::newArray();
            space.appendItem(name("/ICCBased"));
            space.appendItem(profile);
            break;
        }
        }
        copy.replaceStreamData(out.data.toStdString(),
                               name(out.jpeg ? "/DCTDecode" : "/FlateDecode"),
                               QPDFObjectHandle::newNull());
        dict.replaceKey("/Width", integer(out.size.width()));
        dict.replaceKey("/Height", integer(out.size.height()));
        dict.replaceKey("/BitsPerComponent", integer(8));
        if (space.isInitialized())
            dict.replaceKey("/ColorSpace", space);
        if (out.invertedDecode)
            dict.replaceKey("/Decode", QPDFObjectHandle::parse("[1 0 1 0 1 0 1 0]"));
        else
            dict.removeKey("/Decode");
        dict.removeKey("/SMaskInData"); // the new data has no alpha channel
        stats.replaced += 1;
        stats.bytesBefore += storedLength(source);
        stats.bytesAfter += out.data.size();
        if (out.maskMade) {
            auto mask = stream(copy, QByteArray());
            mask.replaceStreamData(out.mask.toStdString(), name("/FlateDecode"),
                                   QPDFObjectHandle::newNull());
            mask.getDict().replaceKey("/Type", name("/XObject"));
            mask.getDict().replaceKey("/Subtype", name("/Image"));
            mask.getDict().replaceKey("/ColorSpace", name("/DeviceGray"));
            mask.getDict().replaceKey("/BitsPerComponent", integer(8));
            mask.getDict().replaceKey("/Width", integer(out.maskSize.width()));
            mask.getDict().replaceKey("/Height", integer(out.maskSize.height()));
            dict.replaceKey("/SMask", mask);
        } else if (auto mask = dict.getKey("/SMask"); out.maskReplaced && mask.isStream()) {
            mask.replaceStreamData(out.mask.toStdString(), name("/FlateDecode"),
                                   QPDFObjectHandle::newNull());
            mask.getDict().replaceKey("/Width", integer(out.maskSize.width()));
            mask.getDict().replaceKey("/Height", integer(out.maskSize.height()));
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
