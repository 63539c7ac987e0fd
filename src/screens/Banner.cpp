#include "screens/Banner.h"

#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>

Banner::Banner(const QString &symbol, const QColor &color, const QString &text, QWidget *parent)
    : QWidget(parent)
    , m_color(color)
{
    setObjectName(QStringLiteral("banner"));
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);
    auto *icon = new QLabel(this);
    icon->setPixmap(Symbols::pixmap(symbol, 18, color, devicePixelRatioF()));
    icon->setAlignment(Qt::AlignTop);
    layout->addWidget(icon, 0, Qt::AlignTop);
    m_text = Theme::label(text, Theme::Type::Callout, this);
    m_text->setWordWrap(true);
    m_text->setObjectName(QStringLiteral("bannerText"));
    layout->addWidget(m_text, 1, Qt::AlignTop);
}

QString Banner::text() const
{
    return m_text->text();
}

void Banner::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()), 8, 8);
    painter.fillPath(path, Theme::withAlpha(m_color, 0.12));
}
