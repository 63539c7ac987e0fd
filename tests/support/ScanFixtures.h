#pragma once

// Scanned pages made from known text: lines drawn into a grey picture, and
// image-only PDFs of such pictures, so that what recognition finds can be
// checked against what was written and where.

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringList>

namespace Fixtures {

struct ScanWord {
    QString text;
    QRectF box; // on the picture, in pixels, y down
};

struct Scan {
    QImage image; // Grayscale8, resolution set
    QList<ScanWord> words;
};

// Lines of text in a clear sans serif at `pointSize`, one inch in from the
// top left of a page of `size` points scanned at `dpi`.
Scan scan(const QStringList &lines, QSizeF size = {432, 288}, double dpi = 200, int pointSize = 16);

// The picture turned by `degrees` (clockwise as seen; not a multiple of 90
// for a crooked scan, on white paper), and where a box lands on it.
QImage turned(const QImage &image, int degrees);
QRectF turnedBox(const QRectF &box, QSize original, int degrees);

struct ScanPage {
    QImage image;
    double dpi = 200;
    int rotate = 0; // the page's /Rotate
};

// A PDF whose pages show only the pictures (JPEG), each filling its page.
QByteArray scanPDF(const QList<ScanPage> &pages);

} // namespace Fixtures
