#pragma once

#include "screens/ToolModel.h"
#include "tasks/Compress.h"

#include <QObject>
#include <QString>

class Workspace;

// What the Compress screen holds and says, without the widgets: the chosen
// level (kept for every later run), the current size, when "Compress" may
// be pressed, and the sequence destination → job.
class CompressModel : public ToolModel {
    Q_OBJECT
public:
    explicit CompressModel(Workspace &workspace, QObject *parent = nullptr);

    CompressionLevel level() const { return m_request.level; }
    void setLevel(CompressionLevel level);

    // "Current size: 1.2 MB" for the chosen file; empty without one.
    QString currentSize() const;
    bool canCompress() const;

    // Finds where the copy goes (asking when the source's folder can't be
    // written) and starts the job; nothing when no place was given.
    void compress();

private:
    Compress::Request m_request;
};
