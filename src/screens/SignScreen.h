#pragma once

#include "core/PDFFile.h"
#include "engine/Placement.h"
#include "screens/ToolModel.h"
#include "signing/SignatureStore.h"

#include <QList>
#include <QWidget>

class QFrame;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class SignModel;
class SignPageArea;
class ToolPage;
class Workspace;

// The save of the Sign & Stamp screen: the placements taken when the person
// saves, drawn into "<name> signed.pdf" beside the chosen file.
class SignSaveModel : public ToolModel {
    Q_OBJECT
public:
    explicit SignSaveModel(Workspace &workspace, QObject *parent = nullptr);

    // False when nothing started (nothing placed, running, no place given).
    bool save(const QList<Placement> &placements);
};

// The Sign & Stamp tool. The stamps live in one SignModel for the screen's
// lifetime; each chosen file shows a SignBody over it, which loads it (the
// same file keeps its stamps, another starts over).
class SignView : public QWidget {
    Q_OBJECT
public:
    explicit SignView(Workspace &workspace, QWidget *parent = nullptr);

    SignModel &model() const { return *m_model; }
    SignSaveModel &saver() const { return *m_saver; }
    ToolPage *page() const { return m_page; }

private:
    SignModel *m_model = nullptr;
    SignSaveModel *m_saver = nullptr;
    ToolPage *m_page = nullptr;
};

// The toolbar, the shown page with its stamps, the count and the save.
class SignBody : public QWidget {
    Q_OBJECT
public:
    SignBody(Workspace &workspace, SignModel &model, SignSaveModel &saver, const PDFFile &file,
             QWidget *parent = nullptr);

    SignPageArea *pageArea() const { return m_area; }
    // The text popover (a popup window of its own).
    QFrame *textPopover() const { return m_popover; }

    // "Add a signature or some text, …" or "2 items placed. …".
    static QString summary(int placed);

private:
    void refresh();
    void listSaved();
    void fillSignatureMenu();
    void newSignature();
    void showTextPopover();
    void addText();
    void addDate();
    void addPicture();
    void showPage(int delta);

    Workspace &m_ws;
    SignModel &m_model;
    SignSaveModel &m_saver;
    PDFFile m_file;
    QList<SignatureStore::Saved> m_saved;

    QMenu *m_signatureMenu = nullptr;
    QPushButton *m_textButton = nullptr;
    QPushButton *m_remove = nullptr;
    QPushButton *m_previous = nullptr;
    QPushButton *m_next = nullptr;
    QLabel *m_pageLabel = nullptr;
    QFrame *m_popover = nullptr;
    QLineEdit *m_text = nullptr;
    QPushButton *m_add = nullptr;
    SignPageArea *m_area = nullptr;
    QLabel *m_summary = nullptr;
    QPushButton *m_save = nullptr;
};
