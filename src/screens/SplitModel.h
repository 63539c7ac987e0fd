#pragma once

#include "core/PageRanges.h"
#include "screens/ToolModel.h"
#include "tasks/Split.h"

#include <QObject>
#include <QString>

class Workspace;

// What the Split screen's controls hold and say, without the widgets: the
// mode, the typed ranges and the chunk size (kept while the screen lives,
// whichever file is chosen), the groups they make for the chosen file, the
// preview or the error, when "Split" may be pressed, and the job.
class SplitModel : public ToolModel {
    Q_OBJECT
public:
    explicit SplitModel(Workspace &workspace, QObject *parent = nullptr);

    Split::Mode mode() const { return m_request.mode; }
    void setMode(Split::Mode mode);
    QString rangeText() const { return m_request.ranges; }
    void setRangeText(const QString &text);
    // The chunk size as set; every() is what the chosen file allows.
    int chosenEvery() const { return m_request.every; }
    int every() const;
    void setEvery(int every);
    // The stepper's upper end: the chosen file's page count, at least 1.
    int everyMaximum() const;

    // The chosen file's page count (0 without one).
    int pageCount() const;
    PageRanges::Result groups() const;
    // "This will make 3 files: 1–3, 5, 8–10", or empty when there is nothing to make.
    QString preview() const;
    // The parser's message for typed ranges it can't take; empty otherwise
    // (and always for an empty field).
    QString error() const;
    bool canSplit() const;

    // Makes the result folder and starts the job.
    void split();

private:
    Split::Request m_request;
};
