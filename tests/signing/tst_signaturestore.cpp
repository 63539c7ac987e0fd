#include "signing/SignatureStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

QImage signatureLike(const QColor &ink)
{
    QImage image(60, 30, QImage::Format_RGBA8888_Premultiplied);
    image.fill(Qt::transparent);
    image.setPixelColor(10, 10, ink);
    return image;
}

QStringList ids(const QList<SignatureStore::Saved> &saved)
{
    QStringList names;
    for (const auto &s : saved)
        names << s.id;
    return names;
}

} // namespace

class TestSignatureStore : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void saveListRemove()
    {
        // The folder is made with its parents.
        const SignatureStore store(m_dir.filePath(u"one/Quirebook/Signatures"_s));
        QVERIFY(QFileInfo(store.folder()).isDir());
        QVERIFY(store.list().isEmpty());

        const auto path = store.save(signatureLike(Qt::blue));
        QVERIFY(path);
        QCOMPARE(QFileInfo(*path).absolutePath(), QFileInfo(store.folder()).absoluteFilePath());
        QVERIFY(QRegularExpression(u"^signature-\\d{13}\\.png$"_s)
                    .match(QFileInfo(*path).fileName())
                    .hasMatch());
        // Nothing but the picture is left in the folder.
        QCOMPARE(QDir(store.folder()).entryList(QDir::Files | QDir::Hidden).size(), 1);

        const auto saved = store.list();
        QCOMPARE(saved.size(), 1);
        QCOMPARE(saved.first().path, *path);
        QCOMPARE(saved.first().id, QFileInfo(*path).fileName());
        QCOMPARE(saved.first().image.size(), QSize(60, 30));
        QCOMPARE(saved.first().image.pixelColor(10, 10), QColor(Qt::blue));
        QCOMPARE(saved.first().image.pixelColor(0, 0).alpha(), 0);

        store.remove(saved.first());
        QVERIFY(store.list().isEmpty());
        store.remove(saved.first()); // already gone: ignored
    }

    void oldestFirstAndOnlyPictures()
    {
        const SignatureStore store(m_dir.filePath(u"two"_s));
        const auto first = store.save(signatureLike(Qt::black));
        QThread::msleep(3);
        const auto second = store.save(signatureLike(Qt::red));
        QVERIFY(first && second && *first != *second);

        const QDir dir(store.folder());
        QFile text(dir.filePath(u"notes.txt"_s));
        QVERIFY(text.open(QIODevice::WriteOnly) && text.write("hello") == 5);
        text.close();
        QVERIFY(QFile::copy(*first, dir.filePath(u"Capital.PNG"_s)));
        QFile fake(dir.filePath(u"fake.png"_s));
        QVERIFY(fake.open(QIODevice::WriteOnly) && fake.write("not a picture") == 13);
        fake.close();
        QVERIFY(QFile::copy(*second, dir.filePath(u"a.png"_s)));

        QCOMPARE(ids(store.list()), QStringList({u"a.png"_s, QFileInfo(*first).fileName(),
                                                 QFileInfo(*second).fileName()}));
        QCOMPARE(store.list().at(1).image.pixelColor(10, 10), QColor(Qt::black));
    }

    void unwritableFolder()
    {
        // A folder that is really a file: nothing is saved, nothing listed.
        const QString file = m_dir.filePath(u"plain"_s);
        QFile(file).open(QIODevice::WriteOnly);
        const SignatureStore store(file);
        QVERIFY(!store.save(signatureLike(Qt::black)));
        QVERIFY(store.list().isEmpty());
    }
};

QTEST_MAIN(TestSignatureStore)
#include "tst_signaturestore.moc"
