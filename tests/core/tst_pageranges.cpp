#include "core/PageRanges.h"

#include <QTest>

using namespace Qt::StringLiterals;

using PageRanges::Failure;
using PageRanges::Groups;
Q_DECLARE_METATYPE(Groups)

class TestPageRanges : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void parses_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        QTest::addColumn<Groups>("expected");
        QTest::newRow("mixed") << "1-3, 5, 8-" << 10 << Groups{{0, 1, 2}, {4}, {7, 8, 9}};
        QTest::newRow("leading dash") << "-3" << 10 << Groups{{0, 1, 2}};
        QTest::newRow("en dash") << u"2–4"_s << 10 << Groups{{1, 2, 3}};
        QTest::newRow("em dash") << u"2—4"_s << 10 << Groups{{1, 2, 3}};
        QTest::newRow("order kept") << "3; 1\n2" << 10 << Groups{{2}, {0}, {1}};
        QTest::newRow("overlap kept") << "1-3, 2" << 10 << Groups{{0, 1, 2}, {1}};
        QTest::newRow("spaces") << " 2 - 4 " << 10 << Groups{{1, 2, 3}};
        QTest::newRow("tab and empty parts") << "\t1,,\t,2" << 10 << Groups{{0}, {1}};
        QTest::newRow("leading zeros and plus") << "007, +2" << 10 << Groups{{6}, {1}};
        QTest::newRow("whole document") << "1-" << 3 << Groups{{0, 1, 2}};
        QTest::newRow("crlf and paragraph separator")
            << u"1\r\n2\u20293"_s << 5 << Groups{{0}, {1}, {2}};
        QTest::newRow("last page") << "10" << 10 << Groups{{9}};
    }
    void parses()
    {
        QFETCH(QString, text);
        QFETCH(int, count);
        QFETCH(Groups, expected);
        const auto result = PageRanges::parse(text, count);
        if (const auto *failure = std::get_if<Failure>(&result))
            QFAIL(qPrintable(failure->message()));
        QCOMPARE(std::get<Groups>(result), expected);
    }

    void fails_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("message");
        const auto invalid = [](const char *text) {
            return u"“%1” isn't a page or a range. Use numbers like 3 or 2-5."_s.arg(
                QString::fromUtf8(text));
        };
        const QString empty = u"Type the pages you want, like 1-3, 5, 8-"_s;
        QTest::newRow("beyond the end")
            << "1-11" << 10 << "Page 11 doesn't exist; this PDF has 10 pages.";
        QTest::newRow("one page only") << "2" << 1 << "Page 2 doesn't exist; this PDF has 1 page.";
        QTest::newRow("start beyond")
            << "12-14" << 10 << "Page 12 doesn't exist; this PDF has 10 pages.";
        QTest::newRow("huge but 64-bit")
            << "9223372036854775807" << 10
            << "Page 9223372036854775807 doesn't exist; this PDF has 10 pages.";
        QTest::newRow("blank") << "  " << 10 << empty;
        QTest::newRow("nothing") << "" << 10 << empty;
        QTest::newRow("only commas") << " , ;" << 10 << empty;
        for (const char *text :
             {"0", "abc", "5-2", "1-2-3", "12-", "1 2", "99999999999999999999", "+", "-0"})
            QTest::addRow("“%s”", text) << QString::fromUtf8(text) << 10 << invalid(text);
        QTest::newRow("lone hyphen, spaces trimmed") << " - " << 10 << invalid("-");
        QTest::newRow("first failure decides") << "2, x, 99" << 10 << invalid("x");
    }
    void fails()
    {
        QFETCH(QString, text);
        QFETCH(int, count);
        QFETCH(QString, message);
        const auto result = PageRanges::parse(text, count);
        QVERIFY(std::holds_alternative<Failure>(result));
        QCOMPARE(std::get<Failure>(result).message(), message);
    }

    void labels_data()
    {
        QTest::addColumn<QList<int>>("pages");
        QTest::addColumn<QString>("label");
        QTest::newRow("run") << QList<int>{0, 1, 2} << u"1–3"_s;
        QTest::newRow("one") << QList<int>{4} << u"5"_s;
        QTest::newRow("none") << QList<int>{} << QString();
        QTest::newRow("two") << QList<int>{8, 9} << u"9–10"_s;
    }
    void labels()
    {
        QFETCH(QList<int>, pages);
        QFETCH(QString, label);
        QCOMPARE(PageRanges::label(pages), label);
    }
};

QTEST_GUILESS_MAIN(TestPageRanges)
#include "tst_pageranges.moc"
