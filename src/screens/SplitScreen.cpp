#include "screens/SplitScreen.h"

#include "screens/JobBar.h"
#include "screens/ScreenRegistry.h"
#include "screens/SplitModel.h"
#include "screens/Theme.h"
#include "screens/ToolPage.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {
const ScreenRegistry::Registration registration(Tool::Split, [](Workspace &ws, QWidget *parent) {
    return new SplitScreen(ws, parent);
});

// The controls for one chosen file. The state lives in the model, so a
// panel made for the next file starts where this one left off.
QWidget *makePanel(SplitModel &model, QWidget *parent)
{
    auto *panel = new QWidget(parent);
    panel->setObjectName(QStringLiteral("splitPanel"));
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(12);

    QList<QPair<int, QString>> choices;
    for (Split::Mode mode : Split::kModes)
        choices.append({int(mode), Split::label(mode)});
    auto *group = Theme::modePicker(panel, layout, choices, QStringLiteral("splitMode"));

    // By page numbers.
    auto *rangesBox = new QWidget(panel);
    auto *ranges = new QVBoxLayout(rangesBox);
    ranges->setContentsMargins(0, 0, 0, 0);
    ranges->setSpacing(6);
    auto *field = new QLineEdit(rangesBox);
    field->setObjectName(QStringLiteral("splitRanges"));
    field->setPlaceholderText(Split::rangesPlaceholder());
    field->setMaximumWidth(420);
    field->setText(model.rangeText());
    ranges->addWidget(field);
    auto *help =
        Theme::label(Split::rangesHelp(model.pageCount()), Theme::Type::Callout, rangesBox);
    help->setObjectName(QStringLiteral("splitRangesHelp"));
    help->setWordWrap(true);
    Theme::setTextColor(help, Theme::secondary());
    ranges->addWidget(help);
    layout->addWidget(rangesBox);

    // Every N pages: the label says the value, the stepper changes it.
    auto *everyBox = new QWidget(panel);
    auto *every = new QHBoxLayout(everyBox);
    every->setContentsMargins(0, 0, 0, 0);
    every->setSpacing(10);
    auto *everyLabel = Theme::label({}, Theme::Type::Body, everyBox);
    everyLabel->setObjectName(QStringLiteral("splitEveryLabel"));
    every->addWidget(everyLabel);
    auto *stepper = new QSpinBox(everyBox);
    stepper->setObjectName(QStringLiteral("splitEvery"));
    stepper->setSingleStep(1);
    stepper->setRange(1, model.everyMaximum());
    stepper->setValue(model.every());
    every->addWidget(stepper);
    every->addStretch(1);
    layout->addWidget(everyBox);

    // Every page.
    auto *each = Theme::label(Split::eachNote(), Theme::Type::Body, panel);
    each->setObjectName(QStringLiteral("splitEach"));
    layout->addWidget(each);

    auto *preview = Theme::label({}, Theme::Type::Callout, panel);
    preview->setObjectName(QStringLiteral("splitPreview"));
    preview->setWordWrap(true);
    layout->addWidget(preview);
    auto *error = Theme::label({}, Theme::Type::Callout, panel);
    error->setObjectName(QStringLiteral("splitError"));
    error->setWordWrap(true);
    Theme::setTextColor(error, Theme::red());
    layout->addWidget(error);

    auto *actions = new QHBoxLayout;
    auto *split = new QPushButton(Split::button(), panel);
    split->setObjectName(QStringLiteral("splitButton"));
    Theme::makeProminent(split);
    actions->addWidget(split);
    actions->addStretch(1);
    layout->addLayout(actions);
    layout->addWidget(new JobBar(&model.job(), panel));
    layout->addStretch(1);

    SplitModel *m = &model;
    const auto refresh = [=] {
        const Split::Mode mode = m->mode();
        if (auto *chosen = group->button(int(mode)); !chosen->isChecked())
            chosen->setChecked(true);
        rangesBox->setVisible(mode == Split::Mode::Ranges);
        everyBox->setVisible(mode == Split::Mode::Every);
        each->setVisible(mode == Split::Mode::Each);
        if (field->text() != m->rangeText())
            field->setText(m->rangeText());
        help->setText(Split::rangesHelp(m->pageCount()));
        {
            const QSignalBlocker blocker(stepper);
            stepper->setRange(1, m->everyMaximum());
            stepper->setValue(m->every());
        }
        everyLabel->setText(Split::everyLabel(m->every()));
        preview->setText(m->preview());
        preview->setVisible(!preview->text().isEmpty());
        error->setText(m->error());
        error->setVisible(!error->text().isEmpty());
        split->setEnabled(m->canSplit());
    };
    QObject::connect(group, &QButtonGroup::idClicked, panel,
                     [m](int id) { m->setMode(Split::Mode(id)); });
    QObject::connect(field, &QLineEdit::textChanged, panel,
                     [m](const QString &text) { m->setRangeText(text); });
    QObject::connect(field, &QLineEdit::returnPressed, panel, [m] { m->split(); });
    QObject::connect(stepper, &QSpinBox::valueChanged, panel,
                     [m](int value) { m->setEvery(value); });
    QObject::connect(split, &QPushButton::clicked, panel, [m] { m->split(); });
    QObject::connect(m, &SplitModel::changed, panel, refresh);
    refresh();
    return panel;
}
} // namespace

SplitScreen::SplitScreen(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_model(new SplitModel(workspace, this))
{
    setObjectName(QStringLiteral("splitScreen"));
    SplitModel *model = m_model;
    m_page = ToolPage::fill(this, workspace, Tool::Split,
                            [model](const PDFFile &, QWidget *p) { return makePanel(*model, p); });
}
