#include "screens/ProtectScreen.h"

#include "screens/Banner.h"
#include "screens/JobBar.h"
#include "screens/ProtectModel.h"
#include "screens/ScreenRegistry.h"
#include "screens/Theme.h"
#include "screens/ToolPage.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const ScreenRegistry::Registration registration(Tool::Protect, [](Workspace &ws, QWidget *parent) {
    return new ProtectScreen(ws, parent);
});

QColor infoBlue()
{
    return QColor::fromRgbF(0.0f, 0.48f, 1.0f);
}

QLineEdit *secretField(const QString &name, const QString &placeholder, QWidget *parent)
{
    auto *field = new QLineEdit(parent);
    field->setObjectName(name);
    // Masked, and kept out of input-method history and prediction.
    field->setEchoMode(QLineEdit::Password);
    field->setInputMethodHints(Qt::ImhHiddenText | Qt::ImhSensitiveData | Qt::ImhNoPredictiveText |
                               Qt::ImhNoAutoUppercase);
    field->setPlaceholderText(placeholder);
    field->setMaximumWidth(320);
    field->setMinimumWidth(240);
    return field;
}

// The controls for one chosen file. The request lives in the model, so a panel
// made for the next file shows the same mode, toggles and fields.
QWidget *makePanel(ProtectModel &model, QWidget *parent)
{
    using Mode = Protect::Mode;
    auto *panel = new QWidget(parent);
    panel->setObjectName(QStringLiteral("protectPanel"));
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(12);

    QList<QPair<int, QString>> choices;
    for (Mode mode : Protect::modes())
        choices.append({int(mode), Protect::label(mode)});
    auto *group = Theme::modePicker(panel, layout, choices, QStringLiteral("protectMode"));

    // Add a password.
    auto *addBox = new QWidget(panel);
    addBox->setObjectName(QStringLiteral("protectAdd"));
    auto *add = new QVBoxLayout(addBox);
    add->setContentsMargins(0, 0, 0, 0);
    add->setSpacing(10);
    auto *fields = new QFormLayout;
    fields->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    fields->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto *password =
        secretField(QStringLiteral("protectPassword"), Protect::passwordLabel(), addBox);
    auto *again =
        secretField(QStringLiteral("protectPasswordAgain"), Protect::repeatLabel(), addBox);
    fields->addRow(Protect::passwordLabel(), password);
    fields->addRow(Protect::repeatLabel(), again);
    add->addLayout(fields);
    auto *printing = new QCheckBox(Protect::printingLabel(), addBox);
    printing->setObjectName(QStringLiteral("protectPrinting"));
    add->addWidget(printing);
    auto *copying = new QCheckBox(Protect::copyingLabel(), addBox);
    copying->setObjectName(QStringLiteral("protectCopying"));
    add->addWidget(copying);
    auto *note = Theme::label(Protect::note(), Theme::Type::Callout, addBox);
    note->setObjectName(QStringLiteral("protectNote"));
    note->setWordWrap(true);
    add->addWidget(note);
    auto *mismatch = Theme::label(Protect::mismatchText(), Theme::Type::Callout, addBox);
    mismatch->setObjectName(QStringLiteral("protectMismatch"));
    Theme::setTextColor(mismatch, Theme::red());
    add->addWidget(mismatch);
    auto *protectRow = new QHBoxLayout;
    auto *protect = new QPushButton(Protect::protectButton(), addBox);
    protect->setObjectName(QStringLiteral("protectButton"));
    Theme::makeProminent(protect);
    protectRow->addWidget(protect);
    protectRow->addStretch(1);
    add->addLayout(protectRow);
    layout->addWidget(addBox);

    // Remove the password: a banner for a file without one, else the offer.
    auto *removeBox = new QWidget(panel);
    removeBox->setObjectName(QStringLiteral("protectRemove"));
    auto *remove = new QVBoxLayout(removeBox);
    remove->setContentsMargins(0, 0, 0, 0);
    remove->setSpacing(10);
    auto *banner =
        new Banner(Protect::noPasswordSymbol(), infoBlue(), Protect::noPasswordBanner(), removeBox);
    remove->addWidget(banner);
    auto *explanation = Theme::label(Protect::removeExplanation(), Theme::Type::Body, removeBox);
    explanation->setObjectName(QStringLiteral("protectRemoveText"));
    explanation->setWordWrap(true);
    remove->addWidget(explanation);
    auto *removeRow = new QHBoxLayout;
    auto *removeButton = new QPushButton(Protect::removeButton(), removeBox);
    removeButton->setObjectName(QStringLiteral("removePasswordButton"));
    Theme::makeProminent(removeButton);
    removeRow->addWidget(removeButton);
    removeRow->addStretch(1);
    remove->addLayout(removeRow);
    layout->addWidget(removeBox);

    layout->addWidget(new JobBar(&model.job(), panel));
    layout->addStretch(1);

    ProtectModel *m = &model;
    const auto refresh = [=] {
        const Protect::Request &request = m->request();
        if (auto *chosen = group->button(int(request.mode)); !chosen->isChecked())
            chosen->setChecked(true);
        addBox->setVisible(request.mode == Mode::Add);
        removeBox->setVisible(request.mode == Mode::Remove);
        if (password->text() != request.password)
            password->setText(request.password);
        if (again->text() != m->passwordAgain())
            again->setText(m->passwordAgain());
        printing->setChecked(request.allowPrinting);
        copying->setChecked(request.allowCopying);
        mismatch->setVisible(m->mismatch().has_value());
        protect->setEnabled(m->canProtect());
        const bool offer = m->removeView() == Protect::RemoveView::Offer;
        banner->setVisible(!offer);
        explanation->setVisible(offer);
        removeButton->setVisible(offer);
        removeButton->setEnabled(m->canRemove());
    };
    QObject::connect(group, &QButtonGroup::idClicked, panel, [m](int id) { m->setMode(Mode(id)); });
    QObject::connect(password, &QLineEdit::textChanged, panel,
                     [m](const QString &t) { m->setPassword(t); });
    QObject::connect(again, &QLineEdit::textChanged, panel,
                     [m](const QString &t) { m->setPasswordAgain(t); });
    QObject::connect(password, &QLineEdit::returnPressed, panel, [m] { m->protect(); });
    QObject::connect(again, &QLineEdit::returnPressed, panel, [m] { m->protect(); });
    QObject::connect(printing, &QCheckBox::toggled, panel, [m](bool on) { m->setPrinting(on); });
    QObject::connect(copying, &QCheckBox::toggled, panel, [m](bool on) { m->setCopying(on); });
    QObject::connect(protect, &QPushButton::clicked, panel, [m] { m->protect(); });
    QObject::connect(removeButton, &QPushButton::clicked, panel, [m] { m->remove(); });
    QObject::connect(m, &ProtectModel::changed, panel, refresh);
    refresh();
    return panel;
}
} // namespace

ProtectScreen::ProtectScreen(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_model(new ProtectModel(workspace, this))
{
    setObjectName(QStringLiteral("protectScreen"));
    ProtectModel *model = m_model;
    m_page = ToolPage::fill(this, workspace, Tool::Protect,
                            [model](const PDFFile &, QWidget *p) { return makePanel(*model, p); });
}
