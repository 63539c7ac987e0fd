#pragma once

#include "screens/ToolModel.h"
#include "tasks/MakeSearchable.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class Workspace;

// What the Make Searchable screen holds and says, without the widgets:
// whether pages that already have text are skipped, which languages are
// read besides English (remembered for the next run), when "Make
// Searchable" may be pressed, and the sequence destination → job.
class SearchableModel : public ToolModel {
    Q_OBJECT
public:
    explicit SearchableModel(Workspace &workspace, QObject *parent = nullptr);

    bool skip() const { return m_request.skipPagesWithText; }
    void setSkip(bool skip);

    // The picker's entries: "English", then "English and German" for each
    // other installed language.
    struct Language {
        QString label;
        QStringList extra; // the codes read besides English
    };
    const QList<Language> &languages() const { return m_languages; }
    int languageIndex() const { return m_languageIndex; }
    // Chooses an entry and remembers it for the next run and screen.
    void setLanguageIndex(int index);

    bool canStart() const;
    // Finds where the copy goes (asking when the source's folder can't be
    // written) and starts the job; nothing when no place was given.
    void start();

private:
    MakeSearchable::Request m_request;
    QList<Language> m_languages;
    int m_languageIndex = 0;
};
