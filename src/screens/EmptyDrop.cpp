#include "screens/EmptyDrop.h"

#include "core/Workspace.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

EmptyDrop::EmptyDrop(Workspace &workspace, const QString &text, bool includesImages,
                     QWidget *parent)
    : QWidget(parent)
    , m_ws(workspace)
    , m_includesImages(includesImages)
{
    setObjectName(QStringLiteral("emptyDrop"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(10);
    layout->addStretch(1);

    auto *symbol = new QLabel(this);
    symbol->setPixmap(Symbols::pixmap(QStringLiteral("arrow.down.doc"), 44, Theme::accent(),
                                      devicePixelRatioF()));
    symbol->setAlignment(Qt::AlignCenter);
    layout->addWidget(symbol);

    auto *title = Theme::label(text, Theme::Type::Title3, this, true);
    title->setObjectName(QStringLiteral("emptyDropText"));
    title->setAlignment(Qt::AlignCenter);
    layout->addWidget(title);

    auto *hintLabel = Theme::label(hint(includesImages), Theme::Type::Body, this);
    hintLabel->setObjectName(QStringLiteral("emptyDropHint"));
    hintLabel->setAlignment(Qt::AlignCenter);
    Theme::setTextColor(hintLabel, Theme::secondary());
    layout->addWidget(hintLabel);
    layout->addSpacing(6);

    auto *choose = new QPushButton(tr("Choose Files…"), this);
    choose->setObjectName(QStringLiteral("chooseFiles"));
    Theme::makeProminent(choose, true);
    layout->addWidget(choose, 0, Qt::AlignHCenter);
    layout->addStretch(1);

    connect(choose, &QPushButton::clicked, this, [this] {
        if (Dialogs *dialogs = m_ws.dialogs())
            m_ws.add(dialogs->openFiles(m_includesImages));
    });
}

QString EmptyDrop::hint(bool includesImages)
{
    return includesImages ? tr("JPG, PNG and HEIC pictures work too")
                          : tr("or choose a file from your computer");
}
