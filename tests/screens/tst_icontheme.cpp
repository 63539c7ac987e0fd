// Icons: the person's own theme wins where it has the icon, Adwaita fills
// its gaps, and the program's icon is the installed one when there is one.
#include "screens/AppIcon.h"
#include "screens/Symbols.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
// Share of fully opaque pixels.
double opaque(const QPixmap &pixmap)
{
    const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) == 255;
    return double(count) / (image.width() * image.height());
}
} // namespace

class TestIconTheme : public QObject {
    Q_OBJECT
    QTemporaryDir m_icons;

    // A theme "Mine" with one symbolic icon (a filled square) and the
    // program's icon (green) in it.
    void makeTheme()
    {
        QDir root(m_icons.path());
        QVERIFY(root.mkpath(u"Mine/16x16/actions"_s));
        QVERIFY(root.mkpath(u"Mine/48x48/apps"_s));
        QFile index(root.filePath(u"Mine/index.theme"_s));
        QVERIFY(index.open(QIODevice::WriteOnly));
        index.write("[Icon Theme]\nName=Mine\nInherits=hicolor\n"
                    "Directories=16x16/actions,48x48/apps\n\n"
                    "[16x16/actions]\nSize=16\nContext=Actions\nType=Fixed\n\n"
                    "[48x48/apps]\nSize=48\nContext=Applications\nType=Fixed\n");
        index.close();
        QImage square(16, 16, QImage::Format_ARGB32);
        square.fill(Qt::black);
        QVERIFY(square.save(root.filePath(u"Mine/16x16/actions/edit-cut-symbolic.png"_s)));
        QImage app(48, 48, QImage::Format_ARGB32);
        app.fill(Qt::green);
        QVERIFY(
            app.save(root.filePath(QStringLiteral("Mine/48x48/apps/" QUIREBOOK_APP_ID ".png"))));
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (!QDir(u"/usr/share/icons/Adwaita"_s).exists())
            QSKIP("adwaita-icon-theme is not installed");
        makeTheme();
        QIcon::setThemeSearchPaths({m_icons.path()});
    }

    // The desktop named "Mine": its scissors are used, the plus it lacks
    // comes from Adwaita, and the window gets its green program icon.
    void ownThemeFirst()
    {
        QIcon::setThemeName(u"Mine"_s);
        Symbols::installTheme();
        QCOMPARE(QIcon::themeName(), u"Mine"_s);
        QCOMPARE(opaque(Symbols::pixmap(u"scissors"_s, 16, Qt::red)), 1.0);
        const QPixmap plus = Symbols::pixmap(u"plus"_s, 16, Qt::red);
        QVERIFY(!plus.isNull());
        QVERIFY(opaque(plus) < 0.6);
        QCOMPARE(AppIcon::make().pixmap(48).toImage().pixelColor(24, 24), QColor(Qt::green));
    }

    // No theme named (offscreen, a bare X session): Adwaita throughout, and
    // the program's icon drawn in code, orange-red around a white sheet.
    void adwaitaWhenNoneIsNamed()
    {
        QIcon::setThemeName(u"hicolor"_s);
        Symbols::installTheme();
        QCOMPARE(QIcon::themeName(), u"Adwaita"_s);
        const QPixmap scissors = Symbols::pixmap(u"scissors"_s, 16, Qt::red);
        QVERIFY(!scissors.isNull());
        QVERIFY(opaque(scissors) < 0.6);
        const QImage drawn = AppIcon::make().pixmap(256).toImage();
        QCOMPARE(drawn.pixelColor(30, 128), QColor(0xED, 0x5C, 0x33));
        QCOMPARE(drawn.pixelColor(100, 190), QColor(Qt::white));
    }
};

QTEST_MAIN(TestIconTheme)
#include "tst_icontheme.moc"
