#include "screens/ToolPage.h"

#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "screens/EmptyDrop.h"
#include "screens/FileBar.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

ToolPage::ToolPage(Workspace &workspace, Tool tool, Content content, QWidget *parent)
    : QWidget(parent)
    , m_ws(workspace)
    , m_tool(tool)
    , m_makeContent(std::move(content))
{
    setObjectName(QStringLiteral("toolPage"));
    m_layout = new QVBoxLayout(this);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    m_layout->addWidget(header(Tools::title(tool), Tools::subtitle(tool), this));

    m_fileBar = new FileBar(m_ws, this);
    m_layout->addWidget(m_fileBar);
    m_divider = Theme::divider(this);
    m_layout->addWidget(m_divider);

    connect(&m_ws, &Workspace::filesChanged, this, &ToolPage::refresh);
    connect(&m_ws, &Workspace::selectionChanged, this, &ToolPage::refresh);
    refresh();
}

QWidget *ToolPage::header(const QString &title, const QString &subtitle, QWidget *parent)
{
    auto *box = new QWidget(parent);
    box->setObjectName(QStringLiteral("pageHeader"));
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(20, 16, 20, 10);
    layout->setSpacing(3);
    auto *titleLabel = Theme::label(title, Theme::Type::Title2, box, true);
    titleLabel->setObjectName(QStringLiteral("pageTitle"));
    layout->addWidget(titleLabel);
    auto *subtitleLabel = Theme::label(subtitle, Theme::Type::Body, box);
    subtitleLabel->setObjectName(QStringLiteral("pageSubtitle"));
    subtitleLabel->setWordWrap(true);
    Theme::setTextColor(subtitleLabel, Theme::secondary());
    layout->addWidget(subtitleLabel);
    return box;
}

QWidget *ToolPage::restrictedPanel(Workspace &workspace, const QUuid &id, QWidget *parent)
{
    auto *panel = new QWidget(parent);
    panel->setObjectName(QStringLiteral("restrictedPanel"));
    auto *layout = new QVBoxLayout(panel);
    layout->setSpacing(10);
    layout->addStretch(1);
    auto *symbol = new QLabel(panel);
    symbol->setPixmap(Symbols::pixmap(QStringLiteral("lock.trianglebadge.exclamationmark"), 40,
                                      Theme::orange(), panel->devicePixelRatioF()));
    symbol->setAlignment(Qt::AlignCenter);
    layout->addWidget(symbol);
    auto *headline = Theme::label(tr("This file has restrictions"), Theme::Type::Headline, panel);
    headline->setObjectName(QStringLiteral("restrictedHeadline"));
    headline->setAlignment(Qt::AlignCenter);
    layout->addWidget(headline);
    auto *description =
        Theme::label(PDFError::restricted().description(), Theme::Type::Body, panel);
    description->setObjectName(QStringLiteral("restrictedText"));
    description->setWordWrap(true);
    description->setAlignment(Qt::AlignCenter);
    // Wrapped text in a nested layout isn't given its height by itself.
    description->setFixedWidth(420);
    description->setMinimumHeight(description->heightForWidth(420));
    Theme::setTextColor(description, Theme::secondary());
    layout->addWidget(description, 0, Qt::AlignHCenter);
    layout->addSpacing(4);
    auto *button = new QPushButton(tr("Enter Owner Password…"), panel);
    button->setObjectName(QStringLiteral("enterOwnerPassword"));
    Theme::makeProminent(button);
    layout->addWidget(button, 0, Qt::AlignHCenter);
    layout->addStretch(1);
    Workspace *ws = &workspace;
    connect(button, &QPushButton::clicked, panel, [ws, id] { ws->unlockOwner(id); });
    return panel;
}

void ToolPage::refresh()
{
    const auto current = m_ws.current();
    std::optional<std::pair<QUuid, bool>> shown;
    if (current)
        shown = std::make_pair(current->id, current->restricted());
    if (m_built && shown == m_shown)
        return;
    m_built = true;
    m_shown = shown;

    if (m_body) {
        m_layout->removeWidget(m_body);
        m_body->hide();
        m_body->deleteLater();
    }
    m_body = nullptr;
    m_content = nullptr;
    m_fileBar->setVisible(current.has_value());
    m_divider->setVisible(current.has_value());
    if (!current) {
        m_body = new EmptyDrop(m_ws, tr("Drop PDFs here"), false, this);
    } else if (current->restricted()) {
        m_body = restrictedPanel(m_ws, current->id, this);
    } else {
        m_content = m_makeContent ? m_makeContent(*current, this) : nullptr;
        m_body = m_content ? m_content : new QWidget(this);
    }
    m_layout->addWidget(m_body, 1);
    m_body->show();
}

ToolPage *ToolPage::fill(QWidget *screen, Workspace &workspace, Tool tool, Content content)
{
    auto *layout = new QVBoxLayout(screen);
    layout->setContentsMargins(0, 0, 0, 0);
    auto *page = new ToolPage(workspace, tool, std::move(content), screen);
    layout->addWidget(page);
    return page;
}
