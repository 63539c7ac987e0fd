#include "screens/PagesScreen.h"

#include "core/Job.h"
#include "core/Workspace.h"
#include "screens/JobBar.h"
#include "screens/PagesGrid.h"
#include "screens/ScreenRegistry.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"
#include "screens/ToolPage.h"
#include "tasks/PagesModel.h"

#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSet>
#include <QVBoxLayout>

namespace {
const ScreenRegistry::Registration registration(Tool::Pages, [](Workspace &ws, QWidget *parent) {
    return new PagesView(ws, parent);
});

} // namespace

PagesView::PagesView(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_model(new PagesModel(this))
    , m_job(new Job(this))
{
    setObjectName(QStringLiteral("pagesScreen"));
    Workspace *ws = &workspace;
    PagesModel *model = m_model;
    Job *job = m_job;
    m_page = ToolPage::fill(this, workspace, Tool::Pages,
                            [ws, model, job](const PDFFile &file, QWidget *p) -> QWidget * {
                                return new PagesBody(*ws, *model, *job, file, p);
                            });
}

PagesBody::PagesBody(Workspace &workspace, PagesModel &model, Job &job, const PDFFile &file,
                     QWidget *parent)
    : QWidget(parent)
    , m_ws(workspace)
    , m_model(model)
    , m_job(job)
    , m_file(file)
{
    setObjectName(QStringLiteral("pagesBody"));
    // An outcome is about the file it was made from; another file starts over.
    if (m_model.loadedID() != file.id)
        m_job.reset();
    m_model.load(file);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto *toolbar = new QHBoxLayout;
    toolbar->setContentsMargins(20, 10, 20, 10);
    toolbar->setSpacing(8);
    auto *rotateLeft = Theme::toolButton(Pages::rotateLeft(), QStringLiteral("rotate.left"),
                                         QStringLiteral("pagesRotateLeft"), this);
    auto *rotateRight = Theme::toolButton(Pages::rotateRight(), QStringLiteral("rotate.right"),
                                          QStringLiteral("pagesRotateRight"), this);
    m_delete = Theme::toolButton(Pages::deleteLabel(), QStringLiteral("trash"),
                                 QStringLiteral("pagesDelete"), this, Theme::red());
    {
        QPalette palette = m_delete->palette();
        palette.setColor(QPalette::Active, QPalette::ButtonText, Theme::red());
        palette.setColor(QPalette::Inactive, QPalette::ButtonText, Theme::red());
        m_delete->setPalette(palette);
    }
    auto *add = Theme::toolButton(Pages::addPagesFrom(), QStringLiteral("plus.square.on.square"),
                                  QStringLiteral("pagesAddFrom"), this);
    m_addMenu = new QMenu(add);
    m_addMenu->setObjectName(QStringLiteral("pagesAddFromMenu"));
    add->setMenu(m_addMenu);
    m_undo = Theme::toolButton(Pages::undoLabel(), QStringLiteral("arrow.uturn.backward"),
                               QStringLiteral("pagesUndo"), this);
    auto *selectAll =
        Theme::toolButton(Pages::selectAll(), {}, QStringLiteral("pagesSelectAll"), this);
    for (QPushButton *b : {rotateLeft, rotateRight, m_delete, add, m_undo})
        toolbar->addWidget(b);
    toolbar->addStretch(1);
    toolbar->addWidget(selectAll);
    layout->addLayout(toolbar);

    m_grid = new PagesGrid(m_model, this);
    layout->addWidget(m_grid, 1);

    const auto [bottom, footer] = Theme::bottomBand(layout, this);
    m_summary = Theme::label({}, Theme::Type::Body, this);
    m_summary->setObjectName(QStringLiteral("pagesSummary"));
    footer->addWidget(m_summary);
    auto *hint = Theme::label(Pages::hint(), Theme::Type::Callout, this);
    hint->setObjectName(QStringLiteral("pagesHint"));
    Theme::setTextColor(hint, Theme::secondary());
    footer->addWidget(hint);
    footer->addStretch(1);
    m_saveSelected =
        Theme::toolButton(Pages::saveSelected(), {}, QStringLiteral("pagesSaveSelected"), this);
    footer->addWidget(m_saveSelected);
    m_saveCopy = Theme::toolButton(Pages::saveACopy(), {}, QStringLiteral("pagesSaveCopy"), this);
    m_saveCopy->setDefault(true);
    Theme::makeProminent(m_saveCopy);
    footer->addWidget(m_saveCopy);
    m_caption = Theme::label(Pages::bookmarksCaption(), Theme::Type::Callout, this);
    m_caption->setObjectName(QStringLiteral("pagesBookmarksCaption"));
    m_caption->setWordWrap(true);
    Theme::setTextColor(m_caption, Theme::secondary());
    bottom->addWidget(m_caption);
    bottom->addWidget(new JobBar(&m_job, this));

    PagesModel *m = &m_model;
    connect(rotateLeft, &QPushButton::clicked, this, [m] { m->rotate(m->target(), -90); });
    connect(rotateRight, &QPushButton::clicked, this, [m] { m->rotate(m->target(), 90); });
    connect(m_delete, &QPushButton::clicked, m_grid, &PagesGrid::deleteSelection);
    connect(m_undo, &QPushButton::clicked, m_grid, &PagesGrid::undo);
    connect(selectAll, &QPushButton::clicked, m_grid, &PagesGrid::selectAll);
    connect(m_addMenu, &QMenu::aboutToShow, this, &PagesBody::fillAddMenu);
    connect(m_saveSelected, &QPushButton::clicked, this, [this] { save(true); });
    connect(m_saveCopy, &QPushButton::clicked, this, [this] { save(false); });
    connect(&m_model, &PagesModel::changed, this, &PagesBody::refresh);
    connect(&m_job, &Job::stateChanged, this, &PagesBody::refresh);
    refresh();
}

void PagesBody::refresh()
{
    const int pages = int(m_model.items().size());
    const int selected = int(m_model.selected().size());
    m_summary->setText(Pages::summary(pages, selected));
    m_delete->setEnabled(PagesGrid::canDelete(m_model));
    m_undo->setEnabled(m_model.undoSteps() > 0);
    m_caption->setVisible(m_model.undoSteps() > 0);
    m_saveSelected->setEnabled(selected > 0 && !m_job.isRunning());
    m_saveCopy->setEnabled(!m_job.isRunning());
}

// Made anew each time it opens: the workspace's files change.
void PagesBody::fillAddMenu()
{
    m_addMenu->clear();
    for (const PDFFile &file : Pages::addable(m_ws.pdfs(), m_file.id)) {
        QAction *action = m_addMenu->addAction(file.fileName());
        action->setObjectName(QStringLiteral("pagesAddFile"));
        action->setData(file.id);
        const QUuid id = file.id;
        connect(action, &QAction::triggered, this, [this, id] {
            if (const auto chosen = m_ws.file(id))
                m_model.append(*chosen);
        });
    }
    m_addMenu->addSeparator();
    QAction *choose = m_addMenu->addAction(Pages::chooseAFile(), this, &PagesBody::chooseFiles);
    choose->setObjectName(QStringLiteral("pagesChooseFile"));
}

void PagesBody::chooseFiles()
{
    Dialogs *dialogs = m_ws.dialogs();
    if (!dialogs)
        return;
    const QStringList paths = dialogs->openFiles(false);
    if (paths.isEmpty())
        return;
    QSet<QUuid> before;
    for (const PDFFile &file : m_ws.files())
        before.insert(file.id);
    m_ws.add(paths);
    for (const PDFFile &file : Pages::addable(m_ws.pdfs(), m_file.id))
        if (!before.contains(file.id))
            m_model.append(file);
}

void PagesBody::save(bool selectionOnly)
{
    Dialogs *dialogs = m_ws.dialogs();
    if (!dialogs || m_job.isRunning() || (selectionOnly && m_model.selected().isEmpty()))
        return;
    // The file as the workspace has it now (an owner password given since).
    const PDFFile file = m_ws.file(m_file.id).value_or(m_file);
    const auto destination = dialogs->savePDF(Pages::suggestedName(file, selectionOnly),
                                              QFileInfo(file.path).absolutePath());
    if (!destination)
        return;
    // What to write is taken now; later edits don't reach the running save.
    const Pages::Request request =
        m_model.build(file, selectionOnly ? std::optional(m_model.selected()) : std::nullopt);
    if (const auto refusal = request.validate()) {
        m_job.fail(*refusal);
        return;
    }
    const QString target = *destination;
    m_job.run(Pages::jobTitle(),
              [request, target](const Progress &progress, const IsCancelled &isCancelled) {
                  return Pages::run(request, target, progress, isCancelled);
              });
}
