#pragma once

#include <QWidget>

#include <memory>

class PDFDocument;
class PageThumb;

// A thumbnail of a document's first page, or a placeholder when it has none.
class FirstPageThumb : public QWidget {
    Q_OBJECT
public:
    FirstPageThumb(std::shared_ptr<const PDFDocument> doc, int height, QWidget *parent = nullptr);
    // Null when the document has no first page.
    PageThumb *pageThumb() const { return m_thumb; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    PageThumb *m_thumb = nullptr;
};
