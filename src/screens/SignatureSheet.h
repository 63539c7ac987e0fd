#pragma once

#include <QDialog>
#include <QImage>

#include <functional>
#include <memory>
#include <optional>

class Dialogs;

// The modal sheet that makes a new signature: drawn with the mouse, pen or
// finger, or taken from a photo with the paper removed, in the chosen ink.
class SignatureSheet : public QDialog {
    Q_OBJECT
public:
    struct Result {
        QImage image;         // the signature, transparent background
        bool remember = true; // "Remember on this computer"
    };

    explicit SignatureSheet(QWidget *parent = nullptr);
    ~SignatureSheet() override;

    // The signature as it stands (nothing while there is none).
    std::optional<QImage> signature() const;
    bool remember() const;

    // Shows the sheet modally; nothing when cancelled. Tests replace it.
    static std::optional<Result> ask(QWidget *parent);
    static std::function<std::optional<Result>(QWidget *)> &asker();

    // Where "Choose Picture…" asks for the photo (the workspace's dialogs);
    // without any, the sheet shows the window's own open panel.
    static void setDialogs(Dialogs *dialogs);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
