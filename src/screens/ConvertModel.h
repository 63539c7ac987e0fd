#pragma once

#include "Convert.h"
#include "Job.h"
#include "ToolModel.h"

#include <QObject>
#include <QUuid>

#include <optional>

class Workspace;

// The Convert screen without its widgets: what to make (pictures or text),
// the picture format and resolution, and the job, for the chosen file.
// The choices last as long as the screen; the job goes back to idle
// whenever another file is chosen.
class ConvertModel : public ToolModel {
    Q_OBJECT
public:
    explicit ConvertModel(Workspace &workspace, QObject *parent = nullptr);


    Convert::Mode mode() const { return m_mode; }
    PDFOps::ImageFormat format() const { return m_format; }
    double dpi() const { return m_dpi; }
    void setMode(Convert::Mode mode);
    void setFormat(PDFOps::ImageFormat format);
    void setDpi(double dpi);

    // A chosen file and no job running.
    bool canSave() const;

    // Every page as a picture in a new "<name> pictures" folder. When the
    // folder can't be made, the job shows why and nothing runs.
    bool savePictures();
    // All the text in "<name>.txt" beside the source.
    bool saveText();

private:

    Convert::Mode m_mode = Convert::Mode::Images;
    PDFOps::ImageFormat m_format = PDFOps::ImageFormat::Png;
    double m_dpi = Convert::kDefaultDpi;
};
