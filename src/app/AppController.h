#pragma once

#include "core/Workspace.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <memory>

#include <QMainWindow>
class QtDialogs;
class RootView;

// The window application: owns the one workspace for the life of the
// process, the menu bar and the single main window; routes files from the
// command line, a later start and "Open…" into the workspace; runs the
// snapshot mode.
class AppController : public QObject {
    Q_OBJECT
public:
    explicit AppController(QObject *parent = nullptr);
    ~AppController() override;

    Workspace &workspace() { return m_workspace; }
    // Other answers to the program's questions than the Qt dialogs (tests).
    void setDialogs(Dialogs *dialogs);
    QMainWindow *window() const { return m_window; }
    RootView *rootView() const;

    // Menu, window, the files given, then the snapshot mode when
    // QUIREBOOK_SNAPSHOTS is set.
    void launch(const QStringList &files);
    // Creates the window once; later calls bring it to the front.
    void showWindow();
    // Files from outside: the window first, then the files in their order.
    void open(const QStringList &paths);
    // "Open…": the open panel, pictures allowed.
    void openDocument();

    // Writes "<folder>/0-empty.png", then with QUIREBOOK_FILES opened, one
    // "1-<tool>.png" per tool, and quits.
    void startSnapshots(const QString &folder);

    // The window's remembered frame lives under this settings key.
    static constexpr const char *kFrameKey = "QuirebookMain";

Q_SIGNALS:
    void snapshotsFinished();

private:
    // Closing while work runs asks first; "Stop and Close" stops it and
    // closes the window once every work has ended.
    bool mayCloseWindow();
    void buildMenu();
    void about();
    void forwardToFocus(const char *method);

    Workspace m_workspace;
    std::unique_ptr<QtDialogs> m_dialogs;
    QPointer<QMainWindow> m_window;
    bool m_menuBuilt = false;
    bool m_stopping = false;
    QMetaObject::Connection m_whenStopped;
};
