#include "screens/ConvertScreen.h"

#include "screens/ConvertModel.h"
#include "screens/JobBar.h"
#include "screens/ScreenRegistry.h"
#include "screens/Theme.h"
#include "screens/ToolPage.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const ScreenRegistry::Registration registration(Tool::Convert, [](Workspace &ws, QWidget *parent) {
    return new ConvertScreen(ws, parent);
});

QPushButton *actionRow(const QString &title, const QString &name, QWidget *parent,
                       QVBoxLayout *layout)
{
    auto *row = new QHBoxLayout;
    auto *button = new QPushButton(title, parent);
    button->setObjectName(name);
    Theme::makeProminent(button);
    row->addWidget(button);
    row->addStretch(1);
    layout->addLayout(row);
    return button;
}

// The controls for one chosen file. The choices live in the model, so a
// panel made for the next file starts with the same ones.
QWidget *makePanel(ConvertModel &model, QWidget *parent)
{
    using Mode = Convert::Mode;
    auto *panel = new QWidget(parent);
    panel->setObjectName(QStringLiteral("convertPanel"));
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(12);

    QList<QPair<int, QString>> choices;
    for (Mode mode : Convert::kModes)
        choices.append({int(mode), Convert::label(mode)});
    auto *group = Theme::modePicker(panel, layout, choices, QStringLiteral("convertMode"));

    // Pictures.
    auto *imagesBox = new QWidget(panel);
    imagesBox->setObjectName(QStringLiteral("convertImages"));
    auto *images = new QVBoxLayout(imagesBox);
    images->setContentsMargins(0, 0, 0, 0);
    images->setSpacing(10);
    auto *pickers = new QFormLayout;
    pickers->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    pickers->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto *format = new QComboBox(imagesBox);
    format->setObjectName(QStringLiteral("convertFormat"));
    for (PDFOps::ImageFormat f : PDFOps::kImageFormats)
        format->addItem(PDFOps::rawValue(f), int(f));
    pickers->addRow(Convert::formatLabel(), format);
    auto *quality = new QComboBox(imagesBox);
    quality->setObjectName(QStringLiteral("convertQuality"));
    for (const Convert::Resolution &r : Convert::resolutions())
        quality->addItem(r.label, r.dpi);
    pickers->addRow(Convert::qualityLabel(), quality);
    images->addLayout(pickers);
    auto *picturesNote = Theme::label(Convert::picturesNote(), Theme::Type::Body, imagesBox);
    picturesNote->setObjectName(QStringLiteral("convertPicturesNote"));
    picturesNote->setWordWrap(true);
    Theme::setTextColor(picturesNote, Theme::secondary());
    images->addWidget(picturesNote);
    auto *savePictures = actionRow(Convert::savePicturesTitle(),
                                   QStringLiteral("savePicturesButton"), imagesBox, images);
    layout->addWidget(imagesBox);

    // Text.
    auto *textBox = new QWidget(panel);
    textBox->setObjectName(QStringLiteral("convertText"));
    auto *text = new QVBoxLayout(textBox);
    text->setContentsMargins(0, 0, 0, 0);
    text->setSpacing(10);
    auto *textNote = Theme::label(Convert::textNote(), Theme::Type::Body, textBox);
    textNote->setObjectName(QStringLiteral("convertTextNote"));
    textNote->setWordWrap(true);
    Theme::setTextColor(textNote, Theme::secondary());
    text->addWidget(textNote);
    auto *saveText =
        actionRow(Convert::saveTextTitle(), QStringLiteral("saveTextButton"), textBox, text);
    layout->addWidget(textBox);

    layout->addWidget(new JobBar(&model.job(), panel));
    layout->addStretch(1);

    ConvertModel *m = &model;
    const auto refresh = [=] {
        if (auto *chosen = group->button(int(m->mode())); !chosen->isChecked())
            chosen->setChecked(true);
        imagesBox->setVisible(m->mode() == Mode::Images);
        textBox->setVisible(m->mode() == Mode::Text);
        {
            const QSignalBlocker formatBlocker(format);
            const QSignalBlocker qualityBlocker(quality);
            format->setCurrentIndex(format->findData(int(m->format())));
            quality->setCurrentIndex(quality->findData(m->dpi()));
        }
        savePictures->setEnabled(m->canSave());
        saveText->setEnabled(m->canSave());
    };
    QObject::connect(group, &QButtonGroup::idClicked, panel, [m](int id) { m->setMode(Mode(id)); });
    QObject::connect(format, &QComboBox::currentIndexChanged, panel, [m, format](int index) {
        m->setFormat(PDFOps::ImageFormat(format->itemData(index).toInt()));
    });
    QObject::connect(quality, &QComboBox::currentIndexChanged, panel,
                     [m, quality](int index) { m->setDpi(quality->itemData(index).toDouble()); });
    QObject::connect(savePictures, &QPushButton::clicked, panel, [m] { m->save(); });
    QObject::connect(saveText, &QPushButton::clicked, panel, [m] { m->save(); });
    QObject::connect(m, &ConvertModel::changed, panel, refresh);
    refresh();
    return panel;
}
} // namespace

ConvertScreen::ConvertScreen(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_model(new ConvertModel(workspace, this))
{
    setObjectName(QStringLiteral("convertScreen"));
    ConvertModel *model = m_model;
    m_page = ToolPage::fill(this, workspace, Tool::Convert,
                            [model](const PDFFile &, QWidget *p) { return makePanel(*model, p); });
}
