// The Convert screen's bindings: the two modes and the pickers, a picture
// and a text run to the job bar, a destination that can't be settled, and
// what survives choosing another file. Names, sizes and outcome words of
// the work are checked in tests/tasks.
#include "screens/ConvertModel.h"
#include "screens/ConvertScreen.h"
#include "screens/Symbols.h"
#include "support/Fixtures.h"
#include "support/ScreenParts.h"

#include <QComboBox>
#include <QDir>
#include <QImageReader>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using namespace ScreenParts;
using Mode = Convert::Mode;

Q_DECLARE_METATYPE(Convert::Mode)

class TestConvertScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // The screen over the files (the first chosen), written into `folder` of m_dir.
    void open(Shown<ConvertScreen> &s, const QString &folder, const QStringList &names)
    {
        QDir(m_dir.path()).mkpath(folder);
        QStringList paths;
        for (const QString &name : names)
            paths << writeFile(m_dir.filePath(folder + u'/' + name), textPDF(2, name));
        QVERIFY(s.open(paths, {900, 640}));
    }

private Q_SLOTS:
    void initTestCase() { Symbols::installTheme(); }

    // The pickers and what each mode shows; pictures of the first file in
    // the chosen format and resolution (the folder made before the job
    // starts); another file: the job's result goes, the choices stay, and
    // the text run is for the file now chosen.
    void picturesAndText()
    {
        Shown<ConvertScreen> s;
        open(s, u"runs"_s, {u"A.pdf"_s, u"B.pdf"_s});
        const ConvertScreen &screen = *s.screen;
        QVERIFY(modeButton(screen, "convertMode", Mode::Images)->isChecked());
        for (const Mode mode : Convert::kModes)
            QCOMPARE(modeButton(screen, "convertMode", mode)->text(), Convert::label(mode));
        auto *format = part<QComboBox>(screen, "convertFormat");
        auto *quality = part<QComboBox>(screen, "convertQuality");
        QCOMPARE(format->count(), 2);
        QCOMPARE(format->currentIndex(), 0); // PNG
        const auto choices = Convert::resolutions();
        QCOMPARE(quality->count(), choices.size());
        QCOMPARE(quality->currentText(), choices[1].label); // 150 dpi
        for (int i = 0; i < choices.size(); ++i) {
            QCOMPARE(quality->itemText(i), choices[i].label);
            quality->setCurrentIndex(i);
            QCOMPARE(screen.model().dpi(), choices[i].dpi);
        }
        QCOMPARE(labelText(screen, "convertPicturesNote"), Convert::picturesNote());
        QCOMPARE(labelText(screen, "convertTextNote"), Convert::textNote());
        QCOMPARE(part<QPushButton>(screen, "savePicturesButton")->text(),
                 Convert::savePicturesTitle());
        QCOMPARE(part<QPushButton>(screen, "saveTextButton")->text(), Convert::saveTextTitle());
        for (const Mode mode : {Mode::Text, Mode::Images}) {
            click(modeButton(screen, "convertMode", mode));
            QCOMPARE(screen.model().mode(), mode);
            for (const char *name :
                 {"convertFormat", "convertQuality", "convertPicturesNote", "savePicturesButton"})
                QVERIFY2(shows(screen, name) == (mode == Mode::Images), name);
            for (const char *name : {"convertTextNote", "saveTextButton"})
                QVERIFY2(shows(screen, name) == (mode == Mode::Text), name);
        }

        format->setCurrentIndex(1);
        quality->setCurrentIndex(0);
        QCOMPARE(screen.model().format(), PDFOps::ImageFormat::Jpeg);
        auto *save = part<QPushButton>(screen, "savePicturesButton");
        click(save);
        const QString folder = m_dir.filePath(u"runs/A pictures"_s);
        QVERIFY(QFileInfo(folder).isDir());
        QVERIFY(!save->isEnabled());
        QCOMPARE(labelText(screen, "jobText"), u"Saving…"_s);
        QVERIFY(finish(screen));
        QCOMPARE(labelText(screen, "jobTitle"), u"Saved 2 pictures"_s);
        QVERIFY(save->isEnabled());
        QImageReader reader(folder + u"/A page 2.jpg"_s);
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        QVERIFY2(qAbs(reader.size().width() - 612) <= 1, // 612 points at 72 dpi
                 qPrintable(QString::number(reader.size().width())));

        click(modeButton(screen, "convertMode", Mode::Text));
        s.ws.select(s.ws.pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QTRY_VERIFY(screen.page()->content() && !shows(screen, "jobBar"));
        QVERIFY(modeButton(screen, "convertMode", Mode::Text)->isChecked());
        QCOMPARE(part<QComboBox>(screen, "convertFormat")->currentIndex(), 1);
        QCOMPARE(part<QComboBox>(screen, "convertQuality")->currentIndex(), 0);
        click(part<QPushButton>(screen, "saveTextButton"));
        QCOMPARE(labelText(screen, "jobText"), u"Reading…"_s);
        QVERIFY(finish(screen));
        QCOMPARE(labelText(screen, "jobTitle"), u"Saved “B.txt”"_s);
    }

    // The source's folder has gone after the file was opened: each mode's
    // destination fails and the job bar says so at once.
    void noFolder_data()
    {
        QTest::addColumn<Mode>("mode");
        QTest::addColumn<QString>("message");
        QTest::newRow("pictures") << Mode::Images
                                  << "Quirebook can't write next to “Report.pdf”. Copy the file to "
                                     "your Desktop or Documents first.";
        QTest::newRow("text") << Mode::Text << Convert::noFolderText();
    }
    void noFolder()
    {
        QFETCH(Mode, mode);
        const QString folder = u"gone "_s + QString::fromLatin1(QTest::currentDataTag());
        Shown<ConvertScreen> s;
        open(s, folder, {u"Report.pdf"_s});
        QVERIFY(QDir(m_dir.filePath(folder)).removeRecursively());
        click(modeButton(*s.screen, "convertMode", mode));
        click(part<QPushButton>(*s.screen,
                                mode == Mode::Images ? "savePicturesButton" : "saveTextButton"));
        QVERIFY(shows(*s.screen, "jobBar"));
        QTEST(labelText(*s.screen, "jobTitle"), "message");
    }
};

QTEST_MAIN(TestConvertScreen)
#include "tst_convertscreen.moc"
