#include "screens/JobBar.h"

#include "core/Job.h"
#include "screens/Reveal.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

JobBar::JobBar(Job *job, QWidget *parent)
    : QWidget(parent)
    , m_job(job)
{
    setObjectName(QStringLiteral("jobBar"));
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);

    // Running: spinner or bar, the text, Cancel.
    m_running = new QWidget(this);
    auto *running = new QHBoxLayout(m_running);
    running->setContentsMargins(0, 4, 0, 4);
    running->setSpacing(12);
    m_bar = new QProgressBar(m_running);
    m_bar->setObjectName(QStringLiteral("jobProgress"));
    m_bar->setTextVisible(false);
    m_bar->setMaximumWidth(260);
    m_bar->setMinimumWidth(160);
    m_bar->setMaximumHeight(10);
    running->addWidget(m_bar);
    m_runningText = Theme::label({}, Theme::Type::Body, m_running);
    m_runningText->setObjectName(QStringLiteral("jobText"));
    Theme::setTextColor(m_runningText, Theme::secondary());
    running->addWidget(m_runningText);
    m_cancel = new QPushButton(tr("Cancel"), m_running);
    m_cancel->setObjectName(QStringLiteral("jobCancel"));
    running->addWidget(m_cancel);
    running->addStretch(1);
    outer->addWidget(m_running);

    // Finished or failed: symbol, title and detail, Show in Folder, close.
    m_result = new QWidget(this);
    auto *result = new QHBoxLayout(m_result);
    result->setContentsMargins(12, 12, 12, 12);
    result->setSpacing(10);
    m_symbol = new QLabel(m_result);
    result->addWidget(m_symbol, 0, Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    m_title = Theme::label({}, Theme::Type::Headline, m_result);
    m_title->setObjectName(QStringLiteral("jobTitle"));
    m_title->setWordWrap(true);
    texts->addWidget(m_title);
    m_detail = Theme::label({}, Theme::Type::Body, m_result);
    m_detail->setObjectName(QStringLiteral("jobDetail"));
    m_detail->setWordWrap(true);
    Theme::setTextColor(m_detail, Theme::secondary());
    texts->addWidget(m_detail);
    result->addLayout(texts, 1);
    m_show = new QPushButton(tr("Show in Folder"), m_result);
    m_show->setObjectName(QStringLiteral("jobShow"));
    result->addWidget(m_show, 0, Qt::AlignTop);
    m_close = new QToolButton(m_result);
    m_close->setObjectName(QStringLiteral("jobClose"));
    m_close->setAutoRaise(true);
    m_close->setIcon(Symbols::icon(QStringLiteral("xmark"), Theme::secondary()));
    m_close->setToolTip(tr("Close"));
    result->addWidget(m_close, 0, Qt::AlignTop);
    outer->addWidget(m_result);

    connect(m_cancel, &QPushButton::clicked, this, [this] {
        if (m_job)
            m_job->cancel();
    });
    connect(m_show, &QPushButton::clicked, this, [this] { Reveal::showInFolder(m_urls); });
    connect(m_close, &QToolButton::clicked, this, [this] {
        if (m_job)
            m_job->reset();
    });
    if (m_job)
        connect(m_job, &Job::stateChanged, this, &JobBar::refresh);
    refresh();
}

QString JobBar::runningText(const QString &label, int done, int total)
{
    if (total < 1)
        return label + QStringLiteral("…");
    return tr("%1 page %2 of %3…").arg(label).arg(done).arg(total);
}

void JobBar::refresh()
{
    const Job::State state = m_job ? m_job->state() : Job::State(Job::Idle{});
    m_running->setVisible(std::holds_alternative<Job::Running>(state));
    const bool finished =
        std::holds_alternative<Job::Done>(state) || std::holds_alternative<Job::Failed>(state);
    m_result->setVisible(finished);
    m_urls.clear();

    if (const auto *running = std::get_if<Job::Running>(&state)) {
        if (running->total < 1) {
            m_bar->setRange(0, 0); // a spinner: no total yet
        } else {
            m_bar->setRange(0, running->total);
            m_bar->setValue(std::clamp(running->done, 0, running->total));
        }
        m_runningText->setText(runningText(running->label, running->done, running->total));
        m_tint = QColor();
    } else if (const auto *done = std::get_if<Job::Done>(&state)) {
        m_tint = Theme::green();
        m_symbol->setPixmap(Symbols::pixmap(QStringLiteral("checkmark.circle.fill"), 22, m_tint,
                                            devicePixelRatioF()));
        m_title->setText(done->outcome.title);
        m_detail->setText(done->outcome.detail);
        m_detail->setVisible(!done->outcome.detail.isEmpty());
        m_urls = done->outcome.urls;
        m_show->setVisible(!m_urls.isEmpty());
    } else if (const auto *failed = std::get_if<Job::Failed>(&state)) {
        m_tint = Theme::red();
        m_symbol->setPixmap(
            Symbols::pixmap(QStringLiteral("xmark.octagon.fill"), 22, m_tint, devicePixelRatioF()));
        m_title->setText(failed->message);
        m_title->setFont(Theme::font(Theme::Type::Body, font()));
        m_detail->clear();
        m_detail->setVisible(false);
        m_show->setVisible(false);
    } else {
        m_tint = QColor();
    }
    if (std::holds_alternative<Job::Done>(state))
        m_title->setFont(Theme::font(Theme::Type::Headline, font()));
    setVisible(!std::holds_alternative<Job::Idle>(state));
    update();
}

void JobBar::paintEvent(QPaintEvent *)
{
    if (!m_tint.isValid())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()), 10, 10);
    painter.fillPath(path, Theme::withAlpha(m_tint, 0.12));
}
