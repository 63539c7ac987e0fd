#pragma once

#include "engine/PDFDocument.h"
#include "engine/Progress.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class DrawingDocument;

// Scanned pages made searchable: each page is redrawn as it was and every
// word that text recognition (tesseract, on this machine) finds on it is laid
// over the picture as invisible text, so it can be found, selected and
// copied while the page looks exactly the same.
namespace Searchable {

// One recognised word. `box` is normalised to the image: origin at the
// lower-left corner, x and y in 0…1 of its width and height. `angle` is the
// direction the text runs in, counter-clockwise in degrees (0, 90, 180, 270:
// a page scanned sideways). `spaceAfter` is set when the next word follows on
// the same line, so that copying the line puts a space between them.
struct Word {
    QString text;
    QRectF box;
    int angle = 0;
    bool spaceAfter = false;
    bool operator==(const Word &) const = default;
};

struct Stats {
    int pagesRead = 0;    // recognised
    int pagesSkipped = 0; // left alone: they already had text
    int words = 0;        // words drawn
    bool operator==(const Stats &) const = default;
};

// Reads the words on a picture. Thrown errors are recognition failures.
using Recognizer = std::function<QList<Word>(const QImage &image)>;

struct Options {
    double dpi = 200;
    bool skipPagesWithText = true;
    // tesseract language codes ("eng", "deu"), in order of priority; empty
    // means English.
    QStringList languages;
    // Pages recognised at once; 0 means one per core.
    int workers = 0;
    // For tests: makes the recogniser each worker uses instead of tesseract.
    std::function<Recognizer()> makeRecognizer;
};

// Writes a copy of `from` at `to` with invisible text over the recognised
// words (see PDFOps::rebuild, which does the redrawing and the writing).
// Pages are recognised in parallel; progress counts pages finished in order.
// Throws PDFError: those of the rebuild (locked, restricted, cancelled,
// failed), and failed("Text recognition failed: …") after writing the file
// when recognition broke down on some page (later pages carry no text).
Stats make(PDFDocument &from, const QString &to, const Options &options, const Progress &progress,
           const IsCancelled &isCancelled);

// A page has text when its plain text, trimmed, has 20 characters or more.
bool hasText(const QString &plainText);
bool hasText(const DrawingDocument &doc, int index);

// One tesseract engine for the given languages (empty: English). Not
// thread-safe: one per thread. Throws PDFError::failed when it can't start.
class Engine {
public:
    explicit Engine(const QStringList &languages);
    ~Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
    // The words of the picture in reading order. Pages scanned sideways or
    // upside down are turned upright for reading; the boxes stay on the
    // picture as it is. Throws PDFError::failed.
    QList<Word> recognize(const QImage &image);
    // Asked while reading: a yes stops the page halfway (no words).
    void setStopTest(std::function<bool()> stop);

private:
    struct Private;
    Private *d;
};

// One-shot convenience: a fresh engine for one picture.
QList<Word> recognize(const QImage &image, const QStringList &languages);

// The invisible font of a document being written: a Type 0 font with no
// visible glyphs whose codes map back to the words' characters.
class InvisibleFont;

// Appends the operators that draw `word` invisibly over its place in
// `frame` (the page, in points, origin lower-left), stretched to its box,
// in the font that the page's resources call `fontName`. When the word has
// a space after it, a space stretched up to `next` follows. Nothing for an
// empty word or box.
void drawInvisible(const Word &word, const QRectF &frame, InvisibleFont &font,
                   const QByteArray &fontName, QByteArray &operators, const Word *next = nullptr);
// Every word of a page, in order.
void drawWords(const QList<Word> &words, const QRectF &frame, InvisibleFont &font,
               const QByteArray &fontName, QByteArray &operators);

// The word's rectangle in the frame (x and y scaled by the frame's size).
QRectF placeOnFrame(const QRectF &normalisedBox, const QRectF &frame);

// tesseract's OpenMP threads fight the program's own workers, and the limit
// only takes when it is in the environment before the process starts: call
// first thing in main. Starts the program again with OMP_THREAD_LIMIT=1
// unless it is set already.
void limitRecognitionThreads(char *argv[]);

// Languages whose recognition data is installed, as tesseract codes, sorted
// ("osd" and "equ" are not languages).
QStringList installedLanguages();
// The folder with tesseract's language data.
QString languageDataFolder();

} // namespace Searchable
