#pragma once

#include <QImage>
#include <QString>
#include <QWidget>

#include <memory>

class PDFDocument;

// A thumbnail of one page, `height` pixels high, turned by a further
// number of degrees (the document itself is never rotated). The picture is
// drawn in the background the first time the thumbnail is painted, so
// thumbnails scrolled out of sight cost nothing; until then a placeholder.
class PageThumb : public QWidget {
    Q_OBJECT
public:
    PageThumb(std::shared_ptr<const PDFDocument> doc, int page, int extraRotation, int height,
              QWidget *parent = nullptr);

    bool hasImage() const { return !m_image.isNull(); }
    // The drawing has been asked for and has come back (with a picture, or
    // without one when the page couldn't be drawn).
    bool isSettled() const { return m_settled; }
    const QImage &image() const { return m_image; }
    // The size the page takes on screen, shadow excluded.
    QSize pageSize() const { return m_pageSize; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void request();

    std::shared_ptr<const PDFDocument> m_doc;
    int m_page = 0;
    int m_extraRotation = 0;
    int m_height = 0;
    QSize m_pageSize;
    QString m_key;
    QImage m_image;
    bool m_requested = false;
    bool m_settled = false;
};
