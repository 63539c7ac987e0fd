#include "screens/FileBar.h"

#include "core/Format.h"
#include "core/Workspace.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// One opened PDF: symbol, name, caption, remove button. A click chooses it.
class FileChip : public QWidget {
public:
    FileChip(Workspace &ws, const PDFFile &file, bool chosen, QWidget *parent)
        : QWidget(parent)
        , m_ws(ws)
        , m_id(file.id)
        , m_chosen(chosen)
    {
        setObjectName(QStringLiteral("fileChip"));
        setProperty("fileId", file.id.toString());
        setProperty("chosen", chosen);
        setCursor(Qt::PointingHandCursor);
        auto *layout = new QHBoxLayout(this);
        layout->setContentsMargins(10, 6, 10, 6);
        layout->setSpacing(8);
        auto *symbol = new QLabel(this);
        const bool encrypted = file.doc && file.doc->isEncrypted();
        symbol->setPixmap(Symbols::pixmap(
            encrypted ? QStringLiteral("lock.doc") : QStringLiteral("doc.richtext"), 18,
            chosen ? Theme::accent() : Theme::secondary(), devicePixelRatioF()));
        symbol->setProperty("symbol", encrypted ? QStringLiteral("lock.doc")
                                                : QStringLiteral("doc.richtext"));
        symbol->setObjectName(QStringLiteral("chipSymbol"));
        layout->addWidget(symbol);
        auto *texts = new QVBoxLayout;
        texts->setSpacing(0);
        auto *name = Theme::label(file.name(), Theme::Type::Body, this);
        name->setObjectName(QStringLiteral("chipName"));
        texts->addWidget(name);
        auto *caption = Theme::label(FileBar::caption(file), Theme::Type::Caption, this);
        caption->setObjectName(QStringLiteral("chipCaption"));
        Theme::setTextColor(caption, Theme::secondary());
        texts->addWidget(caption);
        layout->addLayout(texts);
        auto *remove = new QToolButton(this);
        remove->setObjectName(QStringLiteral("chipRemove"));
        remove->setAutoRaise(true);
        remove->setIcon(Symbols::icon(QStringLiteral("xmark.circle.fill"), Theme::secondary()));
        remove->setIconSize(QSize(14, 14));
        remove->setToolTip(FileBar::tr("Remove from Quirebook (the file on disk is untouched)"));
        layout->addWidget(remove);
        const QUuid id = file.id;
        Workspace *w = &ws;
        QObject::connect(remove, &QToolButton::clicked, this, [w, id] { w->remove(id); });
    }

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton)
            m_ws.select(m_id);
    }
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 8, 8);
        if (m_chosen) {
            painter.fillPath(path, Theme::withAlpha(Theme::accent(), 0.18));
            painter.setPen(QPen(Theme::accent(), 1.5));
            painter.drawPath(path);
        } else {
            painter.fillPath(path, Theme::withAlpha(Theme::secondary(), 0.10));
        }
    }

private:
    Workspace &m_ws;
    QUuid m_id;
    bool m_chosen = false;
};

} // namespace

FileBar::FileBar(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_ws(workspace)
{
    setObjectName(QStringLiteral("fileBar"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_scroll = new QScrollArea(this);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroll->setWidgetResizable(true);
    m_scroll->viewport()->setAutoFillBackground(false);
    layout->addWidget(m_scroll);
    connect(&m_ws, &Workspace::filesChanged, this, &FileBar::rebuild);
    connect(&m_ws, &Workspace::selectionChanged, this, &FileBar::rebuild);
    rebuild();
}

QString FileBar::caption(const PDFFile &file)
{
    return tr("%1 p · %2").arg(file.pageCount()).arg(Format::bytes(file.bytes));
}

void FileBar::rebuild()
{
    auto *row = new QWidget;
    row->setAutoFillBackground(false);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(20, 8, 20, 8);
    layout->setSpacing(8);
    const auto current = m_ws.current();
    for (const PDFFile &file : m_ws.pdfs())
        layout->addWidget(new FileChip(m_ws, file, current && current->id == file.id, row));
    auto *add =
        new QPushButton(Symbols::icon(QStringLiteral("plus"), Theme::secondary()), tr("Add"), row);
    add->setObjectName(QStringLiteral("fileBarAdd"));
    connect(add, &QPushButton::clicked, this, [this] {
        if (Dialogs *dialogs = m_ws.dialogs())
            m_ws.add(dialogs->openFiles(false));
    });
    layout->addWidget(add);
    layout->addStretch(1);
    // Replacing the row deletes the old one later: a chip's own remove
    // button may be what started this.
    if (QWidget *old = m_scroll->takeWidget())
        old->deleteLater();
    m_scroll->setWidget(row);
    m_scroll->setFixedHeight(row->sizeHint().height());
    m_row = row;
}
