#include "screens/MergeScreen.h"

#include "core/Workspace.h"
#include "screens/Banner.h"
#include "screens/EmptyDrop.h"
#include "screens/JobBar.h"
#include "screens/MergeList.h"
#include "screens/MergeModel.h"
#include "screens/ScreenRegistry.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"
#include "screens/ToolPage.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace {
const ScreenRegistry::Registration registration(Tool::Merge, [](Workspace &ws, QWidget *parent) {
    return new MergeScreen(ws, parent);
});
}

MergeScreen::MergeScreen(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_model(new MergeModel(workspace, this))
{
    setObjectName(QStringLiteral("mergeScreen"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(ToolPage::header(
        tr("Merge"), tr("Combine PDFs and pictures into one file. Drag the rows to set the order."),
        this));

    m_stack = new QStackedLayout;
    layout->addLayout(m_stack, 1);

    m_empty = new EmptyDrop(workspace, tr("Drop PDFs and pictures here"), true, this);
    m_stack->addWidget(m_empty);

    m_filled = new QWidget(this);
    auto *filled = new QVBoxLayout(m_filled);
    filled->setContentsMargins(0, 0, 0, 0);
    filled->setSpacing(0);
    auto *scroll = new QScrollArea(m_filled);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list = new MergeList(*m_model, scroll);
    scroll->setWidget(m_list);
    filled->addWidget(scroll, 1);

    const auto [bottom, footer] = Theme::bottomBand(filled, m_filled, 10, 8);
    m_summary = Theme::label({}, Theme::Type::Body, m_filled);
    m_summary->setObjectName(QStringLiteral("mergeSummary"));
    Theme::setTextColor(m_summary, Theme::secondary());
    footer->addWidget(m_summary);
    footer->addStretch(1);
    auto *add = new QPushButton(Symbols::icon(QStringLiteral("plus"), Theme::secondary()),
                                tr("Add Files"), m_filled);
    add->setObjectName(QStringLiteral("mergeAddFiles"));
    footer->addWidget(add);
    m_merge = new QPushButton(tr("Merge…"), m_filled);
    m_merge->setObjectName(QStringLiteral("mergeButton"));
    Theme::makeProminent(m_merge);
    footer->addWidget(m_merge);

    m_banner = new Banner(QStringLiteral("exclamationmark.triangle.fill"), Theme::orange(),
                          tr("Some files have restrictions set by their owner. Enter the owner "
                             "password for them, or remove them from the list."),
                          m_filled);
    bottom->addWidget(m_banner);
    m_jobBar = new JobBar(&m_model->job(), m_filled);
    bottom->addWidget(m_jobBar);
    m_stack->addWidget(m_filled);

    connect(add, &QPushButton::clicked, m_model, &MergeModel::addFiles);
    connect(m_merge, &QPushButton::clicked, m_model, &MergeModel::merge);
    connect(m_model, &MergeModel::changed, this, &MergeScreen::refresh);
    refresh();
}

void MergeScreen::refresh()
{
    const bool empty = m_model->workspace().files().isEmpty();
    m_stack->setCurrentWidget(empty ? m_empty : m_filled);
    m_summary->setText(m_model->footerSummary());
    m_merge->setEnabled(m_model->canMerge());
    m_banner->setVisible(m_model->anyRestricted());
}
