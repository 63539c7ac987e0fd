#include "ocr/internal/InvisibleFont.h"

#include <QList>
#include <QtEndian>

#include <algorithm>

#include <array>
#include <vector>

namespace {

const char *const kFontName = "/QuirebookInvisible";

void put16(QByteArray &out, quint16 v)
{
    out.append(char(v >> 8));
    out.append(char(v & 0xff));
}

void put32(QByteArray &out, quint32 v)
{
    put16(out, quint16(v >> 16));
    put16(out, quint16(v & 0xffff));
}

quint32 checksum(const QByteArray &table)
{
    QByteArray padded = table;
    while (padded.size() % 4)
        padded.append('\0');
    quint32 sum = 0;
    for (qsizetype i = 0; i < padded.size(); i += 4)
        sum += qFromBigEndian<quint32>(padded.constData() + i);
    return sum;
}

QByteArray headTable()
{
    QByteArray t;
    put32(t, 0x00010000); // version
    put32(t, 0x00010000); // revision
    put32(t, 0);          // checksum adjustment, filled in last
    put32(t, 0x5F0F3CF5); // magic
    put16(t, 0x000B);     // baseline at y=0, integer scaling
    put16(t, 1000);       // units per em
    for (int i = 0; i < 4; ++i)
        put32(t, 0); // created, modified
    put16(t, 0);     // xMin
    put16(t, 0);     // yMin
    put16(t, 500);   // xMax
    put16(t, 1000);  // yMax
    put16(t, 0);     // mac style
    put16(t, 8);     // lowest readable size
    put16(t, 2);     // font direction hint
    put16(t, 0);     // short loca offsets
    put16(t, 0);     // glyph data format
    return t;
}

QByteArray hheaTable()
{
    QByteArray t;
    put32(t, 0x00010000);
    put16(t, 1000); // ascender
    put16(t, 0);    // descender
    put16(t, 0);    // line gap
    put16(t, 500);  // advance width max
    put16(t, 0);    // min left side bearing
    put16(t, 0);    // min right side bearing
    put16(t, 0);    // x max extent
    put16(t, 1);    // caret slope rise
    put16(t, 0);    // caret slope run
    put16(t, 0);    // caret offset
    for (int i = 0; i < 4; ++i)
        put16(t, 0);
    put16(t, 0); // metric data format
    put16(t, 2); // number of h metrics
    return t;
}

QByteArray maxpTable()
{
    QByteArray t;
    put32(t, 0x00010000);
    put16(t, 2); // glyphs: .notdef and the invisible one
    for (int i = 0; i < 13; ++i)
        put16(t, i == 4 ? 2 : 0); // max zones 2, everything else 0
    return t;
}

QByteArray hmtxTable()
{
    QByteArray t;
    for (int i = 0; i < 2; ++i) {
        put16(t, 500);
        put16(t, 0);
    }
    return t;
}

QByteArray locaTable()
{
    QByteArray t;
    for (int i = 0; i < 3; ++i)
        put16(t, 0); // both glyphs empty: no outline at all
    return t;
}

QByteArray cmapTable()
{
    QByteArray t;
    put16(t, 0); // version
    put16(t, 1); // one encoding
    put16(t, 3);
    put16(t, 1);
    put32(t, 12);
    // Format 4 with only the closing segment: the codes reach the glyphs
    // through the CIDToGIDMap, not through this table.
    put16(t, 4);
    put16(t, 24);
    put16(t, 0);
    put16(t, 2); // segCountX2
    put16(t, 2); // search range
    put16(t, 0); // entry selector
    put16(t, 0); // range shift
    put16(t, 0xFFFF);
    put16(t, 0);
    put16(t, 0xFFFF);
    put16(t, 1);
    put16(t, 0);
    return t;
}

QByteArray nameTable()
{
    const QString name = QStringLiteral("QuirebookInvisible");
    QByteArray utf16;
    for (QChar c : name)
        put16(utf16, c.unicode());
    QByteArray t;
    const std::array<quint16, 4> ids{1, 2, 4, 6};
    put16(t, 0);
    put16(t, quint16(ids.size()));
    put16(t, quint16(6 + 12 * ids.size()));
    QByteArray strings;
    for (quint16 id : ids) {
        const QByteArray value = id == 2 ? QByteArray("\0R\0e\0g\0u\0l\0a\0r", 14) : utf16;
        put16(t, 3);
        put16(t, 1);
        put16(t, 0x409);
        put16(t, id);
        put16(t, quint16(value.size()));
        put16(t, quint16(strings.size()));
        strings.append(value);
    }
    t.append(strings);
    return t;
}

QByteArray os2Table()
{
    QByteArray t;
    put16(t, 4);   // version
    put16(t, 500); // average width
    put16(t, 400); // weight
    put16(t, 5);   // width
    put16(t, 0);   // embedding: installable
    for (int i = 0; i < 10; ++i)
        put16(t, 0);                // sub/superscript, strikeout
    put16(t, 0);                    // family class
    t.append(QByteArray(10, '\0')); // panose
    for (int i = 0; i < 4; ++i)
        put32(t, 0); // unicode ranges
    t.append("NONE", 4);
    put16(t, 0x0040); // regular
    put16(t, 0x20);   // first char
    put16(t, 0xFFFF); // last char
    put16(t, 1000);   // typo ascender
    put16(t, 0);      // typo descender
    put16(t, 0);      // typo line gap
    put16(t, 1000);   // win ascent
    put16(t, 0);      // win descent
    put32(t, 1);      // code page ranges
    put32(t, 0);
    put16(t, 500);  // x height
    put16(t, 1000); // cap height
    put16(t, 0);    // default char
    put16(t, 0x20); // break char
    put16(t, 1);    // max context
    return t;
}

QByteArray postTable()
{
    QByteArray t;
    put32(t, 0x00030000); // no glyph names
    put32(t, 0);          // italic angle
    put16(t, quint16(-100));
    put16(t, 50);
    put32(t, 0);
    for (int i = 0; i < 4; ++i)
        put32(t, 0);
    return t;
}

QByteArray buildProgram()
{
    struct Table {
        const char *tag;
        QByteArray data;
    };
    // In tag order, as the table directory wants them.
    std::vector<Table> tables{{"OS/2", os2Table()},  {"cmap", cmapTable()}, {"glyf", QByteArray()},
                              {"head", headTable()}, {"hhea", hheaTable()}, {"hmtx", hmtxTable()},
                              {"loca", locaTable()}, {"maxp", maxpTable()}, {"name", nameTable()},
                              {"post", postTable()}};
    const quint16 count = quint16(tables.size());
    quint16 power = 1, exponent = 0;
    while (power * 2 <= count) {
        power *= 2;
        ++exponent;
    }
    QByteArray font;
    put32(font, 0x00010000);
    put16(font, count);
    put16(font, quint16(power * 16));
    put16(font, exponent);
    put16(font, quint16(count * 16 - power * 16));
    quint32 offset = 12 + 16 * count;
    qsizetype headOffset = 0;
    QByteArray body;
    for (const auto &table : tables) {
        font.append(table.tag, 4);
        put32(font, checksum(table.data));
        put32(font, offset);
        put32(font, quint32(table.data.size()));
        if (QByteArrayView(table.tag) == "head")
            headOffset = 12 + 16 * count + body.size();
        QByteArray padded = table.data;
        while (padded.size() % 4)
            padded.append('\0');
        body.append(padded);
        offset += quint32(padded.size());
    }
    font.append(body);
    const quint32 adjustment = 0xB1B0AFBA - checksum(font);
    qToBigEndian<quint32>(adjustment, font.data() + headOffset + 8);
    return font;
}

QPDFObjectHandle name(const char *n)
{
    return QPDFObjectHandle::newName(n);
}

QByteArray hex16(quint32 v)
{
    return QByteArray::number(v, 16).toUpper().rightJustified(4, '0');
}

// The characters a code stands for, as UTF-16 in hex.
QByteArray utf16Hex(char32_t c)
{
    if (c < 0x10000)
        return hex16(c);
    const char32_t v = c - 0x10000;
    return hex16(0xD800 + (v >> 10)) + hex16(0xDC00 + (v & 0x3FF));
}

} // namespace

namespace Searchable {

QByteArray InvisibleFont::program()
{
    static const QByteArray built = buildProgram();
    return built;
}

InvisibleFont::InvisibleFont(QPDF &document)
{
    const QByteArray bytes = program();
    auto file = QPDFObjectHandle::newStream(&document, bytes.toStdString());
    file.getDict().replaceKey("/Length1", QPDFObjectHandle::newInteger(bytes.size()));

    auto descriptor = QPDFObjectHandle::newDictionary();
    descriptor.replaceKey("/Type", name("/FontDescriptor"));
    descriptor.replaceKey("/FontName", name(kFontName));
    descriptor.replaceKey("/Flags", QPDFObjectHandle::newInteger(4));
    descriptor.replaceKey("/FontBBox", QPDFObjectHandle::parse("[0 -1 500 1000]"));
    descriptor.replaceKey("/ItalicAngle", QPDFObjectHandle::newInteger(0));
    descriptor.replaceKey("/Ascent", QPDFObjectHandle::newInteger(1000));
    descriptor.replaceKey("/Descent", QPDFObjectHandle::newInteger(-1));
    descriptor.replaceKey("/CapHeight", QPDFObjectHandle::newInteger(1000));
    descriptor.replaceKey("/StemV", QPDFObjectHandle::newInteger(80));
    descriptor.replaceKey("/FontFile2", file);

    m_cidToGid = QPDFObjectHandle::newStream(&document, std::string());
    m_toUnicode = QPDFObjectHandle::newStream(&document, std::string());

    auto cidFont = QPDFObjectHandle::newDictionary();
    cidFont.replaceKey("/Type", name("/Font"));
    cidFont.replaceKey("/Subtype", name("/CIDFontType2"));
    cidFont.replaceKey("/BaseFont", name(kFontName));
    cidFont.replaceKey("/CIDSystemInfo",
                       QPDFObjectHandle::parse("<< /Registry (Adobe) /Ordering (Identity) "
                                               "/Supplement 0 >>"));
    cidFont.replaceKey("/FontDescriptor", document.makeIndirectObject(descriptor));
    cidFont.replaceKey("/DW", QPDFObjectHandle::newInteger(500));
    cidFont.replaceKey("/CIDToGIDMap", m_cidToGid);

    auto font = QPDFObjectHandle::newDictionary();
    font.replaceKey("/Type", name("/Font"));
    font.replaceKey("/Subtype", name("/Type0"));
    font.replaceKey("/BaseFont", name(kFontName));
    font.replaceKey("/Encoding", name("/Identity-H"));
    auto descendants = QPDFObjectHandle::newArray();
    descendants.appendItem(document.makeIndirectObject(cidFont));
    font.replaceKey("/DescendantFonts", descendants);
    font.replaceKey("/ToUnicode", m_toUnicode);
    m_font = document.makeIndirectObject(font);
    finish();
}

quint16 InvisibleFont::codeFor(char32_t character)
{
    auto found = m_codes.find(character);
    if (found != m_codes.end())
        return found->second;
    // Code 0 stays .notdef; past the last code everything shares it.
    const quint16 code = m_codes.size() < 0xFFFE ? quint16(m_codes.size() + 1) : 0;
    m_codes.emplace(character, code);
    return code;
}

QByteArray InvisibleFont::encode(const QString &text, int *glyphs)
{
    QByteArray out("<");
    int n = 0;
    for (char32_t c : text.toUcs4()) {
        out.append(hex16(codeFor(c)));
        ++n;
    }
    out.append('>');
    if (glyphs)
        *glyphs = n;
    return out;
}

void InvisibleFont::finish()
{
    quint16 last = 0;
    for (const auto &[character, code] : m_codes)
        last = std::max(last, code);
    QByteArray map(2 * (int(last) + 1), '\0');
    for (int code = 1; code <= last; ++code)
        map[2 * code + 1] = 1;
    m_cidToGid.replaceStreamData(map.toStdString(), QPDFObjectHandle::newNull(),
                                 QPDFObjectHandle::newNull());

    std::vector<std::pair<quint16, char32_t>> entries;
    for (const auto &[character, code] : m_codes)
        if (code != 0)
            entries.emplace_back(code, character);
    std::sort(entries.begin(), entries.end());
    QByteArray cmap = "/CIDInit /ProcSet findresource begin\n12 dict begin\nbegincmap\n"
                      "/CIDSystemInfo << /Registry (Adobe) /Ordering (UCS) /Supplement 0 >> def\n"
                      "/CMapName /Adobe-Identity-UCS def\n/CMapType 2 def\n"
                      "1 begincodespacerange\n<0000> <FFFF>\nendcodespacerange\n";
    for (size_t i = 0; i < entries.size(); i += 100) {
        const size_t end = std::min(entries.size(), i + 100);
        cmap += QByteArray::number(qulonglong(end - i)) + " beginbfchar\n";
        for (size_t j = i; j < end; ++j)
            cmap += '<' + hex16(entries[j].first) + "> <" + utf16Hex(entries[j].second) + ">\n";
        cmap += "endbfchar\n";
    }
    cmap += "endcmap\nCMapName currentdict /CMap defineresource pop\nend\nend\n";
    m_toUnicode.replaceStreamData(cmap.toStdString(), QPDFObjectHandle::newNull(),
                                  QPDFObjectHandle::newNull());
}

} // namespace Searchable
