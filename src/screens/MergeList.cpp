#include "screens/MergeList.h"

#include "core/Workspace.h"
#include "screens/FirstPageThumb.h"
#include "screens/MergeModel.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

const char *const MergeList::kRowMime = "application/x-quirebook-merge-row";

namespace {

class MergeRow : public QWidget {
public:
    MergeRow(Workspace &ws, const PDFFile &file, int index, QWidget *parent)
        : QWidget(parent)
        , m_index(index)
    {
        setObjectName(QStringLiteral("mergeRow"));
        setProperty("fileId", file.id.toString());
        auto *layout = new QHBoxLayout(this);
        layout->setContentsMargins(12, 6, 12, 6);
        layout->setSpacing(12);

        auto *handle = new QLabel(this);
        handle->setObjectName(QStringLiteral("dragHandle"));
        handle->setPixmap(Symbols::pixmap(QStringLiteral("line.3.horizontal"), 16,
                                          Theme::withAlpha(Theme::secondary(), 0.6),
                                          devicePixelRatioF()));
        handle->setCursor(Qt::OpenHandCursor);
        layout->addWidget(handle);

        // The thumbnail sits in a box as wide as a landscape page, so the
        // names line up whatever the pages' shapes.
        auto *thumbBox = new QWidget(this);
        thumbBox->setFixedSize(76, 58);
        auto *thumbLayout = new QHBoxLayout(thumbBox);
        thumbLayout->setContentsMargins(0, 0, 0, 0);
        thumbLayout->addWidget(new FirstPageThumb(file.doc, 52, thumbBox), 0, Qt::AlignCenter);
        layout->addWidget(thumbBox);

        auto *texts = new QVBoxLayout;
        texts->setSpacing(3);
        texts->addStretch(1);
        auto *name = Theme::label(file.fileName(), Theme::Type::Body, this);
        name->setObjectName(QStringLiteral("rowName"));
        texts->addWidget(name);
        const bool restricted = file.restricted();
        auto *caption = Theme::label(MergeModel::rowCaption(file), Theme::Type::Caption, this);
        caption->setObjectName(QStringLiteral("rowCaption"));
        caption->setProperty("restricted", restricted);
        Theme::setTextColor(caption, restricted ? Theme::orange() : Theme::secondary());
        texts->addWidget(caption);
        texts->addStretch(1);
        layout->addLayout(texts);
        layout->addStretch(1);

        Workspace *w = &ws;
        const QUuid id = file.id;
        if (restricted) {
            auto *unlock = new QPushButton(MergeList::tr("Enter Owner Password…"), this);
            unlock->setObjectName(QStringLiteral("rowOwnerPassword"));
            QObject::connect(unlock, &QPushButton::clicked, this, [w, id] { w->unlockOwner(id); });
            layout->addWidget(unlock);
        }
        auto *remove = new QToolButton(this);
        remove->setObjectName(QStringLiteral("rowRemove"));
        remove->setAutoRaise(true);
        remove->setIcon(Symbols::icon(QStringLiteral("xmark.circle.fill"), Theme::secondary()));
        remove->setToolTip(MergeList::tr("Remove from Quirebook (the file on disk is untouched)"));
        QObject::connect(remove, &QToolButton::clicked, this, [w, id] { w->remove(id); });
        layout->addWidget(remove);
    }

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton)
            m_pressedAt = event->position().toPoint();
    }
    void mouseMoveEvent(QMouseEvent *event) override
    {
        if (!(event->buttons() & Qt::LeftButton) || m_pressedAt.isNull())
            return;
        if ((event->position().toPoint() - m_pressedAt).manhattanLength() <
            QApplication::startDragDistance())
            return;
        m_pressedAt = {};
        auto *drag = new QDrag(this);
        auto *mime = new QMimeData;
        mime->setData(QString::fromLatin1(MergeList::kRowMime), QByteArray::number(m_index));
        drag->setMimeData(mime);
        drag->setPixmap(grab());
        drag->setHotSpot(event->position().toPoint());
        drag->exec(Qt::MoveAction);
    }
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setPen(Theme::withAlpha(Theme::secondary(), 0.15));
        painter.drawLine(12, height() - 1, width() - 12, height() - 1);
    }

private:
    int m_index = 0;
    QPoint m_pressedAt;
};

} // namespace

MergeList::MergeList(MergeModel &model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
{
    setObjectName(QStringLiteral("mergeList"));
    setAcceptDrops(true);
    m_layout = new QVBoxLayout(this);
    m_layout->setContentsMargins(8, 4, 8, 4);
    m_layout->setSpacing(0);
    connect(&m_model.workspace(), &Workspace::filesChanged, this, &MergeList::rebuild);
    rebuild();
}

int MergeList::rowCount() const
{
    return static_cast<int>(m_rows.size());
}

void MergeList::rebuild()
{
    for (QWidget *row : std::as_const(m_rows)) {
        m_layout->removeWidget(row);
        row->hide();
        row->deleteLater(); // its remove button may be what started this
    }
    m_rows.clear();
    while (QLayoutItem *item = m_layout->takeAt(0))
        delete item;
    const auto &files = m_model.workspace().files();
    for (int i = 0; i < files.size(); ++i) {
        auto *row = new MergeRow(m_model.workspace(), files[i], i, this);
        m_layout->addWidget(row);
        m_rows.append(row);
    }
    m_layout->addStretch(1);
}

int MergeList::dropOffsetAt(const QPoint &position) const
{
    for (int i = 0; i < m_rows.size(); ++i) {
        const QRect r = m_rows[i]->geometry();
        if (position.y() < r.center().y())
            return i;
    }
    return static_cast<int>(m_rows.size());
}

void MergeList::dragEnterEvent(QDragEnterEvent *event)
{
    // Files from outside go on to the tool area, which adds them.
    if (!event->mimeData()->hasFormat(QString::fromLatin1(kRowMime))) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
    m_indicator = dropOffsetAt(event->position().toPoint());
    update();
}

void MergeList::dragMoveEvent(QDragMoveEvent *event)
{
    if (!event->mimeData()->hasFormat(QString::fromLatin1(kRowMime))) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
    const int offset = dropOffsetAt(event->position().toPoint());
    if (offset != m_indicator) {
        m_indicator = offset;
        update();
    }
}

void MergeList::dragLeaveEvent(QDragLeaveEvent *)
{
    m_indicator = -1;
    update();
}

void MergeList::dropEvent(QDropEvent *event)
{
    m_indicator = -1;
    update();
    if (!event->mimeData()->hasFormat(QString::fromLatin1(kRowMime))) {
        event->ignore();
        return;
    }
    bool ok = false;
    const int from = event->mimeData()->data(QString::fromLatin1(kRowMime)).toInt(&ok);
    if (!ok || from < 0 || from >= m_rows.size()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
    m_model.move({from}, dropOffsetAt(event->position().toPoint()));
}

void MergeList::paintEvent(QPaintEvent *)
{
    if (m_indicator < 0)
        return;
    int y = 0;
    if (m_rows.isEmpty())
        y = 2;
    else if (m_indicator < m_rows.size())
        y = m_rows[m_indicator]->geometry().top();
    else
        y = m_rows.last()->geometry().bottom();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::accent(), 2));
    painter.drawLine(QPointF(12, y), QPointF(width() - 12, y));
}
