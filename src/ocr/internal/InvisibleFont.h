#pragma once

#ifndef QUIREBOOK_INSIDE_OCR
#error "Private to the ocr layer: qpdf and poppler stay behind its public headers."
#endif

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include <QByteArray>
#include <QString>

#include <map>

namespace Searchable {

// The font of the invisible text layer, one per document written: a Type 0
// font (Identity-H) over a TrueType program of our own whose glyphs draw
// nothing. Each character used gets a code of its own, and the ToUnicode map
// turns the codes back into the characters, so that any script can be
// searched and copied. Every glyph is half an em wide; words are stretched
// to their boxes with the horizontal scale. The font sits on its baseline and
// reaches exactly one em up, so a reader's box for a word is the rectangle it
// was drawn into.
class InvisibleFont {
public:
    explicit InvisibleFont(QPDF &document);

    // The Type 0 font, to be put into a page's resources.
    QPDFObjectHandle object() const { return m_font; }

    // The text as a hex string of codes for Tj ("<00010002>"), and the
    // number of glyphs it shows.
    QByteArray encode(const QString &text, int *glyphs = nullptr);

    static constexpr double kAdvance = 0.5; // of the font size, every glyph

    // Writes the maps of the codes handed out so far. Call once all text
    // has been encoded (again after more, if need be).
    void finish();

    // The TrueType program (for tests and the curious).
    static QByteArray program();

private:
    quint16 codeFor(char32_t character);

    QPDFObjectHandle m_font;
    QPDFObjectHandle m_toUnicode;
    QPDFObjectHandle m_cidToGid;
    std::map<char32_t, quint16> m_codes;
};

} // namespace Searchable
