#include "screens/PageThumb.h"

#include "engine/PDFDocument.h"
#include "screens/Theme.h"
#include "screens/Thumbnails.h"

#include <QPainter>
#include <QPainterPath>

namespace {
constexpr int kShadow = 3; // room around the page for its shadow
}

PageThumb::PageThumb(std::shared_ptr<const PDFDocument> doc, int page, int extraRotation,
                     int height, QWidget *parent)
    : QWidget(parent)
    , m_doc(std::move(doc))
    , m_page(page)
    , m_extraRotation(extraRotation)
    , m_height(height)
{
    QSizeF upright(612, 792);
    if (m_doc && !m_doc->isLocked())
        if (const auto geometry = m_doc->page(m_page))
            upright = geometry->uprightSize();
    int turn = extraRotation % 360;
    if (turn < 0)
        turn += 360;
    if (turn == 90 || turn == 270)
        upright.transpose();
    const double aspect = upright.width() / std::max(1.0, upright.height());
    m_pageSize = QSize(std::clamp(qRound(height * aspect), 1, height * 4), height);
    setFixedSize(m_pageSize + QSize(2 * kShadow, 2 * kShadow));
    setAttribute(Qt::WA_OpaquePaintEvent, false);

    connect(&Thumbnails::instance(), &Thumbnails::ready, this,
            [this](const QString &key, const QImage &image) {
                if (key == m_key && !key.isEmpty()) {
                    m_image = image;
                    m_settled = true;
                    update();
                }
            });
}

QSize PageThumb::sizeHint() const
{
    return m_pageSize + QSize(2 * kShadow, 2 * kShadow);
}

void PageThumb::request()
{
    m_requested = true;
    // Twice the shown height, for sharp pictures on high-density screens.
    const int pixels = qRound(m_height * 2 * std::max<qreal>(1.0, devicePixelRatioF() / 2));
    const Thumbnails::Request request{m_doc, m_page, m_extraRotation, pixels};
    m_key = Thumbnails::instance().key(request);
    if (const auto ready = Thumbnails::instance().image(request)) {
        m_image = *ready;
        m_settled = true;
    }
}

void PageThumb::paintEvent(QPaintEvent *)
{
    if (!m_requested)
        request();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRect page(QPoint(kShadow, kShadow), m_pageSize);
    if (m_image.isNull()) {
        painter.fillRect(page, Theme::withAlpha(Theme::secondary(), 0.12));
        return;
    }
    // A soft shadow: a few widening rings of faint black.
    for (int i = kShadow; i >= 1; --i) {
        QPainterPath ring;
        ring.addRoundedRect(QRectF(page).adjusted(-i, -i + 1, i, i + 1), i, i);
        painter.fillPath(ring, QColor(0, 0, 0, 64 / (i + 1)));
    }
    painter.fillRect(page, Qt::white);
    const QSize fitted = m_image.size().scaled(m_pageSize, Qt::KeepAspectRatio);
    const QRect target(page.x() + (page.width() - fitted.width()) / 2,
                       page.y() + (page.height() - fitted.height()) / 2, fitted.width(),
                       fitted.height());
    painter.drawImage(target, m_image);
}
