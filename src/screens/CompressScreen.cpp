#include "screens/CompressScreen.h"

#include "screens/CompressModel.h"
#include "screens/JobBar.h"
#include "screens/ScreenRegistry.h"
#include "screens/Theme.h"
#include "screens/ToolPage.h"
#include "tasks/Compress.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QVBoxLayout>

#include <functional>

namespace {
const ScreenRegistry::Registration registration(Tool::Compress, [](Workspace &ws, QWidget *parent) {
    return new CompressScreen(ws, parent);
});

// One level: its title and description on a rounded card, tinted with the
// accent when chosen. A click (or Space) chooses it.
class LevelCard : public QWidget {
public:
    LevelCard(const Compress::LevelCard &card, std::function<void()> choose, QWidget *parent)
        : QWidget(parent)
        , m_choose(std::move(choose))
    {
        setObjectName(QStringLiteral("compressLevel"));
        setProperty("level", int(card.level));
        setFocusPolicy(Qt::StrongFocus);
        setCursor(Qt::PointingHandCursor);
        setAccessibleName(card.title);
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(14, 12, 14, 14);
        layout->setSpacing(4);
        auto *title = Theme::label(card.title, Theme::Type::Headline, this, true);
        title->setObjectName(QStringLiteral("levelTitle"));
        layout->addWidget(title);
        auto *description = Theme::label(card.description, Theme::Type::Callout, this);
        description->setObjectName(QStringLiteral("levelDescription"));
        description->setWordWrap(true);
        Theme::setTextColor(description, Theme::secondary());
        layout->addWidget(description);
        layout->addStretch(1);
        setMinimumHeight(72);
    }

    void setChosen(bool chosen)
    {
        if (property("chosen").toBool() == chosen)
            return;
        setProperty("chosen", chosen);
        update();
    }

protected:
    void mouseReleaseEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
            m_choose();
    }
    void keyPressEvent(QKeyEvent *event) override
    {
        if (event->key() == Qt::Key_Space || event->key() == Qt::Key_Return ||
            event->key() == Qt::Key_Enter)
            m_choose();
        else
            QWidget::keyPressEvent(event);
    }
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 10, 10);
        const bool chosen = property("chosen").toBool();
        if (chosen)
            painter.fillPath(path, Theme::withAlpha(Theme::accent(), 0.10));
        QColor border = chosen ? Theme::accent() : palette().color(QPalette::Mid);
        if (!chosen && hasFocus())
            border = Theme::withAlpha(Theme::accent(), 0.5);
        painter.setPen(QPen(border, chosen ? 2 : 1));
        painter.drawPath(path);
    }

private:
    std::function<void()> m_choose;
};

// The controls for one chosen file; the level lives in the model.
QWidget *makePanel(CompressModel &model, QWidget *parent)
{
    auto *panel = new QWidget(parent);
    panel->setObjectName(QStringLiteral("compressPanel"));
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(14);

    auto *size = Theme::label(model.currentSize(), Theme::Type::Headline, panel, true);
    size->setObjectName(QStringLiteral("compressSize"));
    layout->addWidget(size);

    CompressModel *m = &model;
    QList<LevelCard *> cards;
    auto *row = new QHBoxLayout;
    row->setSpacing(12);
    for (const Compress::LevelCard &card : Compress::levelCards()) {
        const CompressionLevel level = card.level;
        auto *widget = new LevelCard(
            card, [m, level] { m->setLevel(level); }, panel);
        row->addWidget(widget, 1);
        cards << widget;
    }
    layout->addLayout(row);

    auto *note = Theme::label(Compress::note(), Theme::Type::Callout, panel);
    note->setObjectName(QStringLiteral("compressNote"));
    note->setWordWrap(true);
    Theme::setTextColor(note, Theme::secondary());
    layout->addWidget(note);

    auto *actions = new QHBoxLayout;
    auto *button = new QPushButton(Compress::button(), panel);
    button->setObjectName(QStringLiteral("compressButton"));
    Theme::makeProminent(button);
    actions->addWidget(button);
    actions->addStretch(1);
    layout->addLayout(actions);
    layout->addWidget(new JobBar(&model.job(), panel));
    layout->addStretch(1);

    const auto refresh = [=] {
        size->setText(m->currentSize());
        for (LevelCard *card : cards)
            card->setChosen(card->property("level").toInt() == int(m->level()));
        button->setEnabled(m->canCompress());
    };
    QObject::connect(button, &QPushButton::clicked, panel, [m] { m->compress(); });
    QObject::connect(m, &CompressModel::changed, panel, refresh);
    refresh();
    return panel;
}
} // namespace

CompressScreen::CompressScreen(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_model(new CompressModel(workspace, this))
{
    setObjectName(QStringLiteral("compressScreen"));
    CompressModel *model = m_model;
    m_page = ToolPage::fill(this, workspace, Tool::Compress,
                            [model](const PDFFile &, QWidget *p) { return makePanel(*model, p); });
}
