#include "screens/SignatureSheet.h"

#include "core/Dialogs.h"
#include "engine/PDFOps.h"
#include "screens/QtDialogs.h"
#include "screens/Theme.h"
#include "signing/Stamps.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QFutureWatcher>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QSet>
#include <QTabletEvent>
#include <QTouchEvent>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

namespace {

constexpr int kCanvasWidth = 440;
constexpr int kCanvasHeight = 170;
constexpr double kLineWidth = 3.2;
constexpr int kMaxPhotoPixel = 3200;
constexpr int kPreviewHeight = 110;
constexpr int kWidth = 490;
constexpr int kPadding = 20;
constexpr int kSpacing = 14;

enum Mode { Draw = 0, Photo = 1 };

Dialogs *&sheetDialogs()
{
    static Dialogs *dialogs = nullptr;
    return dialogs;
}

// The white surface the signature is drawn on. Points are kept as the
// widget reports them (y downwards); mouse, pen and finger all draw.
class Canvas : public QWidget {
public:
    explicit Canvas(QWidget *parent)
        : QWidget(parent)
    {
        setObjectName(QStringLiteral("signatureCanvas"));
        setFixedSize(kCanvasWidth, kCanvasHeight);
        setAttribute(Qt::WA_AcceptTouchEvents);
        setCursor(Qt::CrossCursor);
    }

    std::function<void()> changed;

    const QList<Stamps::Stroke> &strokes() const { return m_strokes; }
    void setInk(const QColor &ink)
    {
        m_ink = ink;
        update();
    }
    void clear()
    {
        m_strokes.clear();
        m_drawing = false;
        notify();
    }
    void undo()
    {
        if (m_strokes.isEmpty())
            return;
        m_strokes.removeLast();
        m_drawing = false;
        notify();
    }

protected:
    bool event(QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
            if (static_cast<QMouseEvent *>(event)->button() != Qt::LeftButton)
                break;
            [[fallthrough]];
        case QEvent::TabletPress:
            draw(static_cast<QSinglePointEvent *>(event)->position(), true);
            event->accept();
            return true;
        case QEvent::MouseMove:
        case QEvent::TabletMove:
            if (m_drawing)
                draw(static_cast<QSinglePointEvent *>(event)->position(), false);
            event->accept();
            return true;
        case QEvent::MouseButtonRelease:
        case QEvent::TabletRelease:
            m_drawing = false;
            event->accept();
            return true;
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate: {
            const auto *touch = static_cast<QTouchEvent *>(event);
            if (!touch->points().isEmpty())
                draw(touch->points().first().position(), event->type() == QEvent::TouchBegin);
            event->accept();
            return true;
        }
        case QEvent::TouchEnd:
        case QEvent::TouchCancel:
            m_drawing = false;
            event->accept();
            return true;
        default: break;
        }
        return QWidget::event(event);
    }

    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(Theme::withAlpha(Theme::secondary(), 0.4), 1));
        painter.setBrush(Qt::white);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
        if (m_strokes.isEmpty()) {
            painter.setPen(Theme::secondary());
            painter.drawText(rect(), Qt::AlignCenter,
                             SignatureSheet::tr("Sign here with your trackpad or mouse"));
            return;
        }
        painter.setPen(QPen(m_ink, kLineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        for (const Stamps::Stroke &stroke : m_strokes) {
            QPainterPath path(stroke.first());
            if (stroke.size() == 1)
                path.lineTo(stroke.first() + QPointF(0.1, 0)); // shows as a dot
            for (qsizetype i = 1; i < stroke.size(); ++i)
                path.lineTo(stroke[i]);
            painter.drawPath(path);
        }
    }

private:
    void draw(QPointF point, bool start)
    {
        if (start || !m_drawing || m_strokes.isEmpty()) {
            m_strokes.append({point});
            m_drawing = true;
        } else {
            m_strokes.last().append(point);
        }
        notify();
    }
    void notify()
    {
        update();
        if (changed)
            changed();
    }

    QList<Stamps::Stroke> m_strokes;
    QColor m_ink = Qt::black;
    bool m_drawing = false;
};

// What a worker hands back: the photo (when it was loaded there) and its ink.
struct PhotoWork {
    std::optional<QImage> photo;
    std::optional<QImage> ink;
};

} // namespace

struct SignatureSheet::Private {
    explicit Private(SignatureSheet *sheet)
        : q(sheet)
    {
    }
    SignatureSheet *q;
    QButtonGroup *modes = nullptr;
    QButtonGroup *inks = nullptr;
    Canvas *canvas = nullptr;
    QWidget *drawBox = nullptr;
    QWidget *photoBox = nullptr;
    QPushButton *clear = nullptr;
    QPushButton *undo = nullptr;
    QLabel *preview = nullptr;
    QLabel *noInk = nullptr;
    QCheckBox *remember = nullptr;
    QPushButton *use = nullptr;

    // The photo and its ink per ink index, each worked out once on a worker;
    // `generation` tells the answers about an earlier photo apart.
    std::optional<QImage> photo;
    quint64 generation = 0;
    bool loading = false;
    QHash<int, std::optional<QImage>> inkOfPhoto;
    QSet<int> working;
    qint64 shownPreview = 0;

    int mode() const { return modes->checkedId(); }
    int inkIndex() const { return std::max(0, inks->checkedId()); }
    QColor ink() const { return Stamps::inkColors().value(inkIndex()).color; }

    std::optional<QImage> drawn() const
    {
        QList<Stamps::Stroke> flipped;
        for (const Stamps::Stroke &stroke : canvas->strokes()) {
            Stamps::Stroke up;
            for (const QPointF &p : stroke)
                up.append({p.x(), kCanvasHeight - p.y()});
            flipped.append(up);
        }
        return Stamps::signature(flipped, kLineWidth, ink());
    }
    std::optional<QImage> photographed() const
    {
        const auto found = inkOfPhoto.constFind(inkIndex());
        return photo && found != inkOfPhoto.cend() ? *found : std::nullopt;
    }

    void choosePicture();
    void workOutInk();
    void start(quint64 forPhoto, int forInk, std::function<PhotoWork()> work);
    void refresh();
};

SignatureSheet::SignatureSheet(QWidget *parent)
    : QDialog(parent)
    , d(std::make_unique<Private>(this))
{
    setWindowTitle(tr("New Signature"));
    setWindowModality(Qt::WindowModal);
    setFixedWidth(kWidth);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(kPadding, kPadding, kPadding, kPadding);
    layout->setSpacing(kSpacing);
    layout->addWidget(Theme::label(tr("New Signature"), Theme::Type::Title3, this, true));
    d->modes = Theme::modePicker(this, layout, {{Draw, tr("Draw")}, {Photo, tr("From a Photo")}},
                                 QStringLiteral("signatureMode"));
    d->modes->button(Draw)->setChecked(true);

    // Draw.
    d->drawBox = new QWidget(this);
    auto *draw = new QVBoxLayout(d->drawBox);
    draw->setContentsMargins(0, 0, 0, 0);
    draw->setSpacing(kSpacing);
    d->canvas = new Canvas(d->drawBox);
    draw->addWidget(d->canvas);
    auto *strokeRow = new QHBoxLayout;
    d->clear = new QPushButton(tr("Clear"), d->drawBox);
    d->clear->setObjectName(QStringLiteral("clearButton"));
    d->undo = new QPushButton(tr("Undo Stroke"), d->drawBox);
    d->undo->setObjectName(QStringLiteral("undoStrokeButton"));
    strokeRow->addWidget(d->clear);
    strokeRow->addWidget(d->undo);
    strokeRow->addStretch(1);
    draw->addLayout(strokeRow);
    layout->addWidget(d->drawBox);

    // From a photo.
    d->photoBox = new QWidget(this);
    auto *photo = new QVBoxLayout(d->photoBox);
    photo->setContentsMargins(0, 0, 0, 0);
    photo->setSpacing(kSpacing);
    auto *explanation = Theme::label(tr("Sign on white paper, take a photo or scan, and choose it "
                                        "here. The paper is removed so only your ink is left."),
                                     Theme::Type::Body, d->photoBox);
    explanation->setWordWrap(true);
    Theme::setTextColor(explanation, Theme::secondary());
    photo->addWidget(explanation);
    auto *chooseRow = new QHBoxLayout;
    auto *choose = new QPushButton(tr("Choose Picture…"), d->photoBox);
    choose->setObjectName(QStringLiteral("choosePictureButton"));
    chooseRow->addWidget(choose);
    chooseRow->addStretch(1);
    photo->addLayout(chooseRow);
    d->preview = new QLabel(d->photoBox);
    d->preview->setObjectName(QStringLiteral("signaturePreview"));
    d->preview->setStyleSheet(
        QStringLiteral("QLabel { background: white; border-radius: 6px; padding: 8px; }"));
    photo->addWidget(d->preview, 0, Qt::AlignLeft);
    d->noInk =
        Theme::label(tr("Couldn't find any ink in that picture."), Theme::Type::Body, d->photoBox);
    d->noInk->setObjectName(QStringLiteral("noInkMessage"));
    Theme::setTextColor(d->noInk, Theme::red());
    photo->addWidget(d->noInk);
    layout->addWidget(d->photoBox);

    // Ink and remembering.
    auto *inkRow = new QHBoxLayout;
    inkRow->setSpacing(8);
    inkRow->addWidget(new QLabel(tr("Ink"), this));
    auto *inkBox = new QWidget(this);
    auto *inkLayout = new QHBoxLayout(inkBox);
    inkLayout->setContentsMargins(0, 0, 0, 0);
    QList<QPair<int, QString>> inkNames;
    for (qsizetype i = 0; i < Stamps::inkColors().size(); ++i)
        inkNames.append({int(i), Stamps::inkColors()[i].name});
    d->inks = Theme::modePicker(inkBox, inkLayout, inkNames, QStringLiteral("inkChoice"));
    for (QAbstractButton *button : d->inks->buttons())
        button->setMinimumWidth(160 / int(inkNames.size()));
    inkBox->setFixedWidth(160);
    d->inks->button(0)->setChecked(true);
    inkRow->addWidget(inkBox);
    inkRow->addSpacing(12);
    d->remember = new QCheckBox(tr("Remember on this computer"), this);
    d->remember->setObjectName(QStringLiteral("rememberBox"));
    d->remember->setChecked(true);
    inkRow->addWidget(d->remember);
    inkRow->addStretch(1);
    layout->addLayout(inkRow);

    auto *actions = new QHBoxLayout;
    actions->addStretch(1);
    auto *cancel = new QPushButton(tr("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cancelButton"));
    d->use = new QPushButton(tr("Use Signature"), this);
    d->use->setObjectName(QStringLiteral("useSignatureButton"));
    Theme::makeProminent(d->use);
    actions->addWidget(cancel);
    actions->addWidget(d->use);
    layout->addLayout(actions);

    // Return always means "Use Signature", wherever the focus is.
    for (QPushButton *button : findChildren<QPushButton *>())
        button->setAutoDefault(false);
    d->use->setDefault(true);

    d->canvas->changed = [this] { d->refresh(); };
    connect(d->clear, &QPushButton::clicked, this, [this] { d->canvas->clear(); });
    connect(d->undo, &QPushButton::clicked, this, [this] { d->canvas->undo(); });
    connect(d->modes, &QButtonGroup::idClicked, this, [this] { d->refresh(); });
    connect(d->inks, &QButtonGroup::idClicked, this, [this] {
        d->canvas->setInk(d->ink());
        d->workOutInk();
        d->refresh();
    });
    connect(choose, &QPushButton::clicked, this, [this] { d->choosePicture(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(d->use, &QPushButton::clicked, this, [this] {
        if (signature())
            accept();
    });

    d->canvas->setInk(d->ink());
    d->refresh();
}

SignatureSheet::~SignatureSheet() = default;

std::optional<QImage> SignatureSheet::signature() const
{
    return d->mode() == Photo ? d->photographed() : d->drawn();
}

bool SignatureSheet::remember() const
{
    return d->remember->isChecked();
}

std::optional<SignatureSheet::Result> SignatureSheet::ask(QWidget *parent)
{
    return asker()(parent);
}

std::function<std::optional<SignatureSheet::Result>(QWidget *)> &SignatureSheet::asker()
{
    static std::function<std::optional<Result>(QWidget *)> function =
        [](QWidget *parent) -> std::optional<Result> {
        SignatureSheet sheet(parent);
        if (sheet.exec() != QDialog::Accepted)
            return std::nullopt;
        const auto image = sheet.signature();
        if (!image)
            return std::nullopt;
        return Result{*image, sheet.remember()};
    };
    return function;
}

void SignatureSheet::setDialogs(Dialogs *dialogs)
{
    sheetDialogs() = dialogs;
}

void SignatureSheet::Private::choosePicture()
{
    std::optional<QString> path;
    if (Dialogs *dialogs = sheetDialogs()) {
        path = dialogs->openImage();
    } else {
        QtDialogs panel(q);
        path = panel.openImage();
    }
    if (!path)
        return;

    // Decoding a camera photo and removing its paper take a moment: both run
    // on a worker, and "Use Signature" waits for them.
    ++generation;
    photo.reset();
    inkOfPhoto.clear();
    working.clear();
    loading = true;
    start(generation, inkIndex(), [file = *path, color = ink()] {
        PhotoWork work;
        work.photo = PDFOps::loadImage(file, kMaxPhotoPixel);
        if (work.photo)
            work.ink = Stamps::signatureFromPhoto(*work.photo, color);
        return work;
    });
    refresh();
}

void SignatureSheet::Private::workOutInk()
{
    const int index = inkIndex();
    if (!photo || loading || inkOfPhoto.contains(index) || working.contains(index))
        return;
    working.insert(index);
    start(generation, index, [picture = *photo, color = ink()] {
        return PhotoWork{std::nullopt, Stamps::signatureFromPhoto(picture, color)};
    });
}

void SignatureSheet::Private::start(quint64 forPhoto, int forInk, std::function<PhotoWork()> work)
{
    auto *watcher = new QFutureWatcher<PhotoWork>(q);
    QObject::connect(watcher, &QFutureWatcher<PhotoWork>::finished, q,
                     [this, watcher, forPhoto, forInk] {
                         watcher->deleteLater();
                         if (forPhoto != generation)
                             return; // about a photo since replaced
                         const PhotoWork done = watcher->result();
                         if (loading) {
                             loading = false;
                             photo = done.photo;
                         }
                         working.remove(forInk);
                         if (photo)
                             inkOfPhoto.insert(forInk, done.ink);
                         workOutInk(); // the ink may have changed meanwhile
                         refresh();
                     });
    watcher->setFuture(QtConcurrent::run(std::move(work)));
}

void SignatureSheet::Private::refresh()
{
    const bool photoMode = mode() == Photo;
    const bool hasStrokes = !canvas->strokes().isEmpty();
    drawBox->setVisible(!photoMode);
    photoBox->setVisible(photoMode);
    clear->setEnabled(hasStrokes);
    undo->setEnabled(hasStrokes);

    const auto found = inkOfPhoto.constFind(inkIndex());
    const bool known = photo && found != inkOfPhoto.cend();
    const std::optional<QImage> image = known ? *found : std::nullopt;
    noInk->setVisible(known && !image);
    // While another ink is worked out the last preview stays, so nothing jumps.
    if (image && image->cacheKey() != shownPreview) {
        shownPreview = image->cacheKey();
        const qreal ratio = q->devicePixelRatioF();
        const QSize fit = image->size().scaled(QSize(kWidth - 2 * kPadding - 16, kPreviewHeight),
                                               Qt::KeepAspectRatio);
        QPixmap pixmap = QPixmap::fromImage(
            image->scaled(fit * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        pixmap.setDevicePixelRatio(ratio);
        preview->setPixmap(pixmap);
    }
    if (!photo || (known && !image)) {
        preview->clear();
        shownPreview = 0;
    }
    preview->setVisible(shownPreview != 0);

    use->setEnabled(photoMode ? image.has_value() : hasStrokes);
    q->adjustSize();
}
