#include "support/ScanFixtures.h"

#include "support/Fixtures.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QTransform>

using namespace Qt::StringLiterals;

namespace Fixtures {

Scan scan(const QStringList &lines, QSizeF size, double dpi, int pointSize)
{
    Scan result;
    const QSize pixels(qRound(size.width() * dpi / 72), qRound(size.height() * dpi / 72));
    result.image = QImage(pixels, QImage::Format_Grayscale8);
    result.image.fill(Qt::white);
    const int dotsPerMeter = qRound(dpi / 0.0254);
    result.image.setDotsPerMeterX(dotsPerMeter);
    result.image.setDotsPerMeterY(dotsPerMeter);

    QPainter painter(&result.image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(qRound(pointSize * dpi / 72));
    painter.setFont(font);
    painter.setPen(Qt::black);
    const QFontMetricsF metrics(font);
    const double margin = dpi * 0.6;
    double baseline = margin + metrics.ascent();
    for (const QString &line : lines) {
        painter.drawText(QPointF(margin, baseline), line);
        double x = margin;
        for (const QString &word : line.split(u' ')) {
            const double width = metrics.horizontalAdvance(word);
            if (!word.isEmpty())
                result.words.append({word, QRectF(x, baseline - metrics.ascent(), width,
                                                  metrics.ascent() + metrics.descent())});
            x += width + metrics.horizontalAdvance(u' ');
        }
        baseline += metrics.height() * 1.5;
    }
    return result;
}

QImage turned(const QImage &image, int degrees)
{
    QImage out;
    if (degrees % 90 == 0) {
        out = image.transformed(QTransform().rotate(degrees));
    } else {
        // A crooked scan: white paper where the picture doesn't reach.
        const QTransform rotation = QTransform().rotate(degrees);
        const QRectF moved = rotation.mapRect(QRectF(image.rect()));
        out = QImage(moved.size().toSize(), QImage::Format_Grayscale8);
        out.fill(Qt::white);
        QPainter painter(&out);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.setTransform(rotation * QTransform::fromTranslate(-moved.left(), -moved.top()));
        painter.drawImage(0, 0, image);
    }
    out.setDotsPerMeterX(image.dotsPerMeterX());
    out.setDotsPerMeterY(image.dotsPerMeterY());
    return out;
}

QRectF turnedBox(const QRectF &box, QSize original, int degrees)
{
    const QTransform rotation = QTransform().rotate(degrees);
    // Qt turns about the origin and then moves the picture back into view.
    const QRectF moved = rotation.mapRect(QRectF(QPointF(0, 0), QSizeF(original)));
    return rotation.mapRect(box).translated(-moved.topLeft());
}

QByteArray scanPDF(const QList<ScanPage> &pages)
{
    QPDF q;
    q.emptyPDF();
    QPDFPageDocumentHelper helper(q);
    for (const auto &scanned : pages) {
        const QImage grey = scanned.image.convertToFormat(QImage::Format_Grayscale8);
        const QByteArray jpeg = encode(grey, "JPEG", 85);
        auto image = QPDFObjectHandle::newStream(&q, jpeg.toStdString());
        auto dict = image.getDict();
        dict.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
        dict.replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
        dict.replaceKey("/Width", QPDFObjectHandle::newInteger(grey.width()));
        dict.replaceKey("/Height", QPDFObjectHandle::newInteger(grey.height()));
        dict.replaceKey("/ColorSpace", QPDFObjectHandle::newName("/DeviceGray"));
        dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
        dict.replaceKey("/Filter", QPDFObjectHandle::newName("/DCTDecode"));

        const double w = grey.width() * 72.0 / scanned.dpi;
        const double h = grey.height() * 72.0 / scanned.dpi;
        const std::string content =
            "q " + std::to_string(w) + " 0 0 " + std::to_string(h) + " 0 0 cm /Im Do Q\n";
        auto page = QPDFObjectHandle::parse("<< /Type /Page /Resources << /XObject << >> >> >>");
        page.getKey("/Resources").getKey("/XObject").replaceKey("/Im", image);
        page.replaceKey("/MediaBox", QPDFObjectHandle::parse("[0 0 " + std::to_string(w) + " " +
                                                             std::to_string(h) + "]"));
        page.replaceKey("/Contents", QPDFObjectHandle::newStream(&q, content));
        if (scanned.rotate)
            page.replaceKey("/Rotate", QPDFObjectHandle::newInteger(scanned.rotate));
        helper.addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    }
    return bytesOf(q);
}

} // namespace Fixtures
