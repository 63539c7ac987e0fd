#include "screens/FirstPageThumb.h"

#include "engine/PDFDocument.h"
#include "screens/PageThumb.h"
#include "screens/Theme.h"

#include <QHBoxLayout>
#include <QPainter>

FirstPageThumb::FirstPageThumb(std::shared_ptr<const PDFDocument> doc, int height, QWidget *parent)
    : QWidget(parent)
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    if (doc && !doc->isLocked() && doc->pageCount() > 0) {
        m_thumb = new PageThumb(std::move(doc), 0, 0, height, this);
        layout->addWidget(m_thumb);
        setFixedSize(m_thumb->sizeHint());
    } else {
        setFixedSize(qRound(height * 0.75), height);
    }
}

void FirstPageThumb::paintEvent(QPaintEvent *)
{
    if (m_thumb)
        return;
    QPainter painter(this);
    painter.fillRect(rect(), Theme::withAlpha(Theme::secondary(), 0.15));
}
