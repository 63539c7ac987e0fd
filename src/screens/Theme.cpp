#include "screens/Theme.h"

#include "screens/Symbols.h"

#include <QButtonGroup>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPalette>
#include <QPushButton>

namespace Theme {

QColor accent()
{
    return QColor::fromRgbF(0.93f, 0.36f, 0.2f, 1.0f);
}

QColor withAlpha(const QColor &color, double alpha)
{
    QColor c = color;
    c.setAlphaF(static_cast<float>(alpha));
    return c;
}

QColor secondary()
{
    return QColor(0x6e, 0x6e, 0x73);
}
QColor orange()
{
    return QColor(0xe6, 0x7e, 0x00);
}
QColor green()
{
    return QColor(0x2e, 0xa0, 0x43);
}
QColor red()
{
    return QColor(0xd7, 0x2c, 0x2c);
}

QFont font(Type type, const QFont &base, bool semibold)
{
    QFont f = base;
    const double size = base.pointSizeF() > 0 ? base.pointSizeF() : 10.0;
    double factor = 1.0;
    switch (type) {
    case Type::Body: factor = 1.0; break;
    case Type::Caption: factor = 0.85; break;
    case Type::Callout: factor = 0.95; break;
    case Type::Headline:
        factor = 1.0;
        f.setWeight(QFont::Bold);
        break;
    case Type::Title: factor = 1.9; break;
    case Type::Title2: factor = 1.6; break;
    case Type::Title3: factor = 1.4; break;
    }
    f.setPointSizeF(size * factor);
    if (semibold)
        f.setWeight(QFont::DemiBold);
    return f;
}

void setTextColor(QWidget *widget, const QColor &color)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, color);
    palette.setColor(QPalette::Text, color);
    widget->setPalette(palette);
}

QLabel *label(const QString &text, Type type, QWidget *parent, bool semibold)
{
    auto *l = new QLabel(text, parent);
    l->setFont(font(type, parent ? parent->font() : QFont(), semibold));
    l->setTextFormat(Qt::PlainText);
    return l;
}

void makeProminent(QPushButton *button, bool large)
{
    const QColor base = accent();
    const QString padding = large ? QStringLiteral("9px 22px") : QStringLiteral("5px 14px");
    button->setStyleSheet(
        QStringLiteral(
            "QPushButton { background: %1; color: white; border: none; border-radius: 6px;"
            " padding: %2; font-weight: 600; }"
            "QPushButton:hover { background: %3; }"
            "QPushButton:pressed { background: %4; }"
            "QPushButton:disabled { background: %5; color: %6; }")
            .arg(base.name(), padding, base.lighter(110).name(), base.darker(115).name(),
                 withAlpha(base, 0.35).name(QColor::HexArgb),
                 withAlpha(QColor(Qt::white), 0.85).name(QColor::HexArgb)));
    if (large) {
        QFont f = button->font();
        f.setPointSizeF((f.pointSizeF() > 0 ? f.pointSizeF() : 10.0) * 1.1);
        button->setFont(f);
    }
    button->setDefault(false);
    button->setAutoDefault(false);
}

QButtonGroup *modePicker(QWidget *panel, QBoxLayout *layout,
                         const QList<QPair<int, QString>> &modes, const QString &objectName)
{
    auto *row = new QHBoxLayout;
    row->setSpacing(0);
    auto *group = new QButtonGroup(panel);
    group->setExclusive(true);
    const QString segment =
        QStringLiteral(
            "QPushButton { border: 1px solid %1; background: palette(base); padding: 4px 14px;"
            " border-radius: 0px; %2 }"
            "QPushButton:checked { background: %3; border-color: %4; }")
            .arg(panel->palette().color(QPalette::Mid).name(), QStringLiteral("%1"),
                 withAlpha(accent(), 0.14).name(QColor::HexArgb),
                 withAlpha(accent(), 0.6).name(QColor::HexArgb));
    for (qsizetype i = 0; i < modes.size(); ++i) {
        auto *button = new QPushButton(modes[i].second, panel);
        button->setObjectName(objectName);
        button->setCheckable(true);
        button->setProperty("mode", modes[i].first);
        QString corners;
        if (i == 0)
            corners +=
                QStringLiteral("border-top-left-radius: 6px; border-bottom-left-radius: 6px;");
        if (i == modes.size() - 1)
            corners +=
                QStringLiteral("border-top-right-radius: 6px; border-bottom-right-radius: 6px;");
        button->setStyleSheet(segment.arg(corners));
        group->addButton(button, modes[i].first);
        row->addWidget(button);
    }
    row->addStretch(1);
    layout->addLayout(row);
    return group;
}

QFrame *divider(QWidget *parent)
{
    auto *line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

BottomBand bottomBand(QBoxLayout *layout, QWidget *parent, int spacing, int rowSpacing)
{
    layout->addWidget(divider(parent));
    auto *column = new QVBoxLayout;
    column->setContentsMargins(20, 10, 20, 14);
    column->setSpacing(spacing);
    auto *row = new QHBoxLayout;
    row->setSpacing(rowSpacing);
    column->addLayout(row);
    layout->addLayout(column);
    return {column, row};
}

QPushButton *toolButton(const QString &text, const QString &symbol, const QString &objectName,
                        QWidget *parent, const QColor &tint)
{
    auto *b = symbol.isEmpty() ? new QPushButton(text, parent)
                               : new QPushButton(Symbols::icon(symbol, tint), text, parent);
    b->setObjectName(objectName);
    b->setFocusPolicy(Qt::TabFocus);
    return b;
}

} // namespace Theme
