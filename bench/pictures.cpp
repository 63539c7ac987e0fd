// Writes the compression benchmark's colour inputs into a folder, with the
// tests' own fixtures: a CMYK brochure page (plain CMYK JPEG), the same as
// Adobe writes it (inverted YCCK under an inverting /Decode), an
// indexed-colour chart and a page scanned to JPEG 2000, all at 300 dpi.
//
//     bench_pictures OUTDIR

#include "support/ColourFixtures.h"
#include "support/Fixtures.h"

#include <QDir>
#include <QGuiApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_pictures OUTDIR\n");
        return 2;
    }
    const QDir out(QString::fromLocal8Bit(argv[1]));
    using K = Fixtures::ColourKind;
    const QRectF page(0, 0, 612, 792);
    const struct {
        const char *name;
        K kind;
        QSize pixels;
        QRectF placed;
    } inputs[] = {
        {"brochure-cmyk", K::CmykJpeg, {1800, 2400}, {90, 108, 432, 576}},
        {"brochure-adobe", K::AdobeCmykJpeg, {1800, 2400}, {90, 108, 432, 576}},
        {"chart-indexed", K::IndexedChart, {2400, 1600}, {18, 204, 576, 384}},
        {"scan-jpx", K::Jpx, {2550, 3300}, page},
    };
    for (const auto &input : inputs)
        Fixtures::writeFile(out.filePath(QString::fromLatin1(input.name) + ".pdf"),
                            Fixtures::colourPDF(input.kind, input.pixels, input.placed));
    return 0;
}
