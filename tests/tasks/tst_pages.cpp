#include "core/Workspace.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ProtectChecks.h"
#include "support/TaskFixtures.h"
#include "tasks/Pages.h"
#include "tasks/PagesModel.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

using Attempt::never;
using Attempt::noProgress;

class TestPages : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    std::unique_ptr<Workspace> m_ws;
    std::unique_ptr<PagesModel> m_model;

    // "Doc.pdf": pages "Doc 1" … "Doc 6", titled; page 2
    // stored turned by 90°.
    PDFFile doc(const QString &name = u"Doc"_s, int pages = 6)
    {
        DocSpec layout = numberedPages(pages, name);
        if (pages > 1)
            layout.pages[1].rotate = 90;
        layout.info.title = name + u" title"_s;
        const QString path = writeFile(m_dir.filePath(name + u".pdf"_s), makePDF(layout));
        m_ws->add({path});
        for (const PDFFile &file : m_ws->files())
            if (file.path == path)
                return file;
        return {};
    }

    QUuid id(int position) const { return m_model->items().at(position).id; }
    QSet<QUuid> ids(const QList<int> &positions) const
    {
        QSet<QUuid> set;
        for (int p : positions)
            set.insert(id(p));
        return set;
    }
    // "page+extra" of each item, one-based pages: "1 3+90 2".
    QString shape() const
    {
        QStringList parts;
        for (const auto &item : m_model->items())
            parts << QString::number(item.page + 1) +
                         (item.extra ? u"+%1"_s.arg(item.extra) : QString());
        return parts.join(u' ');
    }

private Q_SLOTS:
    void init()
    {
        m_ws = std::make_unique<Workspace>();
        m_model = std::make_unique<PagesModel>();
        m_model->load(doc());
        QCOMPARE(shape(), u"1 2 3 4 5 6"_s);
    }

    // Each edit, given as a script over the six pages: positions are
    // zero-based at the time of the step; "s" selects, "m" moves.
    void edits_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<int>("selected");
        QTest::newRow("left from 0") << "rotate 0 -90"
                                     << "1+270 2 3 4 5 6" << 0;
        QTest::newRow("right four times") << "rotate 0 90;rotate 0 90;rotate 0 90;rotate 0 90"
                                          << "1 2 3 4 5 6" << 0;
        QTest::newRow("rotate nothing selected: all") << "target -180"
                                                      << "1+180 2+180 3+180 4+180 5+180 6+180" << 0;
        QTest::newRow("rotate the selection") << "s 1;s 3;target 90"
                                              << "1 2+90 3 4+90 5 6" << 2;
        QTest::newRow("delete clears selection") << "s 1;s 2;delete"
                                                 << "1 4 5 6" << 0;
        QTest::newRow("delete never empties") << "all;delete"
                                              << "1 2 3 4 5 6" << 6;
        QTest::newRow("selected group moves in order") << "s 4;s 1;m 4 0"
                                                       << "2 5 1 3 4 6" << 2;
        QTest::newRow("unselected page moves alone") << "s 1;m 5 2"
                                                     << "1 2 6 3 4 5" << 1;
        QTest::newRow("onto a member of the group") << "s 1;s 2;m 1 2"
                                                    << "1 2 3 4 5 6" << 2;
        QTest::newRow("onto itself") << "m 3 3"
                                     << "1 2 3 4 5 6" << 0;
        QTest::newRow("to the end") << "m 0 -1"
                                    << "2 3 4 5 6 1" << 0;
        QTest::newRow("undo brings pages and selection back")
            << "s 0;s 5;m 0 3;rotate 1 90;delete;undo;undo"
            << "2 3 1 6 4 5" << 0;
        QTest::newRow("undo keeps what is still there selected") << "s 0;s 5;rotate 0 90;undo"
                                                                 << "1 2 3 4 5 6" << 2;
        QTest::newRow("shift-click selects a run") << "s 1;run 4"
                                                   << "1 2 3 4 5 6" << 4;
        QTest::newRow("arrange") << "arrange 5 0 5 2"
                                 << "6 1 3" << 0;
    }
    void edits()
    {
        QFETCH(QString, script);
        QFETCH(QString, expected);
        QFETCH(int, selected);
        for (const QString &step : script.split(u';')) {
            const QStringList w = step.split(u' ');
            const auto n = [&](int i) { return w.at(i).toInt(); };
            if (w[0] == QLatin1String("rotate"))
                m_model->rotate({id(n(1))}, n(2));
            else if (w[0] == QLatin1String("target"))
                m_model->rotate(m_model->target(), n(1));
            else if (w[0] == QLatin1String("s"))
                m_model->toggle(id(n(1)));
            else if (w[0] == QLatin1String("run"))
                m_model->selectRun(id(n(1)));
            else if (w[0] == QLatin1String("all"))
                m_model->selectAll();
            else if (w[0] == QLatin1String("delete"))
                m_model->remove(m_model->selected());
            else if (w[0] == QLatin1String("m"))
                m_model->move(id(n(1)), n(2) < 0 ? QUuid() : id(n(2)));
            else if (w[0] == QLatin1String("undo"))
                m_model->undo();
            else if (w[0] == QLatin1String("arrange")) {
                QList<QUuid> order;
                for (int i = 1; i < w.size(); ++i)
                    order << id(n(i));
                m_model->arrange(order);
            }
        }
        QCOMPARE(shape(), expected);
        QCOMPARE(m_model->selected().size(), selected);
    }

    void fiftyStepsCanBeUndone()
    {
        for (int i = 0; i < 51; ++i)
            m_model->rotate({id(0)}, 90); // 51 × 90° = 270° in the end
        QCOMPARE(m_model->undoSteps(), 50);
        for (int i = 0; i < 50; ++i)
            m_model->undo();
        QCOMPARE(shape(), u"1+90 2 3 4 5 6"_s); // the first step stays
        m_model->undo();
        QCOMPARE(shape(), u"1+90 2 3 4 5 6"_s);
    }

    void loadKeepsEditsOfTheSameFile()
    {
        const PDFFile first = m_model->sources().first();
        m_model->rotate({id(0)}, 90);
        m_model->toggle(id(1));
        QSignalSpy changed(m_model.get(), &PagesModel::changed);
        m_model->load(first);
        QCOMPARE(changed.size(), 0);
        QCOMPARE(shape(), u"1+90 2 3 4 5 6"_s);
        m_model->load(doc(u"Other"_s, 2));
        QCOMPARE(shape(), u"1 2"_s);
        QCOMPARE(m_model->undoSteps(), 0);
        QVERIFY(m_model->selected().isEmpty());
    }

    void appendedPagesComeLast()
    {
        m_model->toggle(id(0));
        m_model->append(doc(u"Extra"_s, 2));
        QCOMPARE(shape(), u"1 2 3 4 5 6 1 2"_s);
        QCOMPARE(m_model->items().last().origin, u"Extra"_s);
        QCOMPARE(m_model->selected().size(), 1);
        m_model->undo();
        QCOMPARE(shape(), u"1 2 3 4 5 6"_s);
    }

    void addableFiles()
    {
        const PDFFile edited = m_model->sources().first();
        const PDFFile other = doc(u"Other"_s, 1);
        m_ws->add({writeFile(m_dir.filePath(u"Limited.pdf"_s),
                             makePDF(numberedPages(1), lock({}, u"owner"_s, true))),
                   writeFile(m_dir.filePath(u"Photo.png"_s),
                             encode(naturalPhoto(QSize(40, 30), 1), "PNG"))});
        QStringList names;
        for (const PDFFile &file : Pages::addable(m_ws->files(), edited.id))
            names << file.fileName();
        QCOMPARE(names, QStringList{other.fileName()});
    }

    // A save writes the pages as the grid shows them: in order, turned as
    // shown, with the file's title, through the safe write.
    void saves_data()
    {
        QTest::addColumn<bool>("selectionOnly");
        QTest::newRow("a copy") << false;
        QTest::newRow("the selection") << true;
    }
    void saves()
    {
        QFETCH(bool, selectionOnly);
        const PDFFile source = m_model->sources().first();
        const QByteArray before = readFile(source.path);
        m_model->append(doc(u"Extra"_s, 1));
        m_model->move(id(6), id(0));       // Extra 1, Doc 1 … 6
        m_model->rotate(ids({2, 3}), -90); // Doc 2 (stored at 90°) and Doc 3
        m_model->remove(ids({5}));         // Doc 5
        m_model->toggle(id(3));
        m_model->toggle(id(1));
        QCOMPARE(Pages::suggestedName(source, selectionOnly),
                 selectionOnly ? u"Doc selection"_s : u"Doc edited"_s);
        const auto request = m_model->build(
            source, selectionOnly ? std::optional(m_model->selected()) : std::nullopt);
        // Edits after the person confirmed don't reach the file.
        m_model->remove(ids({0}));
        const QString out = m_dir.filePath(u"out.pdf"_s);
        const Outcome outcome = Pages::run(request, out, noProgress, never);

        const QStringList texts =
            selectionOnly ? QStringList{"Doc 1", "Doc 3"}
                          : QStringList{"Extra 1", "Doc 1", "Doc 2", "Doc 3", "Doc 4", "Doc 6"};
        const QList<int> turns =
            selectionOnly ? QList<int>{0, 270} : QList<int>{0, 0, 0, 270, 0, 0};
        QCOMPARE(outcome, (Outcome{u"Saved %1 pages"_s.arg(texts.size()), u"out.pdf"_s, {out}}));
        const QByteArray written = readFile(out);
        QCOMPARE(popplerPageTexts(written), texts);
        for (int i = 0; i < turns.size(); ++i)
            QCOMPARE(popplerPage(written, i + 1).rotation, turns[i]);
        QCOMPARE(ProtectChecks::poppler(out).title, u"Doc title"_s);
        QCOMPARE(readFile(source.path), before);
        QCOMPARE(temporaryFiles(m_dir.path()), QStringList());
    }

    void aFileGoneMeanwhileIsSaid()
    {
        const PDFFile source = m_model->sources().first();
        const auto request = m_model->build(source);
        QVERIFY(QFile::remove(source.path));
        const QString out = m_dir.filePath(u"gone.pdf"_s);
        QCOMPARE(Attempt::errorOf([&] { Pages::run(request, out, noProgress, never); }),
                 u"“Doc.pdf” couldn't be read as a PDF."_s);
        QVERIFY(!QFileInfo::exists(out));
    }
};

QTEST_GUILESS_MAIN(TestPages)
#include "tst_pages.moc"
