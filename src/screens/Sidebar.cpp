#include "screens/Sidebar.h"

#include "core/Workspace.h"
#include "screens/ScreenRegistry.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QAbstractButton>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace {

QString symbolOf(Tool tool)
{
    switch (tool) {
    case Tool::Merge: return QStringLiteral("square.stack.3d.up");
    case Tool::Pages: return QStringLiteral("square.grid.2x2");
    case Tool::Split: return QStringLiteral("scissors");
    case Tool::Compress: return QStringLiteral("arrow.down.right.and.arrow.up.left");
    case Tool::Sign: return QStringLiteral("signature");
    case Tool::Searchable: return QStringLiteral("text.magnifyingglass");
    case Tool::Protect: return QStringLiteral("lock");
    case Tool::Convert: return QStringLiteral("photo.on.rectangle");
    }
    return {};
}

// One tool: its symbol in a 20-point box and its title; the chosen one on
// a rounded tint of the accent.
class ToolRow : public QAbstractButton {
public:
    ToolRow(Workspace &ws, Tool tool, QWidget *parent)
        : QAbstractButton(parent)
        , m_ws(ws)
        , m_tool(tool)
    {
        setObjectName(QStringLiteral("toolRow_") + Tools::rawValue(tool));
        setText(Tools::title(tool));
        setCursor(Qt::PointingHandCursor);
        setFocusPolicy(Qt::NoFocus);
        setEnabled(ScreenRegistry::has(tool));
        if (!isEnabled())
            setToolTip(tr("Not available in this version yet"));
        QObject::connect(this, &QAbstractButton::clicked, this, [this] { m_ws.setTool(m_tool); });
        QObject::connect(&m_ws, &Workspace::toolChanged, this, [this] { update(); });
    }
    bool isChosen() const { return m_ws.tool() == m_tool; }
    QSize sizeHint() const override
    {
        return QSize(Sidebar::kWidth - 16, fontMetrics().height() + 14);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (isChosen()) {
            QPainterPath path;
            path.addRoundedRect(QRectF(rect()), 7, 7);
            painter.fillPath(path, Theme::withAlpha(Theme::accent(), 0.20));
        }
        const QColor ink = isEnabled() ? palette().color(QPalette::WindowText)
                                       : Theme::withAlpha(Theme::secondary(), 0.55);
        const QColor symbolInk = !isEnabled() ? ink : isChosen() ? Theme::accent() : ink;
        const int box = 20;
        const QPixmap symbol =
            Symbols::pixmap(symbolOf(m_tool), 16, symbolInk, devicePixelRatioF());
        const int x = 12;
        if (!symbol.isNull())
            painter.drawPixmap(x + (box - 16) / 2, (height() - 16) / 2, symbol);
        painter.setPen(ink);
        QFont f = font();
        if (isChosen())
            f.setWeight(QFont::DemiBold);
        painter.setFont(f);
        painter.drawText(QRect(x + box + 8, 0, width() - x - box - 8, height()),
                         Qt::AlignVCenter | Qt::AlignLeft, text());
    }

private:
    Workspace &m_ws;
    Tool m_tool;
};

} // namespace

Sidebar::Sidebar(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("sidebar"));
    setFixedWidth(kWidth);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 14, 8, 14);
    layout->setSpacing(2);

    auto *header = new QHBoxLayout;
    header->setContentsMargins(12, 0, 0, 10);
    header->setSpacing(8);
    auto *mark = new QLabel(this);
    mark->setPixmap(Symbols::pixmap(QStringLiteral("doc.on.doc.fill"), 20, Theme::accent(),
                                    devicePixelRatioF()));
    header->addWidget(mark);
    auto *name = Theme::label(tr("Quirebook"), Theme::Type::Headline, this);
    name->setObjectName(QStringLiteral("sidebarName"));
    header->addWidget(name);
    header->addStretch(1);
    layout->addLayout(header);

    for (Tool tool : Tools::all)
        layout->addWidget(new ToolRow(workspace, tool, this));
    layout->addStretch(1);

    auto *footer =
        Theme::label(tr("Everything happens on your computer. Files are never uploaded."),
                     Theme::Type::Caption, this);
    footer->setObjectName(QStringLiteral("sidebarFooter"));
    footer->setWordWrap(true);
    footer->setContentsMargins(12, 0, 8, 0);
    Theme::setTextColor(footer, Theme::secondary());
    layout->addWidget(footer);
}

void Sidebar::paintEvent(QPaintEvent *)
{
    // The control background: a shade off the window's own.
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window).darker(104));
}
