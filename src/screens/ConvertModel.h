#pragma once

#include "screens/ToolModel.h"
#include "tasks/Convert.h"

#include <QObject>

class Workspace;

// The Convert screen without its widgets: what to make (pictures or text),
// the picture format and resolution, and the job, for the chosen file.
// The choices last as long as the screen; the job goes back to idle
// whenever another file is chosen.
class ConvertModel : public ToolModel {
    Q_OBJECT
public:
    explicit ConvertModel(Workspace &workspace, QObject *parent = nullptr);

    Convert::Mode mode() const { return m_request.mode; }
    PDFOps::ImageFormat format() const { return m_request.format; }
    double dpi() const { return m_request.dpi; }
    void setMode(Convert::Mode mode);
    void setFormat(PDFOps::ImageFormat format);
    void setDpi(double dpi);

    // A chosen file and no job running.
    bool canSave() const;

    // What the mode makes: every page as a picture in a new "<name>
    // pictures" folder, or all the text in "<name>.txt" beside the source.
    // When that place can't be had, the job shows why and nothing runs.
    bool save();

private:
    Convert::Request m_request;
};
