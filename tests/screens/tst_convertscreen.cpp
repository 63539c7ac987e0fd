// The Convert screen: its two modes and pickers, picture and text runs
// through the screen down to the files on disk, the failures it words,
// and what survives choosing another file.
#include "ConvertModel.h"
#include "ConvertScreen.h"
#include "Fixtures.h"
#include "Symbols.h"
#include "ToolPage.h"
#include "Workspace.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {
template <typename T>
T *part(const ConvertScreen &screen, const char *name)
{
    QWidget *content = screen.page()->content();
    return content ? content->findChild<T *>(QLatin1String(name)) : nullptr;
}

QString text(const ConvertScreen &screen, const char *name)
{
    auto *label = part<QLabel>(screen, name);
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

// With QUIREBOOK_SNAPSHOTS set, keeps a picture of the screen in that folder.
void snapshot(ConvertScreen &screen, const QString &name)
{
    const QString folder = qEnvironmentVariable("QUIREBOOK_SNAPSHOTS");
    if (folder.isEmpty() || !QDir().mkpath(folder))
        return;
    QTest::qWait(100); // let pending layouts settle
    screen.grab().save(QDir(folder).filePath(name + QStringLiteral(".png")), "PNG");
}

bool shows(const ConvertScreen &screen, const char *name)
{
    auto *w = part<QWidget>(screen, name);
    return w && w->isVisibleTo(screen.page());
}

QPushButton *modeButton(const ConvertScreen &screen, Convert::Mode mode)
{
    for (auto *b : screen.page()->content()->findChildren<QPushButton *>(QStringLiteral("convertMode")))
        if (b->property("mode").toInt() == int(mode))
            return b;
    return nullptr;
}

QStringList items(QComboBox *box)
{
    QStringList list;
    for (int i = 0; i < box->count(); ++i)
        list << box->itemText(i);
    return list;
}

QStringList everything(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::Dirs | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

QByteArray textPages(const QStringList &texts)
{
    DocSpec layout;
    for (const QString &t : texts) {
        PageSpec page;
        page.text = t;
        layout.pages << page;
    }
    return makePDF(layout);
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

    void modes_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<QStringList>("hidden");
        QTest::newRow("pictures") << int(Convert::Mode::Images)
                                  << QStringList{"convertFormat", "convertQuality", "convertPicturesNote",
                                                 "savePicturesButton"}
                                  << QStringList{"convertTextNote", "saveTextButton", "jobBar"};
        QTest::newRow("text") << int(Convert::Mode::Text)
                              << QStringList{"convertTextNote", "saveTextButton"}
                              << QStringList{"convertFormat", "convertQuality", "convertPicturesNote",
                                             "savePicturesButton", "jobBar"};
    }
    void modes()
    {
        QFETCH(int, mode);
        QFETCH(QStringList, shown);
        QFETCH(QStringList, hidden);
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("Report.pdf")), textPDF(2))});
        ConvertScreen screen(ws);
        showScreen(screen);
        QVERIFY(modeButton(screen, Convert::Mode::Images)->isChecked());
        QCOMPARE(modeButton(screen, Convert::Mode::Images)->text(), QStringLiteral("Pictures"));
        QCOMPARE(modeButton(screen, Convert::Mode::Text)->text(), QStringLiteral("Text"));

        QTest::mouseClick(modeButton(screen, Convert::Mode(mode)), Qt::LeftButton);
        QCOMPARE(int(screen.model().mode()), mode);
        for (const QString &name : shown)
            QVERIFY2(shows(screen, qPrintable(name)), qPrintable(name));
        for (const QString &name : hidden)
            QVERIFY2(!shows(screen, qPrintable(name)), qPrintable(name));

        auto *format = part<QComboBox>(screen, "convertFormat");
        auto *quality = part<QComboBox>(screen, "convertQuality");
        QCOMPARE(items(format), (QStringList{"PNG", "JPEG"}));
        QCOMPARE(format->currentText(), QStringLiteral("PNG"));
        QCOMPARE(items(quality), (QStringList{"Screen (72 dpi)", "Good (150 dpi)", "Print (300 dpi)"}));
        QCOMPARE(quality->currentText(), QStringLiteral("Good (150 dpi)"));
        QCOMPARE(text(screen, "convertPicturesNote"),
                 QStringLiteral("Every page becomes one picture, saved together in a new folder."));
        QCOMPARE(text(screen, "convertTextNote"),
                 QStringLiteral("Saves all the text in the PDF as a plain text file."));
        QCOMPARE(part<QPushButton>(screen, "savePicturesButton")->text(), QStringLiteral("Save Pictures"));
        QCOMPARE(part<QPushButton>(screen, "saveTextButton")->text(), QStringLiteral("Save Text"));
    }

    void pictures_data()
    {
        QTest::addColumn<int>("pages");
        QTest::addColumn<int>("format");  // index in the picker
        QTest::addColumn<int>("quality"); // index in the picker
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("last");
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("width"); // pixels of a 612-point-wide page
        QTest::newRow("one page, print") << 1 << 0 << 2 << "Report page 1.png" << "Report page 1.png"
                                         << "Saved 1 picture" << 2550;
        QTest::newRow("three pages, screen") << 3 << 0 << 0 << "Report page 1.png" << "Report page 3.png"
                                             << "Saved 3 pictures" << 612;
        QTest::newRow("ten pages, JPEG") << 10 << 1 << 1 << "Report page 01.jpg" << "Report page 10.jpg"
                                         << "Saved 10 pictures" << 1275;
    }
    void pictures()
    {
        QFETCH(int, pages);
        QFETCH(int, format);
        QFETCH(int, quality);
        QFETCH(QString, first);
        QFETCH(QString, last);
        QFETCH(QString, title);
        QFETCH(int, width);
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Report.pdf")), textPDF(pages));
        Workspace ws;
        ws.add({source});
        ConvertScreen screen(ws);
        showScreen(screen);
        part<QComboBox>(screen, "convertFormat")->setCurrentIndex(format);
        part<QComboBox>(screen, "convertQuality")->setCurrentIndex(quality);
        QCOMPARE(int(screen.model().format()), format);

        auto *save = part<QPushButton>(screen, "savePicturesButton");
        QTest::mouseClick(save, Qt::LeftButton);
        // The folder is there before the first picture.
        const QString folder = dir.filePath(QStringLiteral("Report pictures"));
        QVERIFY(QFileInfo(folder).isDir());
        QVERIFY(!save->isEnabled() || !screen.model().job().isRunning());
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 120000);

        QCOMPARE(text(screen, "jobTitle"), title);
        QCOMPARE(text(screen, "jobDetail"), QStringLiteral("In the folder “Report pictures”."));
        QVERIFY(shows(screen, "jobShow"));
        QVERIFY(save->isEnabled());
        snapshot(screen, QStringLiteral("convert-done"));
        const QStringList written = everything(folder);
        QCOMPARE(written.size(), pages);
        QCOMPARE(written.first(), first);
        QCOMPARE(written.last(), last);
        QImageReader reader(folder + u'/' + last);
        QCOMPARE(reader.format(), format == 0 ? QByteArray("png") : QByteArray("jpeg"));
        QVERIFY2(qAbs(reader.size().width() - width) <= 1, qPrintable(QString::number(reader.size().width())));
        QCOMPARE(everything(dir.path()), (QStringList{"Report pictures", "Report.pdf"}));
    }

    void textTwice()
    {
        QTemporaryDir dir;
        const QString source =
            writeFile(dir.filePath(QStringLiteral("Report.pdf")), textPages({"Hello world", "Second  page here"}));
        Workspace ws;
        ws.add({source});
        ConvertScreen screen(ws);
        showScreen(screen);
        QTest::mouseClick(modeButton(screen, Convert::Mode::Text), Qt::LeftButton);
        for (const QString &name : {QStringLiteral("Report.txt"), QStringLiteral("Report 2.txt")}) {
            QTest::mouseClick(part<QPushButton>(screen, "saveTextButton"), Qt::LeftButton);
            QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
            QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “%1”").arg(name));
            QCOMPARE(text(screen, "jobDetail"), QStringLiteral("5 words."));
            QFile written(dir.filePath(name));
            QVERIFY(written.open(QIODevice::ReadOnly));
            const QString contents = QString::fromUtf8(written.readAll());
            QVERIFY2(contents.startsWith(QStringLiteral("Hello world")), qPrintable(contents));
            QVERIFY2(contents.endsWith(QStringLiteral("here")), qPrintable(contents));
        }
        QCOMPARE(everything(dir.path()), (QStringList{"Report 2.txt", "Report.pdf", "Report.txt"}));
    }

    void noText_data()
    {
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("no text at all") << QStringList{QString(), QString()};
        QTest::newRow("three characters") << QStringList{QStringLiteral("abc")};
    }
    void noText()
    {
        QFETCH(QStringList, texts);
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("Scan.pdf")), textPages(texts))});
        ConvertScreen screen(ws);
        showScreen(screen);
        QTest::mouseClick(modeButton(screen, Convert::Mode::Text), Qt::LeftButton);
        QTest::mouseClick(part<QPushButton>(screen, "saveTextButton"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QCOMPARE(text(screen, "jobTitle"),
                 QStringLiteral("There's no text in this PDF — it's probably a scan. Use Make Searchable "
                                "first, then try again."));
        QVERIFY(!shows(screen, "jobShow"));
        QCOMPARE(everything(dir.path()), QStringList{"Scan.pdf"});
    }

    // The source's folder has gone after the file was opened: each mode
    // says so at once, and nothing is made.
    void noFolder_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("message");
        QTest::newRow("pictures") << int(Convert::Mode::Images)
                                  << "Quirebook can't write next to “Report.pdf”. Copy the file to your "
                                     "Desktop or Documents first.";
        QTest::newRow("text") << int(Convert::Mode::Text)
                              << "Quirebook can't write next to this file. Copy it to your Desktop or "
                                 "Documents first.";
    }
    void noFolder()
    {
        QFETCH(int, mode);
        QFETCH(QString, message);
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("in")));
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("in/Report.pdf")), textPDF(2))});
        ConvertScreen screen(ws);
        showScreen(screen);
        QVERIFY(QDir(dir.path()).rename(QStringLiteral("in"), QStringLiteral("moved")));
        QTest::mouseClick(modeButton(screen, Convert::Mode(mode)), Qt::LeftButton);
        QTest::mouseClick(part<QPushButton>(screen, mode == int(Convert::Mode::Images) ? "savePicturesButton"
                                                                                        : "saveTextButton"),
                          Qt::LeftButton);
        QCOMPARE(screen.model().job().state(), Job::State(Job::Failed{message}));
        QVERIFY(shows(screen, "jobBar"));
        QCOMPARE(text(screen, "jobTitle"), message);
        snapshot(screen, QStringLiteral("convert-failed-") + QString::number(mode));
        QCOMPARE(everything(dir.path()), QStringList{"moved"});
        QCOMPARE(everything(dir.filePath(QStringLiteral("moved"))), QStringList{"Report.pdf"});
    }

    // Another file: the job's result goes, the choices stay.
    void choosingAnotherFile()
    {
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("A.pdf")), textPDF(2, QStringLiteral("Alpha"))),
                writeFile(dir.filePath(QStringLiteral("B.pdf")), textPDF(1, QStringLiteral("Beta")))});
        ws.select(ws.pdfs().first().id);
        ConvertScreen screen(ws);
        showScreen(screen);
        part<QComboBox>(screen, "convertFormat")->setCurrentIndex(1);
        part<QComboBox>(screen, "convertQuality")->setCurrentIndex(2);
        QTest::mouseClick(modeButton(screen, Convert::Mode::Text), Qt::LeftButton);
        QTest::mouseClick(part<QPushButton>(screen, "saveTextButton"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “A.txt”"));

        ws.select(ws.pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QTRY_VERIFY(screen.page()->content() && !shows(screen, "jobBar"));
        QVERIFY(modeButton(screen, Convert::Mode::Text)->isChecked());
        QVERIFY(shows(screen, "saveTextButton"));
        QCOMPARE(part<QComboBox>(screen, "convertFormat")->currentText(), QStringLiteral("JPEG"));
        QCOMPARE(part<QComboBox>(screen, "convertQuality")->currentText(), QStringLiteral("Print (300 dpi)"));
        QCOMPARE(screen.model().dpi(), 300.0);

        // The next run is for the file now chosen.
        QTest::mouseClick(part<QPushButton>(screen, "saveTextButton"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “B.txt”"));
    }

    void cancelKeepsWholePictures()
    {
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("Long.pdf")), textPDF(60))});
        ConvertScreen screen(ws);
        showScreen(screen);
        part<QComboBox>(screen, "convertQuality")->setCurrentIndex(2);
        QTest::mouseClick(part<QPushButton>(screen, "savePicturesButton"), Qt::LeftButton);
        QVERIFY(screen.model().job().isRunning());
        QVERIFY(!part<QPushButton>(screen, "savePicturesButton")->isEnabled());
        auto *cancel = part<QPushButton>(screen, "jobCancel");
        QVERIFY(cancel && cancel->isVisible());
        QTest::mouseClick(cancel, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 120000);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        const QString folder = dir.filePath(QStringLiteral("Long pictures"));
        const QStringList written = everything(folder);
        QVERIFY2(written.size() < 60, qPrintable(QString::number(written.size())));
        for (const QString &name : written) {
            QVERIFY2(name.startsWith(QStringLiteral("Long page ")), qPrintable(name));
            QVERIFY2(!QImageReader(folder + u'/' + name).read().isNull(), qPrintable(name));
        }
    }
};

QTEST_MAIN(TestConvertScreen)
#include "tst_convertscreen.moc"
