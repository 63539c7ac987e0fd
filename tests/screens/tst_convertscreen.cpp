// The Convert screen's bindings: the two modes and the pickers, a picture
// and a text run to the job bar, a destination that can't be settled, and
// what survives choosing another file. Names, sizes and outcome words of
// the work are checked in tests/tasks.
#include "core/Workspace.h"
#include "screens/ConvertModel.h"
#include "screens/ConvertScreen.h"
#include "screens/Symbols.h"
#include "screens/ToolPage.h"
#include "support/Fixtures.h"
#include "support/ScreenParts.h"

#include <QComboBox>
#include <QDir>
#include <QImageReader>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using Mode = Convert::Mode;

Q_DECLARE_METATYPE(Convert::Mode)

using namespace ScreenParts;

class TestConvertScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // Shows the screen for the files (the first chosen), written into `folder` of m_dir.
    std::unique_ptr<ConvertScreen> screenFor(Workspace &ws, const QString &folder,
                                             const QStringList &names)
    {
        QDir(m_dir.path()).mkpath(folder);
        for (const QString &name : names)
            ws.add({writeFile(m_dir.filePath(folder + u'/' + name), textPDF(2, name))});
        ws.select(ws.pdfs().first().id);
        auto screen = std::make_unique<ConvertScreen>(ws);
        screen->resize(900, 640);
        screen->show();
        return screen;
    }

private Q_SLOTS:
    void initTestCase() { Symbols::installTheme(); }

    void modesAndPickers()
    {
        Workspace ws;
        const auto screen = screenFor(ws, QStringLiteral("modes"), {QStringLiteral("Report.pdf")});
        QVERIFY(modeButton(*screen, "convertMode", Mode::Images)->isChecked());
        for (const Mode mode : Convert::kModes)
            QCOMPARE(modeButton(*screen, "convertMode", mode)->text(), Convert::label(mode));
        auto *format = part<QComboBox>(*screen, "convertFormat");
        auto *quality = part<QComboBox>(*screen, "convertQuality");
        QCOMPARE((QStringList{format->itemText(0), format->itemText(1)}),
                 (QStringList{"PNG", "JPEG"}));
        QCOMPARE(format->count(), 2);
        QCOMPARE(format->currentText(), QStringLiteral("PNG"));
        QCOMPARE(quality->currentText(), QStringLiteral("Good (150 dpi)"));
        const auto choices = Convert::resolutions();
        QCOMPARE(quality->count(), choices.size());
        for (int i = 0; i < choices.size(); ++i) {
            QCOMPARE(quality->itemText(i), choices[i].label);
            quality->setCurrentIndex(i);
            QCOMPARE(screen->model().dpi(), choices[i].dpi);
        }
        QCOMPARE(labelText(*screen, "convertPicturesNote"), Convert::picturesNote());
        QCOMPARE(labelText(*screen, "convertTextNote"), Convert::textNote());
        QCOMPARE(part<QPushButton>(*screen, "savePicturesButton")->text(),
                 Convert::savePicturesTitle());
        QCOMPARE(part<QPushButton>(*screen, "saveTextButton")->text(), Convert::saveTextTitle());

        for (const Mode mode : {Mode::Text, Mode::Images}) {
            click(modeButton(*screen, "convertMode", mode));
            QCOMPARE(screen->model().mode(), mode);
            for (const char *name :
                 {"convertFormat", "convertQuality", "convertPicturesNote", "savePicturesButton"})
                QVERIFY2(shows(*screen, name) == (mode == Mode::Images), name);
            for (const char *name : {"convertTextNote", "saveTextButton"})
                QVERIFY2(shows(*screen, name) == (mode == Mode::Text), name);
        }
    }

    // Pictures of the first file in the chosen format and resolution (the
    // folder made before the job starts); another file: the job's result
    // goes, the choices stay, and the text run is for the file now chosen.
    void runsAndAnotherFile()
    {
        Workspace ws;
        const auto screen = screenFor(ws, QStringLiteral("runs"),
                                      {QStringLiteral("A.pdf"), QStringLiteral("B.pdf")});
        part<QComboBox>(*screen, "convertFormat")->setCurrentIndex(1);
        part<QComboBox>(*screen, "convertQuality")->setCurrentIndex(0);
        QCOMPARE(screen->model().format(), PDFOps::ImageFormat::Jpeg);
        auto *save = part<QPushButton>(*screen, "savePicturesButton");
        click(save);
        const QString folder = m_dir.filePath(QStringLiteral("runs/A pictures"));
        QVERIFY(QFileInfo(folder).isDir());
        QVERIFY(!save->isEnabled());
        QCOMPARE(labelText(*screen, "jobText"), QStringLiteral("Saving…"));
        QVERIFY(finish(*screen));
        QCOMPARE(labelText(*screen, "jobTitle"), QStringLiteral("Saved 2 pictures"));
        QVERIFY(save->isEnabled());
        QImageReader reader(folder + QStringLiteral("/A page 2.jpg"));
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        QVERIFY2(qAbs(reader.size().width() - 612) <= 1, // 612 points at 72 dpi
                 qPrintable(QString::number(reader.size().width())));

        click(modeButton(*screen, "convertMode", Mode::Text));
        ws.select(ws.pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen->model().job().state()));
        QTRY_VERIFY(screen->page()->content() && !shows(*screen, "jobBar"));
        QVERIFY(modeButton(*screen, "convertMode", Mode::Text)->isChecked());
        QVERIFY(shows(*screen, "saveTextButton"));
        QCOMPARE(part<QComboBox>(*screen, "convertFormat")->currentText(), QStringLiteral("JPEG"));
        QCOMPARE(part<QComboBox>(*screen, "convertQuality")->currentIndex(), 0);
        click(part<QPushButton>(*screen, "saveTextButton"));
        QCOMPARE(labelText(*screen, "jobText"), QStringLiteral("Reading…"));
        QVERIFY(finish(*screen));
        QCOMPARE(labelText(*screen, "jobTitle"), QStringLiteral("Saved “B.txt”"));
    }

    // The source's folder has gone after the file was opened: each mode's
    // destination fails and the job bar says so at once.
    void noFolder_data()
    {
        QTest::addColumn<Mode>("mode");
        QTest::addColumn<QString>("message");
        QTest::newRow("pictures")
            << Mode::Images
            << "Quirebook can't write next to “Report.pdf”. Copy the file to your "
               "Desktop or Documents first.";
        QTest::newRow("text") << Mode::Text << Convert::noFolderText();
    }
    void noFolder()
    {
        QFETCH(Mode, mode);
        QFETCH(QString, message);
        const QString folder =
            QStringLiteral("gone ") + QString::fromLatin1(QTest::currentDataTag());
        Workspace ws;
        const auto screen = screenFor(ws, folder, {QStringLiteral("Report.pdf")});
        QVERIFY(QDir(m_dir.filePath(folder)).removeRecursively());
        click(modeButton(*screen, "convertMode", mode));
        QTest::mouseClick(part<QPushButton>(*screen, mode == Mode::Images ? "savePicturesButton"
                                                                          : "saveTextButton"),
                          Qt::LeftButton);
        QVERIFY(shows(*screen, "jobBar"));
        QCOMPARE(labelText(*screen, "jobTitle"), message);
    }
};

QTEST_MAIN(TestConvertScreen)
#include "tst_convertscreen.moc"
