#include "screens/QtDialogs.h"

#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QStandardPaths>
#include <QVBoxLayout>

namespace {
QString patterns(const QStringList &suffixes)
{
    QStringList list;
    for (const QString &s : suffixes)
        list << QStringLiteral("*.") + s << QStringLiteral("*.") + s.toUpper();
    return list.join(u' ');
}

QString startFolder()
{
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return documents.isEmpty() ? QDir::homePath() : documents;
}
} // namespace

QStringList QtDialogs::pictureSuffixes()
{
    return {QStringLiteral("jpg"),  QStringLiteral("jpeg"), QStringLiteral("png"),
            QStringLiteral("heic"), QStringLiteral("heif"), QStringLiteral("gif"),
            QStringLiteral("bmp"),  QStringLiteral("tif"),  QStringLiteral("tiff"),
            QStringLiteral("webp")};
}

std::optional<QString> QtDialogs::askSecret(const SecretPrompt &prompt)
{
    QDialog dialog(m_window ? m_window->window() : nullptr);
    dialog.setObjectName(QStringLiteral("secretPrompt"));
    dialog.setWindowTitle(QApplication::translate("QtDialogs", "Quirebook"));
    auto *outer = new QHBoxLayout(&dialog);
    outer->setContentsMargins(20, 20, 20, 16);
    outer->setSpacing(16);
    auto *symbol = new QLabel(&dialog);
    symbol->setPixmap(
        Symbols::pixmap(QStringLiteral("lock"), 40, Theme::accent(), dialog.devicePixelRatioF()));
    outer->addWidget(symbol, 0, Qt::AlignTop);
    auto *column = new QVBoxLayout;
    column->setSpacing(8);
    auto *message = Theme::label(prompt.message, Theme::Type::Headline, &dialog);
    column->addWidget(message);
    auto *informative = Theme::label(prompt.informative, Theme::Type::Body, &dialog);
    informative->setWordWrap(true);
    informative->setMaximumWidth(320);
    column->addWidget(informative);
    auto *field = new QLineEdit(&dialog);
    field->setObjectName(QStringLiteral("secretField"));
    field->setEchoMode(QLineEdit::Password);
    field->setFixedSize(260, 24);
    column->addWidget(field);
    auto *buttons = new QDialogButtonBox(&dialog);
    auto *accept = buttons->addButton(prompt.acceptTitle, QDialogButtonBox::AcceptRole);
    accept->setDefault(true);
    buttons->addButton(QApplication::translate("QtDialogs", "Cancel"),
                       QDialogButtonBox::RejectRole);
    column->addWidget(buttons);
    outer->addLayout(column);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    field->setFocus();
    const bool accepted = dialog.exec() == QDialog::Accepted;
    QString typed = field->text();
    field->clear();
    if (!accepted)
        return std::nullopt;
    return typed;
}

std::optional<QString> QtDialogs::savePDF(const QString &base, const QString &folder)
{
    QFileDialog panel(m_window ? m_window->window() : nullptr);
    panel.setAcceptMode(QFileDialog::AcceptSave);
    panel.setFileMode(QFileDialog::AnyFile);
    panel.setNameFilter(QApplication::translate("QtDialogs", "PDF documents (*.pdf)"));
    panel.setDefaultSuffix(QStringLiteral("pdf"));
    panel.setDirectory(folder.isEmpty() ? startFolder() : folder);
    panel.selectFile(base + QStringLiteral(".pdf"));
    if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty())
        return std::nullopt;
    QString chosen = panel.selectedFiles().first();
    // Some desktop panels don't add the suffix themselves.
    if (!chosen.endsWith(QLatin1String(".pdf"), Qt::CaseInsensitive))
        chosen += QStringLiteral(".pdf");
    return chosen;
}

QStringList QtDialogs::openFiles(bool images)
{
    QStringList filters;
    if (images)
        filters << QApplication::translate("QtDialogs", "PDFs and pictures (%1)")
                       .arg(patterns(QStringList{QStringLiteral("pdf")} + pictureSuffixes()));
    filters << QApplication::translate("QtDialogs", "PDF documents (%1)")
                   .arg(patterns({QStringLiteral("pdf")}));
    if (images)
        filters << QApplication::translate("QtDialogs", "Pictures (%1)")
                       .arg(patterns(pictureSuffixes()));
    QFileDialog panel(m_window ? m_window->window() : nullptr);
    panel.setAcceptMode(QFileDialog::AcceptOpen);
    panel.setFileMode(QFileDialog::ExistingFiles);
    panel.setNameFilters(filters);
    panel.setDirectory(startFolder());
    if (panel.exec() != QDialog::Accepted)
        return {};
    return panel.selectedFiles();
}

std::optional<QString> QtDialogs::openImage()
{
    QFileDialog panel(m_window ? m_window->window() : nullptr);
    panel.setAcceptMode(QFileDialog::AcceptOpen);
    panel.setFileMode(QFileDialog::ExistingFile);
    panel.setNameFilter(
        QApplication::translate("QtDialogs", "Pictures (%1)").arg(patterns(pictureSuffixes())));
    panel.setDirectory(QStandardPaths::writableLocation(QStandardPaths::PicturesLocation));
    if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty())
        return std::nullopt;
    return panel.selectedFiles().first();
}

bool QtDialogs::confirm(const Question &question)
{
    QMessageBox box(QMessageBox::Warning, question.title, question.title, QMessageBox::NoButton,
                    m_window ? m_window->window() : nullptr);
    box.setObjectName(QStringLiteral("question"));
    box.setInformativeText(question.text);
    QPushButton *accept = box.addButton(question.accept, QMessageBox::DestructiveRole);
    QPushButton *keep = box.addButton(question.keep, QMessageBox::RejectRole);
    box.setDefaultButton(keep);
    box.setEscapeButton(keep);
    box.exec();
    return box.clickedButton() == accept;
}
