#pragma once

// Finding and driving the widgets of a screen in a test, by object name.
// Header only: the library every test links has no widgets, these need them.
//
// A root is a widget, or a tool screen (anything with page()->content()):
// its content is made anew for each file, so only the one on show is searched.

#include "core/Dialogs.h"
#include "core/Workspace.h"
#include "screens/ToolPage.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QStringList>
#include <QTest>
#include <QWidget>

#include <concepts>
#include <memory>

namespace ScreenParts {

template <typename S>
concept ToolScreen = requires(const S &s)
{
    {
        s.page()->content()
        } -> std::convertible_to<QWidget *>;
};

inline const QWidget *rootOf(const QWidget *widget)
{
    return widget;
}
template <ToolScreen S> const QWidget *rootOf(const S &screen)
{
    return screen.page()->content();
}

// What a part's visibility is judged against: the widget, or the screen's page.
inline const QWidget *frameOf(const QWidget *widget)
{
    return widget;
}
template <ToolScreen S> const QWidget *frameOf(const S &screen)
{
    return screen.page();
}

template <typename T = QWidget, typename Root> T *part(const Root &root, const char *name)
{
    const QWidget *r = rootOf(root);
    return r ? r->template findChild<T *>(QLatin1String(name)) : nullptr;
}

// A label's text; "<no name>" when there is no such label, so a comparison says which.
template <typename Root> QString labelText(const Root &root, const char *name)
{
    auto *label = part<QLabel>(root, name);
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

// A label's text, empty while it is hidden.
template <typename Root> QString shownText(const Root &root, const char *name)
{
    auto *label = part<QLabel>(root, name);
    if (!label)
        return QStringLiteral("<no %1>").arg(QLatin1String(name));
    return label->isVisibleTo(label->parentWidget()) ? label->text() : QString();
}

template <typename Root> bool shows(const Root &root, const char *name)
{
    auto *w = part(root, name);
    return w && w->isVisibleTo(frameOf(root));
}

// Of the buttons named `name`, the one whose "mode" property is `mode`.
template <typename Root, typename Mode>
QPushButton *modeButton(const Root &root, const char *name, Mode mode)
{
    const QWidget *r = rootOf(root);
    if (!r)
        return nullptr;
    for (auto *b : r->template findChildren<QPushButton *>(QLatin1String(name)))
        if (b->property("mode").toInt() == int(mode))
            return b;
    return nullptr;
}

inline void click(QWidget *widget)
{
    QTest::mouseClick(widget, Qt::LeftButton);
}

// A click on a toggle's box (the widget is wider than what takes clicks).
inline void toggle(QCheckBox *box, int x = 6)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(x, box->height() / 2));
}

// Waits until the job (or a screen's model's job) stops; false on the time limit.
template <typename J>
requires requires(const J &job)
{
    job.isRunning();
}
bool finish(const J &job, int timeoutMs = 120000)
{
    return QTest::qWaitFor([&] { return !job.isRunning(); }, timeoutMs);
}
template <typename S>
requires requires(const S &screen)
{
    screen.model().job();
}
bool finish(const S &screen, int timeoutMs = 120000)
{
    return finish(screen.model().job(), timeoutMs);
}

// A screen over its own workspace, whose dialogs follow a script.
template <typename S> struct Shown {
    Workspace ws;
    ScriptedDialogs dialogs;
    std::unique_ptr<S> screen;

    // Adds the files one by one, then makes the screen and shows it at
    // `size`; false when it never appears.
    bool open(const QStringList &paths, QSize size)
    {
        ws.setDialogs(&dialogs);
        for (const QString &path : paths)
            ws.add({path});
        screen = std::make_unique<S>(ws);
        screen->resize(size);
        screen->show();
        return QTest::qWaitForWindowExposed(screen.get());
    }
};

} // namespace ScreenParts
