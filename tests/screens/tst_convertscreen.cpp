// The Convert screen: its two modes and pickers, picture and text runs
// through the screen down to the files on disk, the failures it words,
// and what survives choosing another file.
#include "ConvertModel.h"
#include "ConvertScreen.h"
#include "Fixtures.h"
#include "Symbols.h"
#include "ToolPage.h"
#include "Workspace.h"

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

namespace {
template <typename T> T *part(const ConvertScreen &screen, const char *name)
{
    QWidget *content = screen.page()->content();
    return content ? content->findChild<T *>(QLatin1String(name)) : nullptr;
}

QString text(const ConvertScreen &screen, const char *name)
{
    auto *label = part<QLabel>(screen, name);
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

bool shows(const ConvertScreen &screen, const char *name)
{
    auto *w = part<QWidget>(screen, name);
    return w && w->isVisibleTo(screen.page());
}

QPushButton *modeButton(const ConvertScreen &screen, Mode mode)
{
    for (auto *b :
         screen.page()->content()->findChildren<QPushButton *>(QStringLiteral("convertMode")))
        if (b->property("mode").toInt() == int(mode))
            return b;
    return nullptr;
}

QStringList everything(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::Dirs | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

bool finish(const ConvertScreen &screen)
{
    return QTest::qWaitFor([&] { return !screen.model().job().isRunning(); }, 120000);
}
} // namespace

class TestConvertScreen : public QObject {
    Q_OBJECT

    void showScreen(ConvertScreen &screen)
    {
        screen.resize(900, 640);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
    }

private Q_SLOTS:
    void initTestCase() { Symbols::installTheme(); }

    void modesAndPickers()
    {
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("Report.pdf")), textPDF(2))});
        ConvertScreen screen(ws);
        showScreen(screen);
        QVERIFY(modeButton(screen, Mode::Images)->isChecked());
        for (const Mode mode : Convert::kModes)
            QCOMPARE(modeButton(screen, mode)->text(), Convert::label(mode));
        auto *format = part<QComboBox>(screen, "convertFormat");
        auto *quality = part<QComboBox>(screen, "convertQuality");
        QStringList formats, qualities;
        for (int i = 0; i < format->count(); ++i)
            formats << format->itemText(i);
        for (int i = 0; i < quality->count(); ++i)
            qualities << quality->itemText(i);
        QCOMPARE(formats, (QStringList{"PNG", "JPEG"}));
        QCOMPARE(format->currentText(), QStringLiteral("PNG"));
        QCOMPARE(qualities, (QStringList{"Screen (72 dpi)", "Good (150 dpi)", "Print (300 dpi)"}));
        QCOMPARE(quality->currentText(), QStringLiteral("Good (150 dpi)"));
        QCOMPARE(text(screen, "convertPicturesNote"), Convert::picturesNote());
        QCOMPARE(text(screen, "convertTextNote"), Convert::textNote());
        QCOMPARE(part<QPushButton>(screen, "savePicturesButton")->text(),
                 Convert::savePicturesTitle());
        QCOMPARE(part<QPushButton>(screen, "saveTextButton")->text(), Convert::saveTextTitle());

        for (const Mode mode : {Mode::Text, Mode::Images}) {
            QTest::mouseClick(modeButton(screen, mode), Qt::LeftButton);
            QCOMPARE(screen.model().mode(), mode);
            for (const char *name :
                 {"convertFormat", "convertQuality", "convertPicturesNote", "savePicturesButton"})
                QVERIFY2(shows(screen, name) == (mode == Mode::Images), name);
            for (const char *name : {"convertTextNote", "saveTextButton"})
                QVERIFY2(shows(screen, name) == (mode == Mode::Text), name);
            QVERIFY(!shows(screen, "jobBar"));
        }
    }

    // The chosen format and resolution reach the pictures; the folder is
    // made before the job starts.
    void pictures_data()
    {
        QTest::addColumn<int>("format");  // index in the picker
        QTest::addColumn<int>("quality"); // index in the picker
        QTest::addColumn<int>("width");   // pixels of a 612-point-wide page
        QTest::newRow("PNG, print") << 0 << 2 << 2550;
        QTest::newRow("PNG, screen") << 0 << 0 << 612;
        QTest::newRow("JPEG, good") << 1 << 1 << 1275;
    }
    void pictures()
    {
        QFETCH(int, format);
        QFETCH(int, quality);
        QFETCH(int, width);
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("Report.pdf")), textPDF(2))});
        ConvertScreen screen(ws);
        showScreen(screen);
        part<QComboBox>(screen, "convertFormat")->setCurrentIndex(format);
        part<QComboBox>(screen, "convertQuality")->setCurrentIndex(quality);
        QCOMPARE(int(screen.model().format()), format);
        auto *save = part<QPushButton>(screen, "savePicturesButton");
        QTest::mouseClick(save, Qt::LeftButton);
        const QString folder = dir.filePath(QStringLiteral("Report pictures"));
        QVERIFY(QFileInfo(folder).isDir());
        QVERIFY(!save->isEnabled());
        QCOMPARE(text(screen, "jobText"), QStringLiteral("Saving…"));
        QVERIFY(finish(screen));
        QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved 2 pictures"));
        QVERIFY(save->isEnabled());
        const QString last = QStringLiteral("Report page 2.") + (format == 0 ? "png" : "jpg");
        QCOMPARE(
            everything(folder),
            (QStringList{QStringLiteral("Report page 1.") + (format == 0 ? "png" : "jpg"), last}));
        QImageReader reader(folder + u'/' + last);
        QCOMPARE(reader.format(), format == 0 ? QByteArray("png") : QByteArray("jpeg"));
        QVERIFY2(qAbs(reader.size().width() - width) <= 1,
                 qPrintable(QString::number(reader.size().width())));
        QCOMPARE(everything(dir.path()), (QStringList{"Report pictures", "Report.pdf"}));
    }

    // The source's folder has gone after the file was opened: each mode
    // says so at once, and nothing is made.
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
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("in")));
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("in/Report.pdf")), textPDF(2))});
        ConvertScreen screen(ws);
        showScreen(screen);
        QVERIFY(QDir(dir.path()).rename(QStringLiteral("in"), QStringLiteral("moved")));
        QTest::mouseClick(modeButton(screen, mode), Qt::LeftButton);
        QTest::mouseClick(part<QPushButton>(screen, mode == Mode::Images ? "savePicturesButton"
                                                                         : "saveTextButton"),
                          Qt::LeftButton);
        QCOMPARE(screen.model().job().state(), Job::State(Job::Failed{message}));
        QVERIFY(shows(screen, "jobBar"));
        QCOMPARE(text(screen, "jobTitle"), message);
        QCOMPARE(everything(dir.path()), QStringList{"moved"});
        QCOMPARE(everything(dir.filePath(QStringLiteral("moved"))), QStringList{"Report.pdf"});
    }

    // Another file: the job's result goes, the choices stay, and the next
    // run is for the file now chosen.
    void choosingAnotherFile()
    {
        QTemporaryDir dir;
        Workspace ws;
        ws.add(
            {writeFile(dir.filePath(QStringLiteral("A.pdf")), textPDF(2, QStringLiteral("Alpha"))),
             writeFile(dir.filePath(QStringLiteral("B.pdf")), textPDF(1, QStringLiteral("Beta")))});
        ws.select(ws.pdfs().first().id);
        ConvertScreen screen(ws);
        showScreen(screen);
        part<QComboBox>(screen, "convertFormat")->setCurrentIndex(1);
        part<QComboBox>(screen, "convertQuality")->setCurrentIndex(2);
        QTest::mouseClick(modeButton(screen, Mode::Text), Qt::LeftButton);
        QTest::mouseClick(part<QPushButton>(screen, "saveTextButton"), Qt::LeftButton);
        QCOMPARE(text(screen, "jobText"), QStringLiteral("Reading…"));
        QVERIFY(finish(screen));
        QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “A.txt”"));
        QCOMPARE(text(screen, "jobDetail"), QStringLiteral("4 words."));
        QCOMPARE(readFile(dir.filePath(QStringLiteral("A.txt"))), QByteArray("Alpha 1\n\fAlpha 2"));

        ws.select(ws.pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QTRY_VERIFY(screen.page()->content() && !shows(screen, "jobBar"));
        QVERIFY(modeButton(screen, Mode::Text)->isChecked());
        QVERIFY(shows(screen, "saveTextButton"));
        QCOMPARE(part<QComboBox>(screen, "convertFormat")->currentText(), QStringLiteral("JPEG"));
        QCOMPARE(part<QComboBox>(screen, "convertQuality")->currentText(),
                 QStringLiteral("Print (300 dpi)"));
        QCOMPARE(screen.model().dpi(), 300.0);

        QTest::mouseClick(part<QPushButton>(screen, "saveTextButton"), Qt::LeftButton);
        QVERIFY(finish(screen));
        QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “B.txt”"));
    }
};

QTEST_MAIN(TestConvertScreen)
#include "tst_convertscreen.moc"
