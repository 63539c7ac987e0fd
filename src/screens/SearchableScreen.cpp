#include "screens/SearchableScreen.h"

#include "screens/JobBar.h"
#include "screens/ScreenRegistry.h"
#include "screens/SearchableModel.h"
#include "screens/Theme.h"
#include "screens/ToolPage.h"
#include "tasks/MakeSearchable.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const ScreenRegistry::Registration registration(Tool::Searchable,
                                                [](Workspace &ws, QWidget *parent) {
                                                    return new SearchableScreen(ws, parent);
                                                });

// The controls for one chosen file. The choices live in the model, so a
// panel made for the next file starts with the same ones.
QWidget *makePanel(SearchableModel &model, QWidget *parent)
{
    auto *panel = new QWidget(parent);
    panel->setObjectName(QStringLiteral("searchablePanel"));
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(12);

    auto *explanation = Theme::label(MakeSearchable::explanation(), Theme::Type::Body, panel);
    explanation->setObjectName(QStringLiteral("searchableExplanation"));
    explanation->setWordWrap(true);
    layout->addWidget(explanation);

    auto *skip = new QCheckBox(MakeSearchable::skipToggle(), panel);
    skip->setObjectName(QStringLiteral("searchableSkip"));
    layout->addWidget(skip);

    auto *languageRow = new QHBoxLayout;
    languageRow->setSpacing(8);
    auto *languageLabel =
        new QLabel(QCoreApplication::translate("SearchableScreen", "Language"), panel);
    languageLabel->setObjectName(QStringLiteral("searchableLanguageLabel"));
    auto *language = new QComboBox(panel);
    language->setObjectName(QStringLiteral("searchableLanguage"));
    for (const SearchableModel::Language &entry : model.languages())
        language->addItem(entry.label);
    languageLabel->setBuddy(language);
    languageRow->addWidget(languageLabel);
    languageRow->addWidget(language);
    languageRow->addStretch(1);
    layout->addLayout(languageRow);

    auto *actions = new QHBoxLayout;
    auto *button = new QPushButton(MakeSearchable::button(), panel);
    button->setObjectName(QStringLiteral("searchableButton"));
    Theme::makeProminent(button);
    actions->addWidget(button);
    actions->addStretch(1);
    layout->addLayout(actions);
    layout->addWidget(new JobBar(&model.job(), panel));
    layout->addStretch(1);

    SearchableModel *m = &model;
    const auto refresh = [=] {
        {
            const QSignalBlocker skipBlocker(skip);
            const QSignalBlocker languageBlocker(language);
            skip->setChecked(m->skip());
            language->setCurrentIndex(m->languageIndex());
        }
        button->setEnabled(m->canStart());
        // The run reads the remembered choice while it works.
        language->setEnabled(!m->job().isRunning());
    };
    QObject::connect(skip, &QCheckBox::toggled, panel, [m](bool on) { m->setSkip(on); });
    QObject::connect(language, &QComboBox::currentIndexChanged, panel,
                     [m](int index) { m->setLanguageIndex(index); });
    QObject::connect(button, &QPushButton::clicked, panel, [m] { m->start(); });
    QObject::connect(m, &SearchableModel::changed, panel, refresh);
    refresh();
    return panel;
}
} // namespace

SearchableScreen::SearchableScreen(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_model(new SearchableModel(workspace, this))
{
    setObjectName(QStringLiteral("searchableScreen"));
    SearchableModel *model = m_model;
    m_page = ToolPage::fill(this, workspace, Tool::Searchable,
                            [model](const PDFFile &, QWidget *p) { return makePanel(*model, p); });
}
