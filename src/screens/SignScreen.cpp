#include "screens/SignScreen.h"

#include "core/Workspace.h"
#include "engine/PDFOps.h"
#include "screens/JobBar.h"
#include "screens/ScreenRegistry.h"
#include "screens/SignPageArea.h"
#include "screens/SignatureSheet.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"
#include "screens/ToolPage.h"
#include "signing/Stamps.h"
#include "tasks/Sign.h"
#include "tasks/SignModel.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const ScreenRegistry::Registration registration(Tool::Sign, [](Workspace &ws, QWidget *parent) {
    return new SignView(ws, parent);
});

} // namespace

SignSaveModel::SignSaveModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
}

bool SignSaveModel::save(const QList<Placement> &placements)
{
    Sign::Request request;
    request.placements = placements; // as they are now; later edits go into the next save
    if (request.validate() || m_job.isRunning())
        return false;
    return startTowardsPDF(Sign::suffix(), Sign::jobTitle(),
                           [request](const PDFFile &file, const QString &to,
                                     const Progress &progress, const IsCancelled &isCancelled) {
                               return Sign::run(file, request, to, progress, isCancelled);
                           });
}

SignView::SignView(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_model(new SignModel(this))
    , m_saver(new SignSaveModel(workspace, this))
{
    setObjectName(QStringLiteral("signScreen"));
    Workspace *ws = &workspace;
    SignModel *model = m_model;
    SignSaveModel *saver = m_saver;
    m_page = ToolPage::fill(this, workspace, Tool::Sign,
                            [ws, model, saver](const PDFFile &file, QWidget *p) -> QWidget * {
                                return new SignBody(*ws, *model, *saver, file, p);
                            });
}

SignBody::SignBody(Workspace &workspace, SignModel &model, SignSaveModel &saver,
                   const PDFFile &file, QWidget *parent)
    : QWidget(parent)
    , m_ws(workspace)
    , m_model(model)
    , m_saver(saver)
    , m_file(file)
{
    setObjectName(QStringLiteral("signBody"));
    m_model.load(file);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto *toolbar = new QHBoxLayout;
    toolbar->setContentsMargins(20, 10, 20, 10);
    toolbar->setSpacing(8);
    auto *signature = Theme::toolButton(tr("Signature"), QStringLiteral("signature"),
                                        QStringLiteral("signSignature"), this);
    m_signatureMenu = new QMenu(signature);
    m_signatureMenu->setObjectName(QStringLiteral("signSignatureMenu"));
    signature->setMenu(m_signatureMenu);
    m_textButton = Theme::toolButton(tr("Text"), QStringLiteral("textformat"),
                                     QStringLiteral("signText"), this);
    auto *picture = Theme::toolButton(tr("Picture"), QStringLiteral("photo"),
                                      QStringLiteral("signPicture"), this);
    m_remove = Theme::toolButton(tr("Remove"), QStringLiteral("trash"),
                                 QStringLiteral("signRemove"), this, Theme::red());
    {
        QPalette palette = m_remove->palette();
        palette.setColor(QPalette::Active, QPalette::ButtonText, Theme::red());
        palette.setColor(QPalette::Inactive, QPalette::ButtonText, Theme::red());
        m_remove->setPalette(palette);
    }
    for (QPushButton *b : {signature, m_textButton, picture, m_remove})
        toolbar->addWidget(b);
    toolbar->addStretch(1);
    m_previous =
        Theme::toolButton({}, QStringLiteral("chevron.left"), QStringLiteral("signPrevious"), this);
    m_previous->setToolTip(tr("Previous Page"));
    m_next =
        Theme::toolButton({}, QStringLiteral("chevron.right"), QStringLiteral("signNext"), this);
    m_next->setToolTip(tr("Next Page"));
    m_pageLabel = new QLabel(this);
    m_pageLabel->setObjectName(QStringLiteral("signPageLabel"));
    m_pageLabel->setAlignment(Qt::AlignCenter);
    {
        // As wide as its widest text, so the buttons beside it never move.
        const QString digits(QString::number(file.pageCount()).size(), u'0');
        m_pageLabel->setMinimumWidth(
            m_pageLabel->fontMetrics().horizontalAdvance(tr("Page %1 of %2").arg(digits, digits)) +
            8);
    }
    toolbar->addWidget(m_previous);
    toolbar->addWidget(m_pageLabel);
    toolbar->addWidget(m_next);
    layout->addLayout(toolbar);
    layout->addWidget(Theme::divider(this));

    m_area = new SignPageArea(m_model, this);
    layout->addWidget(m_area, 1);
    const auto [bottom, row] = Theme::bottomBand(layout, this);
    m_summary = Theme::label({}, Theme::Type::Callout, this);
    m_summary->setObjectName(QStringLiteral("signSummary"));
    Theme::setTextColor(m_summary, Theme::secondary());
    m_summary->setWordWrap(true);
    row->addWidget(m_summary, 1);
    m_save = new QPushButton(tr("Save Signed Copy"), this);
    m_save->setObjectName(QStringLiteral("signSave"));
    m_save->setFocusPolicy(Qt::TabFocus);
    Theme::makeProminent(m_save);
    row->addWidget(m_save);
    bottom->addWidget(new JobBar(&m_saver.job(), this));

    // The text popover: a popup anchored below "Text", closed by a click outside.
    m_popover = new QFrame(this, Qt::Popup);
    m_popover->setObjectName(QStringLiteral("signTextPopover"));
    m_popover->setFrameShape(QFrame::StyledPanel);
    auto *popLayout = new QVBoxLayout(m_popover);
    popLayout->setContentsMargins(12, 12, 12, 12);
    popLayout->setSpacing(8);
    m_text = new QLineEdit(m_popover);
    m_text->setObjectName(QStringLiteral("signTextField"));
    m_text->setPlaceholderText(tr("Type something (a name, APPROVED…)"));
    m_text->setFixedWidth(260);
    popLayout->addWidget(m_text);
    auto *popRow = new QHBoxLayout;
    m_add = new QPushButton(tr("Add"), m_popover);
    m_add->setObjectName(QStringLiteral("signTextAdd"));
    m_add->setAutoDefault(false);
    auto *date = new QPushButton(tr("Today's Date"), m_popover);
    date->setObjectName(QStringLiteral("signTextDate"));
    date->setAutoDefault(false);
    popRow->addWidget(m_add);
    popRow->addWidget(date);
    popRow->addStretch(1);
    popLayout->addLayout(popRow);

    connect(m_textButton, &QPushButton::clicked, this, &SignBody::showTextPopover);
    connect(m_text, &QLineEdit::returnPressed, this, &SignBody::addText);
    connect(m_text, &QLineEdit::textChanged, this,
            [this](const QString &text) { m_add->setEnabled(!text.isEmpty()); });
    connect(m_add, &QPushButton::clicked, this, &SignBody::addText);
    connect(date, &QPushButton::clicked, this, &SignBody::addDate);
    connect(picture, &QPushButton::clicked, this, &SignBody::addPicture);
    connect(m_remove, &QPushButton::clicked, this, [this] { m_model.deleteSelected(); });
    connect(m_previous, &QPushButton::clicked, this, [this] { showPage(-1); });
    connect(m_next, &QPushButton::clicked, this, [this] { showPage(1); });
    connect(m_area, &SignPageArea::pageStepRequested, this, &SignBody::showPage);
    connect(m_save, &QPushButton::clicked, this, [this] { m_saver.save(m_model.placements()); });
    connect(&m_model, &SignModel::changed, this, &SignBody::refresh);
    connect(&m_saver, &ToolModel::changed, this, &SignBody::refresh);

    m_add->setEnabled(false);
    listSaved();
    refresh();
    setFocusProxy(m_area);
}

QString SignBody::summary(int placed)
{
    if (placed == 0)
        return tr("Add a signature or some text, then drag it into place. Drag the corner dot to "
                  "resize.");
    return tr("%1 item").arg(placed) + (placed == 1 ? QString() : tr("s")) +
           tr(" placed. Your original file isn't changed.");
}

void SignBody::refresh()
{
    const int pages = m_file.pageCount();
    const int index = m_model.pageIndex();
    m_pageLabel->setText(tr("Page %1 of %2").arg(index + 1).arg(pages));
    m_previous->setEnabled(index > 0);
    m_next->setEnabled(index < pages - 1);
    m_remove->setEnabled(m_model.selected().has_value());
    const int placed = int(m_model.placements().size());
    m_summary->setText(summary(placed));
    m_save->setEnabled(placed > 0 && !m_saver.job().isRunning());
}

void SignBody::listSaved()
{
    m_saved = SignatureStore::shared().list();
    fillSignatureMenu();
}

void SignBody::fillSignatureMenu()
{
    // clear() leaves submenus alive as children: they go too.
    qDeleteAll(m_signatureMenu->findChildren<QMenu *>(Qt::FindDirectChildrenOnly));
    m_signatureMenu->clear();
    for (int i = 0; i < m_saved.size(); ++i) {
        QAction *use = m_signatureMenu->addAction(tr("Use saved signature %1").arg(i + 1));
        use->setObjectName(QStringLiteral("signUseSaved"));
        const QImage image = m_saved[i].image;
        connect(use, &QAction::triggered, this, [this, image] {
            m_model.add(image, Sign::kSignatureWidth);
            m_area->setFocus();
        });
    }
    if (!m_saved.isEmpty()) {
        m_signatureMenu->addSeparator();
        QMenu *remove = m_signatureMenu->addMenu(tr("Delete saved signature"));
        remove->setObjectName(QStringLiteral("signDeleteSaved"));
        for (int i = 0; i < m_saved.size(); ++i) {
            QAction *item = remove->addAction(tr("Signature %1").arg(i + 1));
            item->setObjectName(QStringLiteral("signDeleteSavedItem"));
            const SignatureStore::Saved saved = m_saved[i];
            connect(item, &QAction::triggered, this, [this, saved] {
                SignatureStore::shared().remove(saved);
                // Rebuilt once the menu has closed: this action is still in use.
                QMetaObject::invokeMethod(this, &SignBody::listSaved, Qt::QueuedConnection);
            });
        }
        m_signatureMenu->addSeparator();
    }
    QAction *create = m_signatureMenu->addAction(tr("New Signature…"));
    create->setObjectName(QStringLiteral("signNewSignature"));
    connect(create, &QAction::triggered, this, &SignBody::newSignature);
}

void SignBody::newSignature()
{
    // The sheet's "Choose Picture…" goes through the same dialogs as everything else.
    // Only while it is open: the workspace may go before the next sheet.
    SignatureSheet::setDialogs(m_ws.dialogs());
    const auto result = SignatureSheet::ask(this);
    SignatureSheet::setDialogs(nullptr);
    if (!result || result->image.isNull())
        return;
    if (result->remember) {
        SignatureStore::shared().save(result->image); // a failure only leaves it out of the menu
        listSaved();
    }
    m_model.add(result->image, Sign::kSignatureWidth);
    m_area->setFocus();
}

void SignBody::showTextPopover()
{
    m_popover->adjustSize();
    m_popover->move(m_textButton->mapToGlobal(QPoint(0, m_textButton->height() + 4)));
    m_popover->show();
    m_text->setFocus(Qt::PopupFocusReason);
}

void SignBody::addText()
{
    const auto image = Stamps::text(m_text->text(), Sign::kTextSize, Qt::black, false);
    if (!image)
        return; // nothing typed: the popover stays
    m_model.add(*image, image->width() / Stamps::kPixelsPerPoint);
    m_popover->hide();
    m_text->clear();
    m_area->setFocus();
}

void SignBody::addDate()
{
    const auto image = Stamps::text(Sign::today(), Sign::kDateSize, Qt::black, false);
    if (!image)
        return;
    m_model.add(*image, image->width() / Stamps::kPixelsPerPoint);
    m_popover->hide();
    m_area->setFocus();
}

void SignBody::addPicture()
{
    Dialogs *dialogs = m_ws.dialogs();
    const auto path = dialogs ? dialogs->openImage() : std::nullopt;
    if (!path)
        return;
    // Placed as it is: taking the paper away is the signature sheet's work.
    if (const auto image = PDFOps::loadImage(*path, Sign::kPictureMaxPixels)) {
        m_model.add(*image, Sign::kPictureWidth);
        m_area->setFocus();
    }
}

void SignBody::showPage(int delta)
{
    const int target = m_model.pageIndex() + delta;
    if (target < 0 || target >= m_file.pageCount())
        return;
    m_model.showPage(m_file, delta);
}
