#include "engine/PDFError.h"
#include "ocr/Searchable.h"

#include <leptonica/allheaders.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTransform>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Searchable", text);
}

// A word as tesseract found it on the picture it was given: pixels, y down.
struct Found {
    QString text;
    int left, top, right, bottom;
    float confidence;
};

struct Line {
    std::vector<Found> words;
    bool hasBaseline = false;
    int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    // How far the line's letters reach above and below its baseline, as
    // tesseract measured the row: steadier than the words' own boxes, which
    // a speck of dirt or a stroke through the line can stretch.
    float above = 0, below = 0;
};

// The baseline's height under x.
double baselineAt(const Line &line, double x)
{
    if (line.x2 == line.x1)
        return line.y1;
    return line.y1 + double(line.y2 - line.y1) * (x - line.x1) / double(line.x2 - line.x1);
}

// The words of one line as a reader should see them: one line of equal
// height, words apart.
//
// Each box runs from the row's ascent above its baseline to its descent
// below it. On a crooked scan the baseline climbs along the line; each word
// follows it, but never further than a twentieth of the line's height from
// the line's middle, or readers would break the line into pieces. Where
// tesseract's boxes of neighbouring words touch or overlap (a letter that
// curls under the space), they are pulled apart so the words stay two.
void addLine(const Line &line, QSize size, QList<Searchable::Word> &out)
{
    if (line.words.empty())
        return;
    const size_t n = line.words.size();
    std::vector<double> bases(n), lefts(n), rights(n);
    for (size_t i = 0; i < n; ++i) {
        const auto &w = line.words[i];
        bases[i] = line.hasBaseline ? baselineAt(line, (w.left + w.right) / 2.0) : w.bottom;
        lefts[i] = w.left;
        rights[i] = w.right;
    }
    double ascent = line.above, descent = line.below;
    if (ascent <= 0) {
        // No row measure: the middle of the words' own reach.
        std::vector<double> ups, downs;
        for (size_t i = 0; i < n; ++i) {
            ups.push_back(bases[i] - line.words[i].top);
            downs.push_back(std::max(0.0, line.words[i].bottom - bases[i]));
        }
        std::nth_element(ups.begin(), ups.begin() + long(n / 2), ups.end());
        std::nth_element(downs.begin(), downs.begin() + long(n / 2), downs.end());
        ascent = ups[n / 2];
        descent = downs[n / 2];
    }
    const double lineHeight = ascent + descent;
    if (lineHeight <= 0)
        return;
    double middle = 0;
    for (double base : bases)
        middle += base;
    middle /= double(n);
    const double leeway = lineHeight / 20;
    for (double &base : bases)
        base = std::clamp(base, middle - leeway, middle + leeway);

    const double gap = lineHeight / 10;
    for (size_t i = 1; i < n; ++i) {
        if (lefts[i] < lefts[i - 1] || lefts[i] >= rights[i - 1] + gap)
            continue; // right to left, or apart already
        const double boundary =
            (std::max(lefts[i], lefts[i - 1]) + std::min(rights[i - 1], rights[i])) / 2;
        const double before = std::min(rights[i - 1], boundary - gap / 2);
        const double after = std::max(lefts[i], boundary + gap / 2);
        if (before > lefts[i - 1] && after < rights[i]) {
            rights[i - 1] = before;
            lefts[i] = after;
        }
    }

    const double width = size.width(), height = size.height();
    for (size_t i = 0; i < n; ++i) {
        const double top = std::clamp(bases[i] - ascent, 0.0, height);
        const double bottom = std::clamp(bases[i] + descent, top, height);
        Searchable::Word word;
        word.text = line.words[i].text;
        word.box = QRectF(lefts[i] / width, 1.0 - bottom / height, (rights[i] - lefts[i]) / width,
                          (bottom - top) / height);
        word.spaceAfter = i + 1 < n;
        if (word.box.width() > 0 && word.box.height() > 0)
            out.append(word);
    }
}

// Turns a normalised rectangle (y up) a quarter turn counter-clockwise
// `quarters` times about the picture's centre.
QRectF turned(const QRectF &box, int quarters)
{
    QRectF r = box;
    for (int i = 0; i < (quarters % 4 + 4) % 4; ++i)
        r = QRectF(1.0 - r.bottom(), r.left(), r.height(), r.width());
    return r;
}

QStringList dataFolderCandidates()
{
    QStringList folders;
    const QString prefix = qEnvironmentVariable("TESSDATA_PREFIX");
    if (!prefix.isEmpty())
        folders << prefix << QDir(prefix).filePath(QStringLiteral("tessdata"));
    folders << QStringLiteral("/usr/share/tesseract-ocr/5/tessdata")
            << QStringLiteral("/usr/share/tesseract-ocr/4.00/tessdata")
            << QStringLiteral("/usr/share/tessdata") << QStringLiteral("/usr/local/share/tessdata");
    return folders;
}

// Rules, strokes and dirt come back as "words" of a stray mark or a letter
// or two that tesseract itself doubts: they would only clutter searches and
// copies. Real short words ("a", "I", "42") are read with confidence.
bool isSpeck(const QString &text, float confidence)
{
    if (confidence >= 50)
        return false;
    if (confidence < 10 || (confidence < 40 && text.toUcs4().size() <= 2))
        return true;
    for (const QChar c : text)
        if (c.isLetterOrNumber())
            return false;
    return true;
}

bool stopRequested(void *data, int)
{
    const auto *stop = static_cast<const std::function<bool()> *>(data);
    return *stop && (*stop)();
}

} // namespace

namespace Searchable {

void limitRecognitionThreads(char *argv[])
{
    if (std::getenv("OMP_THREAD_LIMIT"))
        return;
    ::setenv("OMP_THREAD_LIMIT", "1", 1);
    ::execv("/proc/self/exe", argv);
    // Still here: run on with tesseract's own threads rather than not at all.
}

bool hasText(const QString &plainText)
{
    return plainText.trimmed().toUcs4().size() > 19;
}

QString languageDataFolder()
{
    for (const QString &folder : dataFolderCandidates())
        if (QFileInfo::exists(QDir(folder).filePath(QStringLiteral("eng.traineddata"))))
            return folder;
    for (const QString &folder : dataFolderCandidates())
        if (!QDir(folder).entryList({QStringLiteral("*.traineddata")}, QDir::Files).isEmpty())
            return folder;
    return {};
}

QStringList installedLanguages()
{
    QStringList codes;
    const QString folder = languageDataFolder();
    if (folder.isEmpty())
        return codes;
    for (const QFileInfo &file :
         QDir(folder).entryInfoList({QStringLiteral("*.traineddata")}, QDir::Files, QDir::Name)) {
        const QString code = file.completeBaseName();
        if (code != QLatin1String("osd") && code != QLatin1String("equ"))
            codes << code;
    }
    return codes;
}

struct Engine::Private {
    tesseract::TessBaseAPI reader;
    std::unique_ptr<tesseract::TessBaseAPI> orientation; // made when first needed
    QString folder;
    std::function<bool()> stop;

    // Reads an upright picture (grey, 8 bits).
    QList<Word> read(const QImage &grey, double *meanConfidence)
    {
        reader.SetImage(grey.constBits(), grey.width(), grey.height(), 1, int(grey.bytesPerLine()));
        reader.SetSourceResolution(resolution(grey));
        tesseract::ETEXT_DESC monitor;
        monitor.cancel = stopRequested;
        monitor.cancel_this = &stop;
        if (reader.Recognize(&monitor) != 0) {
            reader.Clear();
            if (stop && stop())
                return {};
            throw PDFError::failed(tr("The page couldn't be read."));
        }
        QList<Word> words;
        std::unique_ptr<tesseract::ResultIterator> it(reader.GetIterator());
        Line line;
        double confidenceSum = 0;
        int counted = 0;
        if (it && !it->Empty(tesseract::RIL_WORD)) {
            do {
                if (it->Empty(tesseract::RIL_WORD))
                    continue;
                if (it->IsAtBeginningOf(tesseract::RIL_TEXTLINE)) {
                    addLine(line, grey.size(), words);
                    line = Line{};
                    line.hasBaseline = it->Baseline(tesseract::RIL_TEXTLINE, &line.x1, &line.y1,
                                                    &line.x2, &line.y2);
                    float height = 0, descenders = 0, ascenders = 0;
                    it->RowAttributes(&height, &descenders, &ascenders);
                    if (line.hasBaseline && height > 0 && descenders <= 0 &&
                        height + descenders > 0) {
                        line.above = height + descenders;
                        line.below = -descenders;
                    }
                }
                std::unique_ptr<char[]> text(it->GetUTF8Text(tesseract::RIL_WORD));
                Found found{};
                if (!text || !it->BoundingBox(tesseract::RIL_WORD, &found.left, &found.top,
                                              &found.right, &found.bottom))
                    continue;
                found.confidence = it->Confidence(tesseract::RIL_WORD);
                if (isSpeck(QString::fromUtf8(text.get()), found.confidence))
                    continue;
                confidenceSum += found.confidence;
                ++counted;
                const QStringList parts =
                    QString::fromUtf8(text.get())
                        .split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
                // A word with spaces inside (rare) is shared out by characters.
                qsizetype total = 0;
                for (const auto &part : parts)
                    total += part.size();
                double x = found.left;
                for (const auto &part : parts) {
                    Found piece = found;
                    piece.text = part;
                    const double share =
                        double(found.right - found.left) * double(part.size()) / double(total);
                    piece.left = int(std::lround(x));
                    piece.right = int(std::lround(x + share));
                    x += share;
                    if (piece.right > piece.left && piece.bottom > piece.top)
                        line.words.push_back(piece);
                }
            } while (it->Next(tesseract::RIL_WORD));
        }
        addLine(line, grey.size(), words);
        reader.Clear();
        if (meanConfidence)
            *meanConfidence = counted ? confidenceSum / counted : 0;
        return words;
    }

    static int resolution(const QImage &image)
    {
        const int dpi = int(std::lround(image.dotsPerMeterX() * 0.0254));
        return dpi >= 50 && dpi <= 2400 ? dpi : 200;
    }

    // How far the picture is turned from upright, counter-clockwise, in
    // quarter turns; nothing when tesseract can't tell.
    std::optional<int> quartersTurned(const QImage &grey)
    {
        if (!orientation) {
            orientation = std::make_unique<tesseract::TessBaseAPI>();
            orientation->SetVariable("debug_file", "/dev/null");
            if (orientation->Init(folder.toUtf8().constData(), "osd",
                                  tesseract::OEM_TESSERACT_ONLY) != 0) {
                orientation.reset();
                return std::nullopt;
            }
            orientation->SetPageSegMode(tesseract::PSM_OSD_ONLY);
        }
        orientation->SetImage(grey.constBits(), grey.width(), grey.height(), 1,
                              int(grey.bytesPerLine()));
        orientation->SetSourceResolution(resolution(grey));
        int degrees = 0;
        float confidence = 0;
        const char *script = nullptr;
        float scriptConfidence = 0;
        const bool found =
            orientation->DetectOrientationScript(&degrees, &confidence, &script, &scriptConfidence);
        orientation->Clear();
        if (!found || confidence < 1.5f)
            return std::nullopt;
        // tesseract gives the clockwise turn of the picture.
        return ((360 - degrees) / 90) % 4;
    }
};

Engine::Engine(const QStringList &languages)
    : d(new Private)
{
    d->folder = languageDataFolder();
    // tesseract's own complaints, and those of leptonica under it (a blank
    // page has "no fg pixels"), would only muddle the program's messages.
    d->reader.SetVariable("debug_file", "/dev/null");
    setMsgSeverity(L_SEVERITY_NONE);
    const QString wanted =
        languages.isEmpty() ? QStringLiteral("eng") : languages.join(QLatin1Char('+'));
    if (d->folder.isEmpty() ||
        d->reader.Init(d->folder.toUtf8().constData(), wanted.toUtf8().constData(),
                       tesseract::OEM_LSTM_ONLY) != 0) {
        delete d;
        d = nullptr;
        throw PDFError::failed(tr("The recognition data for “%1” couldn't be loaded.").arg(wanted));
    }
    d->reader.SetPageSegMode(tesseract::PSM_AUTO);
}

Engine::~Engine()
{
    delete d;
}

void Engine::setStopTest(std::function<bool()> stop)
{
    d->stop = std::move(stop);
}

QList<Word> Engine::recognize(const QImage &image)
{
    if (image.isNull() || image.width() < 3 || image.height() < 3)
        return {};
    const QImage grey = image.convertToFormat(QImage::Format_Grayscale8);
    double confidence = 0;
    QList<Word> words = d->read(grey, &confidence);
    if (d->stop && d->stop())
        return {};
    // A page that reads badly may be lying on its side or upside down; one
    // on its side also shows as "words" standing taller than they are wide.
    qsizetype standing = 0;
    for (const auto &word : words)
        if (word.text.size() >= 3 &&
            word.box.height() * grey.height() > word.box.width() * grey.width())
            ++standing;
    if (confidence >= 60 && words.size() >= 3 && standing * 5 < words.size())
        return words;
    const auto quarters = d->quartersTurned(grey);
    if (!quarters || *quarters == 0)
        return words;
    QImage upright = grey.transformed(QTransform().rotate(90.0 * *quarters));
    upright.setDotsPerMeterX(grey.dotsPerMeterX());
    upright.setDotsPerMeterY(grey.dotsPerMeterY());
    double turnedConfidence = 0;
    QList<Word> turnedWords = d->read(upright, &turnedConfidence);
    // Words read standing up can't be laid over the page as they are: the
    // turned reading wins then, and otherwise when it reads better.
    const bool readStanding = standing * 2 >= words.size() && !words.isEmpty();
    if (!readStanding && turnedConfidence <= confidence && turnedWords.size() <= words.size())
        return words;
    for (auto &word : turnedWords) {
        word.box = turned(word.box, *quarters);
        word.angle = 90 * *quarters;
    }
    return turnedWords;
}

QList<Word> recognize(const QImage &image, const QStringList &languages)
{
    Engine engine(languages);
    return engine.recognize(image);
}

} // namespace Searchable
