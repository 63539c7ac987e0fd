#pragma once

#include "core/PDFFile.h"
#include "engine/Placement.h"

#include <QImage>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QUuid>

#include <optional>

// What the Sign & Stamp screen (and quirebook-cli sign) works on: the
// stamps placed on the chosen file, on any of its pages, which one is
// selected, the page shown and its preview. Bounds are in points in the
// page as seen (crop box, rotation applied, origin lower left, y up).
// The move, resize and keep-on-page rules are plain functions, so the
// screen's stamp view and the tests apply the same ones.
class SignModel : public QObject {
    Q_OBJECT
public:
    static constexpr double kMinWidth = 20;
    static constexpr double kMaxPreviewWidth = 1100; // pixels
    static constexpr double kMaxPreviewDpi = 200;

    explicit SignModel(QObject *parent = nullptr);

    const QList<Placement> &placements() const { return m_placements; }
    std::optional<QUuid> selected() const { return m_selected; }
    int pageIndex() const { return m_pageIndex; }
    const std::optional<QImage> &pageImage() const { return m_pageImage; }
    QSizeF pageSize() const { return m_pageSize; }
    std::optional<QUuid> loadedID() const { return m_loadedID; }

    // Starts over for a file other than the one loaded (placements never
    // go from one file to another), then shows the current page.
    void load(const PDFFile &file);
    // Clamps the page index to the file's pages, sets the page size and
    // draws the preview (1100 pixels wide, at most 200 dpi).
    void renderPage(const PDFFile &file);
    // Shows the page `delta` away (−1, +1) and clears the selection.
    void showPage(const PDFFile &file, int delta);
    // A placement `width` points wide with the image's proportions, in the
    // middle of the shown page, selected. Returns its id.
    QUuid add(const QImage &image, double width);
    // The same on any page at any place (quirebook-cli): bounds as given.
    QUuid place(const QImage &image, int pageIndex, const QRectF &bounds);
    void deleteSelected();
    void select(const std::optional<QUuid> &id);
    // Replaces a placement's bounds (the screen's drags).
    void setBounds(const QUuid &id, const QRectF &bounds);

    // The preview's resolution for a page of this size (as seen).
    static double previewDpi(QSizeF pageSize);
    // A page's size as seen: the crop box, sides exchanged when turned a quarter.
    static QSizeF seenSize(QSizeF cropSize, int rotation);
    // A move drag: `translation` in screen points (x right, y down) at `scale`
    // screen points per page point, from the bounds the drag started with.
    static QRectF moved(const QRectF &start, QPointF translation, double scale);
    // A drag of the lower-right corner dot: the upper-left corner stays,
    // proportions are kept, at least 20 points and at most the page width.
    static QRectF resized(const QRectF &start, QPointF translation, double scale, QSizeF pageSize);
    // When a drag ends: at most half of the stamp outside the page on any side.
    static QRectF keptOnPage(const QRectF &bounds, QSizeF pageSize);

Q_SIGNALS:
    void changed();

private:
    QList<Placement> m_placements;
    std::optional<QUuid> m_selected;
    int m_pageIndex = 0;
    std::optional<QImage> m_pageImage;
    QSizeF m_pageSize{612, 792};
    std::optional<QUuid> m_loadedID;
};
